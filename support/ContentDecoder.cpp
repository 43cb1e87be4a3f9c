#include "support/ContentDecoder.h"

#include <QNetworkReply>
#include <QNetworkRequest>

#include <zlib.h>

#include <array>

namespace zk {

namespace {

constexpr int detectGzipOrZlib = 32 + MAX_WBITS;
constexpr int rawDeflate = -MAX_WBITS;

} // namespace

void ContentDecoder::End::operator()(z_stream_s* stream) const
{
    inflateEnd(stream);
    delete stream;
}

void ContentDecoder::accept(QNetworkRequest& request)
{
    request.setRawHeader("Accept-Encoding", "gzip, deflate");
}

ContentDecoder::ContentDecoder(const QNetworkReply& reply)
{
    // Chunks have an end of their own, which counts (RFC 9112, 6.3).
    const QVariant length = reply.header(QNetworkRequest::ContentLengthHeader);
    if (length.isValid() && !reply.hasRawHeader("Transfer-Encoding")) {
        m_announced = length.toLongLong();
    }
    const QByteArray encoding = reply.rawHeader("Content-Encoding").trimmed().toLower();
    if (encoding == "gzip" || encoding == "x-gzip" || encoding == "deflate") {
        m_stream.reset(new z_stream());
        if (inflateInit2(m_stream.get(), detectGzipOrZlib) != Z_OK) {
            m_state = eDamaged;
        }
    }
}

ContentDecoder::~ContentDecoder() = default;

bool ContentDecoder::decode(const QByteArray& piece, const Sink& sink)
{
    m_received += piece.size();
    if (!isEncoded()) {
        return sink(piece.constData(), piece.size());
    }
    const QByteArray input = m_first + piece;
    m_first = m_state == eBegin && input.size() < 2 ? input : QByteArray();
    if (!m_first.isEmpty()) {
        return true;
    }
    // zlib only reads what its interface does not declare const.
    m_stream->next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.constData()));
    m_stream->avail_in = uInt(input.size());
    while (m_stream->avail_in > 0 && m_state != eDamaged) {
        if (m_state == eEnd && inflateReset(m_stream.get()) != Z_OK) {
            m_state = eDamaged; // several gzip members are read like one
        } else if (!inflateInput(sink)) {
            return false;
        }
    }
    return m_state != eDamaged;
}

/** Inflates until the input or the stream ends; false when the sink stops. */
bool ContentDecoder::inflateInput(const Sink& sink)
{
    std::array<char, 65536> out{};
    do {
        m_stream->next_out = reinterpret_cast<Bytef*>(out.data());
        m_stream->avail_out = uInt(out.size());
        const int result = inflate(m_stream.get(), Z_NO_FLUSH);
        if (result == Z_DATA_ERROR && m_state == eBegin && beginAgain()) {
            continue;
        }
        m_state = result == Z_STREAM_END                    ? eEnd
                  : result == Z_OK || result == Z_BUF_ERROR ? eMiddle
                                                            : eDamaged;
        const qint64 size = qint64(out.size()) - m_stream->avail_out;
        if (size > 0 && !sink(out.data(), size)) {
            return false;
        }
    } while (m_state == eMiddle && (m_stream->avail_in > 0 || m_stream->avail_out == 0));
    return true;
}

// Some servers take "deflate" for the bare stream, without the zlib header that the RFC wants.
bool ContentDecoder::beginAgain()
{
    const uInt consumed = uInt(m_stream->total_in);
    m_stream->next_in -= consumed;
    m_stream->avail_in += consumed;
    m_state = eMiddle;
    return inflateReset2(m_stream.get(), rawDeflate) == Z_OK;
}

} // namespace zk
