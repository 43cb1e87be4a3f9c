#pragma once

#include "support/Export.h"

#include <QIODevice>

#include <atomic>

namespace zk {

/**
 * Common base of archive readers: progress and cancellation.
 *
 * Belongs to one thread, like every QIODevice; abort() and isAborted() may be called from any.
 */
class SOFTWAREUPDATE_EXPORT ZipDevice : public QIODevice
{
    Q_OBJECT

public:
    /** Owned by @p parent, if there is one. */
    explicit ZipDevice(QObject* parent = nullptr);
    ~ZipDevice() override;

    /** Whether the work was cancelled; everything it wrote has been removed then. */
    [[nodiscard]] bool isAborted() const;

signals:
    /** @p bytes more have been written: at least every 64 KiB and at the end of each entry. */
    void writeBytes(qint64 bytes);

public slots:
    /** Asks the work to stop at the next opportunity. */
    void abort();

protected:
    /** @{ Archives are not read or written as one stream of bytes: both return -1. */
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 maxSize) override;
    /** @} */

private:
    std::atomic<bool> m_aborted{false};
};

} // namespace zk
