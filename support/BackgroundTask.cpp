#include "support/BackgroundTask.h"

#include <QCoreApplication>

#include <chrono>

namespace zk {

BackgroundTask::BackgroundTask(const Work& work)
{
    const auto run = [this, work] {
        QString result = work(m_isCancelled);
        announceSoon();
        return result;
    };
    // Both policies: where no thread can be had, announce() does the work.
    m_result = std::async(std::launch::async | std::launch::deferred, run);
    if (m_result.wait_for(std::chrono::seconds(0)) == std::future_status::deferred) {
        announceSoon();
    }
}

BackgroundTask::~BackgroundTask()
{
    m_isCancelled = true;
}

void BackgroundTask::cancel()
{
    m_isCancelled = true;
    if (m_result.valid()) {
        m_result.wait();
    }
}

void BackgroundTask::abandon(std::unique_ptr<BackgroundTask> task)
{
    task->m_isCancelled = true;
    connect(task.get(), &BackgroundTask::done, task.get(), &QObject::deleteLater);
    task.release()->setParent(QCoreApplication::instance()); // which waits if it ends before
}

// By name, as a functor would cross the threads under locks that ThreadSanitizer does not see.
void BackgroundTask::announceSoon()
{
    QMetaObject::invokeMethod(this, "announce", Qt::QueuedConnection);
}

void BackgroundTask::announce()
{
    if (m_result.valid()) {
        emit done(m_result.get());
    }
}

} // namespace zk
