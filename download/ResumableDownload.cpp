#include "download/ResumableDownload.h"

#include "download/PartialFile.h"
#include "download/RetryRule.h"
#include "support/BackgroundTask.h"
#include "support/LinkRule.h"
#include "support/Log.h"

#include <QCoreApplication>
#include <QRandomGenerator>

#include <utility>

namespace zk {

using std::chrono::milliseconds;

namespace {

constexpr char logName[] = "zk::ResumableDownload";

} // namespace

ResumableDownload::ResumableDownload(QUrl url, QString path, std::unique_ptr<PartialFile> partial,
                                     DownloadPolicy policy, ProxyChoice proxy)
    : m_url(std::move(url))
    , m_path(std::move(path))
    , m_partial(std::move(partial))
    , m_policy(policy)
    , m_proxy(std::move(proxy))
    , m_furthest(m_partial->size())
{
    connect(&m_tick, &QTimer::timeout, this, &ResumableDownload::tick);
}

ResumableDownload::~ResumableDownload() = default;

void ResumableDownload::enableHash()
{
    m_partial->enableHash();
}

void ResumableDownload::discardSection()
{
    (void)m_partial->begin({}); // without a validator it is not kept
}

void ResumableDownload::start()
{
    if (m_section && m_partial->size() == m_section->size) {
        finish(QNetworkReply::NoError);
        return;
    }
    if (m_partial->size() > 0) {
        SOFTWAREUPDATE_LOG(Log::eInfo, logName, "continuing ", logText(m_url), " after ",
                           m_partial->size(), " bytes");
        // Queued: a slot may destroy this object.
        const auto report = [this] {
            emit progressed(m_partial->size(), m_partial->content().total);
        };
        QMetaObject::invokeMethod(this, report, Qt::QueuedConnection);
    }
    if (m_partial->isHashed() && m_partial->size() > 0) {
        rehash();
    } else {
        tryNow();
    }
}

// Bytes of an earlier run: nobody knows what has become of them.
void ResumableDownload::rehash()
{
    m_rehash = std::make_unique<BackgroundTask>([this](const std::atomic<bool>& isCancelled) {
        return m_partial->rehash(isCancelled) ? QString() : QStringLiteral("it cannot be read");
    });
    connect(m_rehash.get(), &BackgroundTask::done, this, [this](const QString& complaint) {
        const bool isCancelled = m_rehash->isCancelled();
        m_rehash.release()->deleteLater();
        if (isCancelled) {
            finish(QNetworkReply::OperationCanceledError); // the host ends: the bytes are kept
        } else if (complaint.isEmpty() || m_partial->begin({})) {
            tryNow();
        } else {
            finish(QNetworkReply::UnknownContentError);
        }
    });
    connect(qApp, &QCoreApplication::aboutToQuit, m_rehash.get(), &BackgroundTask::cancel);
}

QByteArray ResumableDownload::hash()
{
    return m_partial->hash();
}

void ResumableDownload::tryNow()
{
    m_request = std::make_unique<RangeRequest>(m_url, *m_partial, m_proxy(), m_policy.stallTimeout,
                                               m_section);
    connect(m_request.get(), &RangeRequest::progressed, this, &ResumableDownload::progressed);
    connect(m_request.get(), &RangeRequest::ended, this, &ResumableDownload::take);
}

void ResumableDownload::take(const RangeRequest::End& end)
{
    m_request.release()->deleteLater(); // it is the sender
    noteProgress();
    switch (end.outcome) {
    case RangeRequest::eWhole:
        takeWhole();
        break;
    case RangeRequest::eUnfit:
        beginAnew(end);
        break;
    case RangeRequest::eBroken:
        retry(end);
        break;
    case RangeRequest::eFailed:
        SOFTWAREUPDATE_LOG(Log::eWarning, logName, logText(m_url), ": error ", int(end.error),
                           ", HTTP status ", end.httpStatus, ", ",
                           withoutCredentials(end.reason, m_url));
        finish(end.error);
        break;
    }
}

void ResumableDownload::takeWhole()
{
    if (!m_section) {
        place();
    } else if (m_partial->size() < m_section->size) {
        QMetaObject::invokeMethod(this, &ResumableDownload::tryNow, Qt::QueuedConnection);
    } else {
        finish(QNetworkReply::NoError);
    }
}

// Compared with the most that was ever there: beginning anew again and again is none.
void ResumableDownload::noteProgress()
{
    if (m_partial->size() >= m_furthest + RetryRule::progressSize) {
        m_furthest = m_partial->size();
        m_retries = 0;
        m_hasBegunAnew = false;
    }
}

void ResumableDownload::beginAnew(const RangeRequest::End& end)
{
    SOFTWAREUPDATE_LOG(Log::eWarning, logName, logText(m_url),
                       m_section ? " has no such section, after " : " begins anew after ",
                       m_partial->size(), " bytes: HTTP status ", end.httpStatus, ", ", end.reason);
    m_isUnfit = m_section.has_value();
    if (m_isUnfit || m_hasBegunAnew || m_partial->size() == 0 || !m_partial->begin({})) {
        finish(end.error);
        return;
    }
    m_hasBegunAnew = true;
    QMetaObject::invokeMethod(this, &ResumableDownload::tryNow, Qt::QueuedConnection);
}

void ResumableDownload::retry(const RangeRequest::End& end)
{
    // Without a validator nobody could tell whether the rest belongs to what is there.
    const bool isKept = !m_partial->content().validator.isEmpty() || m_partial->begin({});
    const bool isLast =
        ++m_retries > m_policy.retries || !isKept || end.retryAfter > RetryRule::longestRetryAfter;
    m_pause = std::max(
        RetryRule::pauseBefore(m_retries, m_policy, QRandomGenerator::global()->generateDouble()),
        end.retryAfter);
    SOFTWAREUPDATE_LOG(Log::eWarning, logName, logText(m_url), " broke off after ",
                       m_partial->size(), " of ", m_partial->content().total, " bytes: error ",
                       int(end.error), ", HTTP status ", end.httpStatus, ", ",
                       withoutCredentials(end.reason, m_url), "; ",
                       isLast ? QStringLiteral("given up")
                              : QStringLiteral("retry %1 of %2 in %3 ms")
                                    .arg(m_retries)
                                    .arg(m_policy.retries)
                                    .arg(m_pause.count()));
    if (isLast) {
        finish(end.error);
        return;
    }
    m_paused.start();
    tick();
}

void ResumableDownload::tick()
{
    constexpr qint64 second = 1000;
    const qint64 left = m_pause.count() - m_paused.elapsed();
    if (left <= 0) {
        m_tick.stop();
        tryNow();
        return;
    }
    m_tick.start(int(qMin(left, second)));
    emit waiting(left);
}

void ResumableDownload::place()
{
    if (m_partial->place(m_path)) {
        QTimer::singleShot(0, this, &ResumableDownload::place);
        return;
    }
    if (!m_partial->isPlaced()) {
        SOFTWAREUPDATE_LOG(Log::eError, logName, "could not write ", m_path, ": ",
                           m_partial->systemError());
    }
    finish(m_partial->isPlaced() ? QNetworkReply::NoError : QNetworkReply::UnknownContentError);
}

void ResumableDownload::finish(QNetworkReply::NetworkError code)
{
    QMetaObject::invokeMethod(
        this, [this, code] { emit ended(code); }, Qt::QueuedConnection);
}

} // namespace zk
