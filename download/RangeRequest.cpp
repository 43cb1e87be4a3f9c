#include "download/RangeRequest.h"

#include "download/PartialFile.h"
#include "download/Redirect.h"
#include "download/RetryRule.h"
#include "support/BodyWriter.h"
#include "support/ContentDecoder.h"
#include "support/DiskSpace.h"
#include "support/LinkRule.h"
#include "support/Log.h"
#include "support/ManagerRetirement.h"
#include "support/QtCompatibility.h"

#include <QNetworkAccessManager>
#include <QNetworkRequest>

#include <algorithm>

namespace zk {

namespace {

constexpr int pieceSize = 256 * 1024;
// Of a section: some caches fetch and keep all that is asked for before they send it.
constexpr qint64 largestRequest = 64LL * 1024 * 1024;
// Error pages and bodies of redirects are shorter.
constexpr qint64 mostDrained = 4LL * 1024 * 1024;

qint64 announcedSize(const QNetworkReply& reply)
{
    const QVariant length = reply.header(QNetworkRequest::ContentLengthHeader);
    return length.isValid() ? length.toLongLong() : -1;
}

} // namespace

RangeRequest::RangeRequest(const QUrl& url, PartialFile& partial, const QNetworkProxy& proxy,
                           std::chrono::milliseconds stallTimeout,
                           std::optional<HttpRange::Section> section)
    : m_partial(partial)
    , m_section(section)
    , m_begun(partial.size())
    , m_manager(new QNetworkAccessManager)
    , m_buffer(pieceSize, Qt::Uninitialized)
{
    m_manager->setProxy(proxy);
    m_stall.setSingleShot(true);
    m_stall.setInterval(stallTimeout);
    connect(&m_stall, &QTimer::timeout, this, [this] {
        end(made(eBroken, QNetworkReply::TimeoutError, QStringLiteral("nothing arrives")));
    });
    get(url);
}

RangeRequest::~RangeRequest()
{
    m_reply->disconnect(this);
    retireNetworkManager(m_manager);
}

void RangeRequest::get(const QUrl& url)
{
    QNetworkRequest request(url);
    QtCompatibility::usePlainHttp(request);
    // Ranges count the bytes that are sent, which must be those of the file.
    request.setRawHeader("Accept-Encoding", "identity");
    setRange(request);
    m_isExamined = false;
    m_isAccepted = false;
    m_drained = 0;
    m_reply = m_manager->get(request);
    m_reply->setReadBufferSize(BodyWriter::readBufferSize);
    connect(m_reply, &QNetworkReply::readyRead, this, &RangeRequest::receive);
    connect(m_reply, &QNetworkReply::finished, this, &RangeRequest::finish);
    connect(m_reply, &QNetworkReply::downloadProgress, this, [this] {
        if (m_isAccepted) {
            emit progressed(m_partial.size(), m_partial.content().total);
        }
    });
    m_stall.start();
}

void RangeRequest::setRange(QNetworkRequest& request) const
{
    if (m_section) {
        const QByteArray last = QByteArray::number(m_section->first + wantedSize() - 1);
        const QByteArray first = QByteArray::number(m_section->first + m_partial.size());
        request.setRawHeader("Range", "bytes=" + first + '-' + last);
    } else if (m_partial.size() > 0) {
        request.setRawHeader("Range", "bytes=" + QByteArray::number(m_partial.size()) + "-");
        request.setRawHeader("If-Range", m_partial.content().validator);
    }
}

qint64 RangeRequest::wantedSize() const
{
    return m_section ? std::min(m_begun + largestRequest, m_section->size)
                     : m_partial.content().total;
}

void RangeRequest::receive()
{
    if (m_hasEnded || m_reply->isFinished()) {
        return; // the rest is read by finish()
    }
    m_stall.start();
    examine();
    if (m_isExamined && !m_isAccepted) {
        drain();
    }
    for (qint64 done = 0; m_isAccepted && m_reply->bytesAvailable() > 0; done += pieceSize) {
        if (done >= BodyWriter::readBufferSize) {
            // Not a queued call, which would let no timer of the host through.
            QTimer::singleShot(0, this, &RangeRequest::receive);
            return;
        }
        if (!writePiece()) {
            return;
        }
    }
}

// Once the header is there: whether the body is wanted.
void RangeRequest::examine()
{
    // The first bytes tell, too; an empty body has none.
    constexpr qint64 enough = 4;
    if (m_isExamined || (!m_reply->isFinished() && m_reply->bytesAvailable() < enough)) {
        return;
    }
    m_isExamined = true;
    if (isRedirect(*m_reply)) {
        return;
    }
    if (const std::optional<End> refusal = judge()) {
        end(*refusal);
    }
}

std::optional<RangeRequest::End> RangeRequest::judge()
{
    if (m_section) {
        return judgeSection();
    }
    switch (httpStatus(*m_reply)) {
    case 200:
        return acceptWhole();
    case 206:
        return acceptRest();
    case 416:
        return refusedRange();
    default:
        return std::nullopt; // finish() tells
    }
}

std::optional<RangeRequest::End> RangeRequest::acceptWhole()
{
    if (auto page = complaintAboutPage()) {
        return page;
    }
    m_decoder = std::make_unique<ContentDecoder>(*m_reply);
    const qint64 size = announcedSize(*m_reply);
    const QString complaint = spaceComplaint(m_partial.folder(), size);
    if (!complaint.isEmpty()) {
        return made(eFailed, QNetworkReply::UnknownContentError, complaint);
    }
    // Positions in an encoded body are not positions in the file.
    const bool isPlain = !m_decoder->isEncoded();
    if (!m_partial.begin(
            {isPlain ? HttpRange::validatorOf(*m_reply) : QByteArray(), isPlain ? size : -1})) {
        return made(eFailed, QNetworkReply::UnknownContentError, m_partial.systemError());
    }
    m_isAccepted = true;
    return std::nullopt;
}

std::optional<RangeRequest::End> RangeRequest::complaintAboutPage() const
{
    if (!RetryRule::isWebPage(m_reply->rawHeader("Content-Type"), m_reply->peek(4))) {
        return std::nullopt;
    }
    return made(eBroken, QNetworkReply::UnknownContentError,
                QStringLiteral("the answer is a web page, perhaps of a network that asks for a "
                               "log-in first"));
}

std::optional<RangeRequest::End> RangeRequest::judgeSection()
{
    const int status = httpStatus(*m_reply);
    if (status == 200) {
        if (auto page = complaintAboutPage()) {
            return page;
        }
    }
    if (status == 200 || status == 416) {
        return made(eUnfit, QNetworkReply::UnknownContentError,
                    QStringLiteral("the server does not send ranges of this file"));
    }
    if (status != 206) {
        return std::nullopt; // finish() tells
    }
    const auto range = HttpRange::parseContentRange(m_reply->rawHeader("Content-Range"));
    m_decoder = std::make_unique<ContentDecoder>(*m_reply);
    const bool isSection = range && range->first == m_section->first + m_partial.size() &&
                           range->last == m_section->first + wantedSize() - 1 &&
                           range->total == m_section->total && !m_decoder->isEncoded();
    if (!isSection) {
        return made(eUnfit, QNetworkReply::UnknownContentError,
                    QStringLiteral("the answer is not the range that was asked for"));
    }
    m_isAccepted = true;
    return std::nullopt;
}

std::optional<RangeRequest::End> RangeRequest::acceptRest()
{
    const auto range = HttpRange::parseContentRange(m_reply->rawHeader("Content-Range"));
    const qint64 known = m_partial.content().total;
    m_decoder = std::make_unique<ContentDecoder>(*m_reply);
    const qint64 announced = announcedSize(*m_reply);
    const bool isRest = range && m_partial.size() > 0 && range->first == m_partial.size() &&
                        range->total >= 0 && (known < 0 || range->total == known) &&
                        (announced < 0 || announced == range->last - range->first + 1) &&
                        !m_decoder->isEncoded() &&
                        HttpRange::isSameFile(*m_reply, m_partial.content().validator);
    if (!isRest) {
        return made(eUnfit, QNetworkReply::UnknownContentError,
                    QStringLiteral("the answer does not continue what is there"));
    }
    const QString complaint = spaceComplaint(m_partial.folder(), range->total - range->first);
    if (!complaint.isEmpty()) {
        return made(eFailed, QNetworkReply::UnknownContentError, complaint);
    }
    SOFTWAREUPDATE_LOG(Log::eInfo, "zk::ResumableDownload", "the server continues after ",
                       m_partial.size(), " bytes");
    m_partial.setTotal(range->total);
    m_isAccepted = true;
    return std::nullopt;
}

// Of a file that was complete already, before its end was known.
RangeRequest::End RangeRequest::refusedRange() const
{
    const auto range = HttpRange::parseContentRange(m_reply->rawHeader("Content-Range"));
    const qint64 known = m_partial.content().total;
    const bool isAll = range && range->first < 0 && m_partial.size() > 0 &&
                       range->total == m_partial.size() && (known < 0 || known == range->total);
    return made(isAll ? eWhole : eUnfit, QNetworkReply::UnknownContentError,
                QStringLiteral("the server refuses the range"));
}

bool RangeRequest::writePiece()
{
    const qint64 length = m_reply->read(m_buffer.data(), m_buffer.size());
    if (length <= 0) {
        return false;
    }
    const qint64 total = wantedSize();
    const QByteArray piece = QByteArray::fromRawData(m_buffer.constData(), int(length));
    bool isTooLong = false;
    const bool isWritten = m_decoder->decode(piece, [&](const char* data, qint64 size) {
        isTooLong = total >= 0 && m_partial.size() + size > total;
        return !isTooLong && m_partial.append(data, size);
    });
    if (isWritten) {
        return true;
    }
    const bool isServer = isTooLong || m_decoder->isDamaged();
    end(made(isServer ? eUnfit : eFailed, QNetworkReply::UnknownContentError,
             isServer ? QStringLiteral("the body is damaged, or longer than announced")
                      : m_partial.systemError()));
    return false;
}

// Qt receives no more when its buffer is full.
void RangeRequest::drain()
{
    while (m_reply->isOpen() && m_reply->bytesAvailable() > 0) {
        m_drained += m_reply->skip(m_reply->bytesAvailable());
    }
    if (m_drained > mostDrained) {
        end(made(eBroken, QNetworkReply::UnknownContentError,
                 QStringLiteral("the answer is an endless error page")));
    }
}

void RangeRequest::finish()
{
    m_stall.stop();
    if (isRedirect(*m_reply)) {
        followRedirect();
        return;
    }
    examine();
    while (m_isAccepted && m_reply->isOpen() && m_reply->bytesAvailable() > 0) {
        if (!writePiece()) {
            return;
        }
    }
    end(conclusion());
}

RangeRequest::End RangeRequest::conclusion() const
{
    const QNetworkReply::NetworkError error = m_reply->error();
    const qint64 total = wantedSize();
    if (error != QNetworkReply::NoError || !m_isAccepted) {
        const bool isTemporary = RetryRule::isTemporary(error, httpStatus(*m_reply));
        return made(isTemporary ? eBroken : eFailed,
                    error != QNetworkReply::NoError ? error : QNetworkReply::UnknownContentError,
                    m_reply->errorString());
    }
    const bool isWhole = total >= 0 ? m_partial.size() == total : m_decoder->isComplete();
    return made(isWhole ? eWhole : eBroken, QNetworkReply::RemoteHostClosedError,
                QStringLiteral("the body was cut"));
}

void RangeRequest::followRedirect()
{
    const QUrl from = m_reply->url();
    const QUrl target = redirectTarget(*m_reply);
    const QNetworkReply::NetworkError refusal = redirectRefusal(from, target);
    const bool isEndless = ++m_redirects > maximumRedirects || target == from;
    if (refusal != QNetworkReply::NoError || isEndless) {
        end(made(eFailed,
                 refusal != QNetworkReply::NoError ? refusal : QNetworkReply::TooManyRedirectsError,
                 QStringLiteral("the redirect is not followed")));
        return;
    }
    m_reply->disconnect(this);
    m_reply->deleteLater();
    get(target);
}

RangeRequest::End RangeRequest::made(Outcome outcome, QNetworkReply::NetworkError error,
                                     const QString& reason) const
{
    End end{outcome, error, httpStatus(*m_reply), std::chrono::milliseconds(0), reason};
    end.retryAfter =
        RetryRule::retryAfter(m_reply->rawHeader("Retry-After"), QDateTime::currentDateTimeUtc());
    return end;
}

void RangeRequest::end(const End& end)
{
    if (m_hasEnded) {
        return;
    }
    m_hasEnded = true;
    m_stall.stop();
    m_isAccepted = false;
    m_reply->disconnect(this);
    emit ended(end);
}

} // namespace zk
