#pragma once

#include <QObject>
#include <QString>

#include <atomic>
#include <functional>
#include <future>
#include <memory>

namespace zk {

/**
 * Does one piece of work on a thread of its own and announces its result once.
 *
 * Construct and connect; the work starts by itself. done() is emitted in the thread that
 * constructed the object when control returns to its event loop. The destructor cancels and waits;
 * nothing is emitted once it has begun.
 */
class BackgroundTask final : public QObject
{
    Q_OBJECT

public:
    /** Returns a text; ends soon after @p isCancelled has become true. Must not throw. */
    using Work = std::function<QString(const std::atomic<bool>& isCancelled)>;

    explicit BackgroundTask(const Work& work);
    ~BackgroundTask() override;

    /** Blocks until the work has ended; done() follows, see isCancelled(). */
    void cancel();
    /** Whether cancel() was called: the result may be about things that have changed since. */
    [[nodiscard]] bool isCancelled() const { return m_isCancelled; }
    /**
     * Cancels @p task without waiting, for work that takes its time to end. It still announces its
     * result, to whoever connects now, and deletes itself.
     */
    static void abandon(std::unique_ptr<BackgroundTask> task);

signals:
    /** The text that the work returned. */
    void done(const QString& result);

private:
    Q_INVOKABLE void announce();
    void announceSoon();

    std::atomic<bool> m_isCancelled{false};
    // Last: its end waits for the thread, which uses the others.
    std::future<QString> m_result;
};

} // namespace zk
