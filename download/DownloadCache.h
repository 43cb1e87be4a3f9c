#pragma once

#include <QLockFile>
#include <QStringList>

#include <memory>
#include <optional>

class QDateTime;
class QUrl;

namespace zk {

class BackgroundTask;
class PartialFile;

/**
 * The user's folder of partial files of one product, which downloads continue after a cut, and
 * after a restart of the host.
 *
 * Each has three files, named after the SHA-256 of its address: ".part" holds the bytes, ".json"
 * what they belong to, and ".lock" exists while a host uses them. Folders called "staging-..." hold
 * versions that are being put together. Everything else is left alone.
 */
class DownloadCache final
{
public:
    explicit DownloadCache(const QString& product);

    /** The folder, whether it exists or not. */
    [[nodiscard]] QString folder() const { return m_folder; }

    /**
     * The partial file of @p url, whose signature must be made by one of @p publicKeys; null if it
     * is in use by another host, or if the folder cannot be used.
     */
    [[nodiscard]] std::unique_ptr<PartialFile> open(const QUrl& url,
                                                    const QStringList& publicKeys) const;

    /**
     * The folder in which the next version of the application in @p applicationFolder is put
     * together, and what its lock keeps others from; nothing if it cannot be used. The folder
     * stays for a week after its last use.
     */
    struct Staging
    {
        QString folder;
        std::unique_ptr<QLockFile> lock;
    };
    [[nodiscard]] std::optional<Staging> staging(const QString& applicationFolder) const;

    /** Removes what is older than a week or not one of the two newest, unless it is in use.
     * Callable from any thread. */
    void tidy(const QDateTime& now) const;
    /** The same, now, on a thread that ends with the result. */
    [[nodiscard]] std::unique_ptr<BackgroundTask> tidyInBackground() const;

private:
    QString m_folder;

    [[nodiscard]] static bool prepare(const QString& path);
    void tidyStaging(const QDateTime& now) const;
};

} // namespace zk
