#include "download/DownloadCache.h"

#include "download/DownloadFileName.h"
#include "download/FileHash.h"
#include "download/PackageSignature.h"
#include "download/PartialFile.h"
#include "support/BackgroundTask.h"
#include "support/FileUtils.h"
#include "support/Log.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QUrl>

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace zk {

namespace {

constexpr int mostKept = 2;
constexpr qint64 daysKept = 7;

const auto partSuffix = QLatin1String(".part");
const auto recordSuffix = QLatin1String(".json");
const auto lockSuffix = QLatin1String(".lock");
const auto stagingPrefix = QLatin1String("staging-");
constexpr int hashLength = 64;

// Not a regular expression: tidy() runs in a thread, and with MinGW those of Qt 6 crash a thread
// that ends.
bool isOurs(const QString& file)
{
    const QStringView hash = QStringView(file).left(hashLength);
    const QStringView suffix = QStringView(file).mid(hash.size());
    return hash.size() == hashLength &&
           (suffix == partSuffix || suffix == recordSuffix || suffix == lockSuffix) &&
           std::all_of(hash.cbegin(), hash.cend(), [](QChar c) {
               return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) ||
                      (c >= QLatin1Char('a') && c <= QLatin1Char('f'));
           });
}

// Bytes that were fetched for other keys may come from somebody who is no longer trusted.
QByteArray keyIds(const QStringList& publicKeys)
{
    QList<QByteArray> ids;
    for (const trust::PublicKey& key : publicKeysIn(publicKeys)) {
        ids << bytesOf(key.id).toHex();
    }
    std::sort(ids.begin(), ids.end());
    return ids.join(',');
}

std::unique_ptr<QLockFile> locked(const QString& path)
{
    auto lock = std::make_unique<QLockFile>(path);
    // Only the end of the process that holds it makes a lock stale, however long it lasts.
    lock->setStaleLockTime(0);
    return lock->tryLock(0) ? std::move(lock) : nullptr;
}

} // namespace

DownloadCache::DownloadCache(const QString& product)
{
    const QString name = safeFileName(product);
    m_folder = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) +
               QLatin1Char('/') + (name.isEmpty() ? QStringLiteral("unnamed") : name) +
               QStringLiteral("/downloads");
}

// Private to the user: others must not replace bytes that are installed later.
bool DownloadCache::prepare(const QString& path)
{
    const QFileDevice::Permissions ours =
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;
    if (!QDir().mkpath(path)) {
        return false;
    }
    const QFileInfo folder(path);
    return folder.isDir() && !folder.isSymLink() && QFile::setPermissions(path, ours) &&
           folder.isWritable();
}

std::unique_ptr<PartialFile> DownloadCache::open(const QUrl& url,
                                                 const QStringList& publicKeys) const
{
    if (!prepare(m_folder)) {
        return nullptr;
    }
    const QByteArray name =
        QCryptographicHash::hash(url.toEncoded(), QCryptographicHash::Sha256).toHex();
    const QString path = m_folder + QLatin1Char('/') + QString::fromLatin1(name);
    PartialFile::Place place{path + partSuffix, path + recordSuffix,
                             name + ' ' + keyIds(publicKeys), locked(path + lockSuffix)};
    return place.lock ? PartialFile::in(std::move(place)) : nullptr;
}

std::optional<DownloadCache::Staging> DownloadCache::staging(const QString& applicationFolder) const
{
    constexpr int enough = 16; // paths below it should not become too long
    const QByteArray name =
        QCryptographicHash::hash(QDir(applicationFolder).canonicalPath().toUtf8(),
                                 QCryptographicHash::Sha256)
            .toHex()
            .left(enough);
    Staging staging{m_folder + QLatin1Char('/') + stagingPrefix + QString::fromLatin1(name), {}};
    if (!prepare(m_folder) || !prepare(staging.folder)) {
        return std::nullopt;
    }
    staging.lock = locked(staging.folder + lockSuffix);
    return staging.lock ? std::optional(std::move(staging)) : std::nullopt;
}

void DownloadCache::tidyStaging(const QDateTime& now) const
{
    const QStringList folders = QDir(m_folder).entryList(QDir::Dirs | QDir::Hidden);
    for (const QString& folder : folders) {
        const QString path = m_folder + QLatin1Char('/') + folder;
        const bool isOld = QFileInfo(path).lastModified().daysTo(now) > daysKept;
        if (!folder.startsWith(stagingPrefix) || !isOld) {
            continue;
        }
        if (const auto lock = locked(path + lockSuffix)) {
            if (!FileUtils::erase(path)) {
                SOFTWAREUPDATE_LOG(Log::eWarning, "zk::DownloadCache", "could not remove ", path);
            }
        }
    }
}

std::unique_ptr<BackgroundTask> DownloadCache::tidyInBackground() const
{
    return std::make_unique<BackgroundTask>(
        [cache = *this](const std::atomic<bool>& /*isCancelled*/) {
            cache.tidy(QDateTime::currentDateTime());
            return QString();
        });
}

void DownloadCache::tidy(const QDateTime& now) const
{
    const QFileInfo folder(m_folder);
    if (!folder.isDir() || folder.isSymLink()) {
        return;
    }
    tidyStaging(now);
    const QStringList files = QDir(m_folder).entryList(QDir::Files | QDir::Hidden | QDir::System);
    std::map<QString, QDateTime> parts; // each once, with the time of its last byte
    for (const QString& file : files) {
        if (isOurs(file)) {
            const QString path = m_folder + QLatin1Char('/') + file.left(hashLength);
            parts[path] = QFileInfo(path + partSuffix).lastModified();
        }
    }
    std::vector<std::pair<QDateTime, QString>> newest;
    newest.reserve(parts.size());
    for (const auto& [path, time] : parts) {
        newest.emplace_back(time, path);
    }
    std::sort(newest.rbegin(), newest.rend());
    int kept = 0;
    for (const auto& [time, path] : newest) {
        if (time.isValid() && kept < mostKept && time.daysTo(now) <= daysKept) {
            ++kept; // and not locked, not even for a moment: a download may want it now
        } else if (const auto lock = locked(path + lockSuffix)) {
            QFile::remove(path + partSuffix);
            QFile::remove(path + recordSuffix);
        }
    }
}

} // namespace zk
