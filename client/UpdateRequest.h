#pragma once

#include <QNetworkProxy>
#include <QObject>
#include <QPointer>
#include <QUrl>

#include <memory>
#include <vector>

class QNetworkAccessManager;
class QNetworkReply;
class QTimer;

namespace zk {

class ReceivedReply;

/**
 * One check at the update server: its GETs with their redirects, cookies, limits and time-out.
 *
 * A second check that is asked for while the first one is outstanding is one more GET of the same
 * request: the first answer ends both. Exactly one of answered() and timedOut() follows, the last
 * thing that the object does. Destroying it silences it and drops its connections. GUI thread only.
 */
class UpdateRequest final : public QObject
{
    Q_OBJECT

public:
    static constexpr int timeoutMs = 15000;

    /** @p timer is started anew with each GET and must outlive the request. */
    explicit UpdateRequest(QTimer& timer);
    ~UpdateRequest() override;

    /** Requests @p url through @p proxy. */
    void get(const QUrl& url, const QNetworkProxy& proxy);
    /** Requests the target of redirected(), as the next hop of the same GET. */
    void follow(const QUrl& target, const QNetworkProxy& proxy);
    /** What is outstanding goes on, but a redirect ends it from now on. */
    void stopFollowing();
    /** Drops what is outstanding and the cookies; nothing but the time-out can follow then. */
    void dropReplies();

signals:
    /** The newest GET is to go on at @p target: call follow(). */
    void redirected(const QUrl& target);
    /** The answer, decoded; a failed one if it was refused. @p reply is valid during the call. */
    void answered(QNetworkReply* reply);
    /** There was no answer for timeoutMs. */
    void timedOut();

private:
    class Get;

    QTimer& m_timer;
    QPointer<QNetworkAccessManager> m_manager;
    std::vector<std::unique_ptr<Get>> m_gets;
    int m_hops = 0;

    void send(const QUrl& url, const QNetworkProxy& proxy);
    void finish(Get* get);
    bool refuse(ReceivedReply& reply, const QUrl& target, bool isFollowing) const;
    void forget(const Get* get);
};

} // namespace zk
