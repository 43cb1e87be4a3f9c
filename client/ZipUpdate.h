#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <memory>

class QWidget;

namespace zk {

class DownloadManager;
class StagingTree;

/**
 * One ZIP package, or what has been put together in place of it, on its way to become the
 * application: unpacking, waiting for the unpacked tree, and the hand-over to the program that
 * swaps the folders.
 *
 * Destroying it stops the unpacking and removes the archive; a tree that is complete stays. GUI
 * thread only.
 */
class ZipUpdate final : public QObject
{
    Q_OBJECT

public:
    enum State { eUnpacking, eUnpacked, eFailed };

    /** Starts to unpack @p zipFile, which belongs to it from now on. */
    explicit ZipUpdate(QString zipFile);
    /** Has @p tree, which is complete. */
    explicit ZipUpdate(std::shared_ptr<const StagingTree> tree);
    ~ZipUpdate() override;

    [[nodiscard]] State state() const { return m_state; }
    /** It has the staging folder. */
    [[nodiscard]] bool isStaged() const { return m_tree != nullptr; }
    /** The new application folder; empty until it is complete. */
    [[nodiscard]] QString folder() const { return m_folder; }

    /**
     * Waits under a progress dialog until everything is unpacked; true if it is. The user may stop
     * waiting. Runs a nested event loop, in which this object may be destroyed: false then.
     */
    [[nodiscard]] bool waitUntilUnpacked(QWidget* parent, Qt::WindowFlags flags);

    /**
     * Replaces this process by UpdateInstaller, which swaps the application's folder for that of
     * @p update (null: none). Returns only if that fails; the log says why.
     */
    static void replaceApplication(const ZipUpdate* update);

signals:
    /** The state has changed. */
    void ended();

private:
    const QString m_zipFile;
    QPointer<DownloadManager> m_manager;
    /** In place of an archive. */
    const std::shared_ptr<const StagingTree> m_tree;
    State m_state = eUnpacking;
    QString m_folder;

    void removeArchive() const;
    void end(State state, const QString& folder);
    [[nodiscard]] bool isIntact() const;
};

} // namespace zk
