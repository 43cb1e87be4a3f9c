#pragma once

#include "support/Export.h"

#include <QString>
#include <QThread>

#include <memory>

namespace zk {

/**
 * Extracts one zip archive into a folder on a thread of its own.
 *
 * Construct and connect; the thread starts by itself. Exactly one of unzippingDone() and
 * unzippingFailed() follows, once, emitted in the thread that constructed the object when control
 * returns to its event loop, so connections made until then miss nothing. The destructor cancels
 * and waits; nothing is emitted once it has begun. Existing files are overwritten. After a failure
 * no file of the archive is left.
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
     * Deletes the archive; does nothing before unzippingDone() or if the archive is gone already.
     * Call it in the object's thread. A failure is logged.
     */
    void removeZipFile();

    /**
     * Whether nothing that was unpacked has been removed since, judged by the number of files and
     * bytes: other programs clean up temporary folders. False before unzippingDone(). Visits each
     * file below the folder; call it in the object's thread.
     */
    [[nodiscard]] bool isIntact() const;

signals:
    /** Everything is extracted to @p targetDir, the folder that was given to the constructor. */
    void unzippingDone(const QString& targetDir);
    /** @p message is the reason as plain text. */
    void unzippingFailed(const QString& message);

protected:
    /** Extracts, in the thread of its own. */
    void run() override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace zk
