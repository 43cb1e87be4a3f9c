#pragma once

#include <QByteArray>

#include <functional>
#include <memory>

class QNetworkReply;
class QNetworkRequest;
struct z_stream_s;

namespace zk {

/**
 * Decodes a response body piece by piece (Content-Encoding gzip or deflate, RFC 9110), and tells
 * whether it is complete.
 *
 * Qt decodes bodies by itself unless a request names the encodings it accepts, but then inflates
 * into memory without a bound and takes a truncated stream for a complete one. Under load it also
 * reports now and then that a connection that was cut has ended well.
 */
class ContentDecoder final
{
public:
    /** Takes the next decoded bytes; returns false to stop. */
    using Sink = std::function<bool(const char* data, qint64 size)>;

    /** Makes @p request ask for the encodings that this class decodes, the same as Qt does. */
    static void accept(QNetworkRequest& request);

    /** For the body of @p reply, whose header must have arrived. */
    explicit ContentDecoder(const QNetworkReply& reply);
    ContentDecoder(const ContentDecoder&) = delete;
    ContentDecoder& operator=(const ContentDecoder&) = delete;
    ~ContentDecoder();

    /** Passes the decoded form of @p piece to @p sink; false when that stops or the body is
     * damaged.
     */
    [[nodiscard]] bool decode(const QByteArray& piece, const Sink& sink);

    /** The body is encoded: its decoded size may be a thousand times as large. */
    [[nodiscard]] bool isEncoded() const { return m_stream != nullptr; }
    /** Nothing is missing at the end of what was decoded so far. */
    [[nodiscard]] bool isComplete() const
    {
        return !isCut() && (m_state == eEnd || (m_state == eBegin && m_first.isEmpty()));
    }
    /** Fewer bytes than the header announced have been decoded so far. */
    [[nodiscard]] bool isCut() const { return m_received < m_announced; }
    /** The encoded bytes are damaged. */
    [[nodiscard]] bool isDamaged() const { return m_state == eDamaged; }

private:
    enum State { eBegin, eMiddle, eEnd, eDamaged };
    struct End
    {
        void operator()(z_stream_s* stream) const;
    };

    std::unique_ptr<z_stream_s, End> m_stream;
    State m_state = eBegin;
    /** Encoded bytes as announced, -1 where they are not, and as received. */
    qint64 m_announced = -1;
    qint64 m_received = 0;
    /** The first byte, until the second one tells the two forms of deflate apart. */
    QByteArray m_first;

    bool inflateInput(const Sink& sink);
    bool beginAgain();
};

} // namespace zk
