#include "client/UpdateRequest.h"

#include "client/ServerRedirect.h"

#include "catalogue/DocumentLimits.h"
#include "support/ContentDecoder.h"
#include "support/LinkRule.h"
#include "support/ManagerRetirement.h"
#include "support/QtCompatibility.h"
#include "support/ReceivedReply.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

#include <algorithm>
#include <optional>
#include <utility>

namespace zk {

namespace {

// The parser refuses larger documents: do not receive them.
using UpdateDocument::maximumDocumentSize;

// What Qt may buffer while a busy host does not read.
constexpr qint64 readBufferSize = 256LL * 1024;

QString canceledText()
{
    return QCoreApplication::translate("QNetworkReplyHttpImpl", "Operation canceled");
}

} // namespace

/** One GET: receives and decodes its body as it arrives. */
class UpdateRequest::Get final
{
public:
    Get(QNetworkReply* reply, UpdateRequest* request)
        : m_reply(reply)
        , m_request(request)
    {
        reply->setReadBufferSize(readBufferSize);
        connect(reply, &QIODevice::readyRead, request, [this] {
            if (!receive()) {
                finish();
            }
        });
        connect(reply, &QNetworkReply::finished, request, [this] { finish(); });
    }
    Get(const Get&) = delete;
    Get& operator=(const Get&) = delete;
    ~Get() { m_reply->disconnect(m_request); }

    /** Whether a redirect of it may be followed. */
    bool isFollowing = true;

    /** Where it leads; empty if it is no redirect. */
    [[nodiscard]] QUrl target() const { return ServerRedirect::target(*m_reply); }

    /** Hands over what has been received. */
    [[nodiscard]] std::unique_ptr<ReceivedReply> take()
    {
        auto received = std::make_unique<ReceivedReply>(*m_reply, std::move(m_body));
        const bool isTruncated =
            m_reply->error() == QNetworkReply::NoError && !m_decoder->isComplete();
        if (m_isTooLarge) {
            received->fail(QNetworkReply::OperationCanceledError, canceledText());
        } else if (isTruncated && m_decoder->isCut()) {
            received->fail(QNetworkReply::RemoteHostClosedError,
                           QCoreApplication::translate("QHttp", "Connection closed"));
        } else if (isTruncated || m_decoder->isDamaged()) {
            received->fail(QNetworkReply::ProtocolFailure,
                           QCoreApplication::translate("QHttp", "Data corrupted"));
        }
        return received;
    }

private:
    QNetworkReply* const m_reply;
    UpdateRequest* const m_request;
    std::optional<ContentDecoder> m_decoder;
    QList<QByteArray> m_body;
    qint64 m_decoded = 0;
    qint64 m_received = 0;
    bool m_isTooLarge = false;

    /** Reads what has arrived; false if the body is refused. */
    bool receive()
    {
        while (m_reply->isOpen() && m_reply->bytesAvailable() > 0) {
            if (!decode(m_reply->read(readBufferSize))) {
                return false;
            }
        }
        return true;
    }

    // The request may destroy this object within.
    void finish()
    {
        (void)receive(); // take() tells
        if (!m_decoder) {
            m_decoder.emplace(*m_reply); // nothing has arrived, but something may be announced
        }
        m_reply->disconnect(m_request);
        m_request->finish(this);
    }

    bool decode(const QByteArray& piece)
    {
        if (!m_decoder) {
            m_decoder.emplace(*m_reply);
        }
        m_received += piece.size();
        const bool isDecoded = m_decoder->decode(
            piece, [this](const char* data, qint64 size) { return keep(data, int(size)); });
        m_isTooLarge = m_isTooLarge || m_received > maximumDocumentSize;
        return isDecoded && !m_isTooLarge && !piece.isEmpty();
    }

    bool keep(const char* data, int size)
    {
        // Large enough for the allocator to return each one to the system while the document is
        // read.
        constexpr int pieceSize = 4 * 1024 * 1024;
        m_decoded += size;
        m_isTooLarge = m_decoded > maximumDocumentSize;
        if (m_isTooLarge) {
            return false;
        }
        if (m_body.isEmpty() || m_body.constLast().size() + size > pieceSize) {
            m_body.append(QByteArray());
            m_body.last().reserve(m_body.size() > 1 ? pieceSize : 0);
        }
        m_body.last().append(data, size);
        return true;
    }
};

UpdateRequest::UpdateRequest(QTimer& timer)
    : m_timer(timer)
{
    connect(&timer, &QTimer::timeout, this, [this] {
        dropReplies();
        emit timedOut();
    });
}

UpdateRequest::~UpdateRequest()
{
    m_timer.stop();
    dropReplies();
}

void UpdateRequest::get(const QUrl& url, const QNetworkProxy& proxy)
{
    m_hops = 0;
    send(url, proxy);
}

void UpdateRequest::follow(const QUrl& target, const QNetworkProxy& proxy)
{
    ++m_hops;
    send(target, proxy);
}

void UpdateRequest::send(const QUrl& url, const QNetworkProxy& proxy)
{
    if (!m_manager) {
        m_manager = new QNetworkAccessManager; // one for all hops: it holds the cookies
    }
    m_manager->setProxy(proxy);
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("text/xml"));
    QtCompatibility::usePlainHttp(request);
    ContentDecoder::accept(request);
    m_gets.push_back(std::make_unique<Get>(m_manager->get(request), this));
    m_timer.setSingleShot(true);
    m_timer.start(timeoutMs);
}

void UpdateRequest::stopFollowing()
{
    for (const std::unique_ptr<Get>& get : m_gets) {
        get->isFollowing = false;
    }
}

void UpdateRequest::dropReplies()
{
    m_gets.clear();
    if (m_manager) {
        retireNetworkManager(m_manager);
        m_manager.clear();
    }
}

void UpdateRequest::finish(Get* get)
{
    const QUrl target = get->target();
    const bool isNewest = m_gets.back().get() == get;
    if (!target.isEmpty() && !isNewest) {
        forget(get); // a newer check is under way
        return;
    }
    const std::unique_ptr<ReceivedReply> reply = get->take();
    if (!target.isEmpty() && !refuse(*reply, target, get->isFollowing)) {
        forget(get);
        emit redirected(target);
        return;
    }
    m_timer.stop();
    emit answered(reply.get());
}

/** Makes @p reply a failed one if it must not be followed to @p target. */
bool UpdateRequest::refuse(ReceivedReply& reply, const QUrl& target, bool isFollowing) const
{
    if (!isFollowing) {
        reply.fail(QNetworkReply::OperationCanceledError, canceledText());
        return true;
    }
    const QString refusal = ServerRedirect::refusal(reply.url(), target);
    if (!refusal.isEmpty()) {
        reply.fail(redirectError(reply.url(), target), refusal);
        return true;
    }
    if (m_hops >= maximumRedirects) {
        reply.fail(QNetworkReply::TooManyRedirectsError,
                   QCoreApplication::translate("QHttp", "Too many redirects"));
        return true;
    }
    return false;
}

void UpdateRequest::forget(const Get* get)
{
    m_gets.erase(std::find_if(m_gets.begin(), m_gets.end(),
                              [get](const auto& known) { return known.get() == get; }));
}

} // namespace zk
