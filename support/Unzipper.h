#pragma once

#include "support/Export.h"

#include <QString>
#include <QThread>

#include <mutex>

namespace zk {

class ZipReader;

/**
 * Extracts one zip archive into a folder on a thread of its own.
 *
 * Construct and connect; the thread starts by itself. Exactly one of unzippingDone() and
 * unzippingFailed() follows, once, emitted in the thread that constructed the object when control
 * returns to its event loop, so nothing is lost before the connections stand. The destructor
 * cancels and waits; nothing is emitted once it has begun. Existing files are overwritten. After a
 * failure nothing of the archive is there.
 */
class SOFTWAREUPDATE_EXPORT Unzipper final : public QThread
{
    Q_OBJECT

public:
    /** @p deleteArchive: delete @p zipFile once everything is extracted. */
    Unzipper(const QString& zipFile, const QString& targetDir, bool deleteArchive);
    ~Unzipper() override;

    /**
     * Asks the work to stop, for a host that is about to quit; returns at once. unzippingFailed()
     * follows unless the work was complete already. Callable from any thread.
     */
    void cancel();

    /**
     * Deletes the archive; does nothing before unzippingDone(), and nothing where it is gone
     * already. Call it in the object's thread. A failure is logged.
     */
    void removeZipFile();

    /**
     * Whether nothing that was unpacked has been removed since, judged by the number of files and
     * bytes: temporary folders are tidied up by others too. False before unzippingDone(). Looks at
     * each file below the folder; call it in the object's thread.
     */
    [[nodiscard]] bool isIntact() const;

signals:
    /** Everything is extracted to @p targetDir, the folder that was given to the constructor. */
    void unzippingDone(const QString& targetDir);
    /** @p message is the reason as plain text. */
    void unzippingFailed(const QString& message);

protected:
    /** The work, in the thread of its own. */
    void run() override;

private:
    [[nodiscard]] bool extract();
    void setReader(ZipReader* reader);
    void post(bool complete, const QString& failure);
    Q_INVOKABLE void announce();

    const QString m_zipFile;
    const QString m_targetDir;
    const bool m_deleteArchive;
    bool m_succeeded = false;
    /** Of the archive; written by the thread before it posts its result. */
    qint64 m_files = 0;
    qint64 m_bytes = 0;

    // Guards what follows. Not a QMutex: ThreadSanitizer does not see into an uninstrumented Qt.
    std::mutex m_mutex;
    ZipReader* m_reader = nullptr;
    bool m_cancelled = false;
    bool m_complete = false;
    QString m_failure;
};

} // namespace zk
