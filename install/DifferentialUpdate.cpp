#include "install/DifferentialUpdate.h"

#include "catalogue/Vocabulary.h"
#include "download/FileHash.h"
#include "download/PackageSignature.h"
#include "download/PartialFile.h"
#include "install/InstalledContents.h"
#include "support/BackgroundTask.h"
#include "support/DiskSpace.h"
#include "support/LinkRule.h"
#include "support/Log.h"
#include "support/StringUtils.h"
#include "support/ZipEntryNames.h"

#include <QCoreApplication>
#include <QFile>
#include <QSet>

#include <algorithm>
#include <utility>

namespace zk {

namespace {

constexpr char logName[] = "zk::DifferentialUpdate";
/** The manifest may have this part of the package. */
constexpr qint64 manifestShare = 50;
/** Hundredths of the package; more are better fetched in one go. */
constexpr qint64 mostFetched = 70;
constexpr qint64 hundred = 100;

QString toText(const std::string& utf8)
{
    return QString::fromStdString(utf8);
}

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/** Entries that would overwrite one another where letter case does not count. */
QString clashIn(const trust::PackageManifest& manifest)
{
    ZipEntryNameSet names;
    QString clash;
    for (const std::string& folder : manifest.folders) {
        clash = clash.isEmpty() ? names.add(toText(folder) + QLatin1Char('/')) : clash;
    }
    for (const trust::ManifestFile& file : manifest.files) {
        clash = clash.isEmpty() ? names.add(toText(file.path)) : clash;
    }
    return clash;
}

} // namespace

DifferentialUpdate::DifferentialUpdate(Source source)
    : m_source(std::move(source))
{
}

DifferentialUpdate::~DifferentialUpdate() = default;

bool DifferentialUpdate::isFor(const PackageInfo& package, const QUrl& url)
{
    return package.type == QLatin1String(Vocabulary::typeApplication) &&
           package.suffix == QLatin1String("zip") && url.scheme().startsWith(QLatin1String("http"));
}

QString DifferentialUpdate::manifestPath() const
{
    return m_staging.folder + QStringLiteral("/manifest");
}

QString DifferentialUpdate::signaturePath() const
{
    return manifestPath() + QStringLiteral(".minisig");
}

void DifferentialUpdate::start()
{
    auto staging = m_source.cache.staging(m_source.applicationFolder);
    if (!staging) {
        giveUp(QStringLiteral("the staging folder is in use, or cannot be"));
        return;
    }
    m_staging = std::move(*staging);
    const auto size = qint64(m_source.package.fileSize);
    const auto largest = qint64(trust::maximumManifestSize);
    fetchBeside(toText(std::string(trust::manifestSuffix)), manifestPath(),
                size > 0 ? std::min(size / manifestShare, largest) : largest,
                &DifferentialUpdate::fetchSignature);
}

void DifferentialUpdate::fetchSignature()
{
    fetchBeside(toText(std::string(trust::manifestSuffix)) + QStringLiteral(".minisig"),
                signaturePath(), qint64(trust::maximumSignatureSize),
                &DifferentialUpdate::takeManifest);
}

void DifferentialUpdate::fetchBeside(const QString& suffix, const QString& path, qint64 largest,
                                     Next next)
{
    QFile::remove(path);
    QFile::remove(path + QStringLiteral(".part")); // of a host that was killed
    auto partial = PartialFile::beside(path);
    if (!partial) {
        giveUp(QStringLiteral("the staging folder cannot be written to"));
        return;
    }
    // Servers that have a page for what is missing look like networks that ask for a log-in.
    DownloadPolicy policy = m_source.policy;
    policy.retries = std::min(policy.retries, 1);
    m_fetch = std::make_unique<ResumableDownload>(besideUrl(m_source.url, suffix), path,
                                                  std::move(partial), policy, m_source.proxy);
    connect(m_fetch.get(), &ResumableDownload::waiting, this, &DifferentialUpdate::waiting);
    connect(m_fetch.get(), &ResumableDownload::progressed, this,
            [this, largest](qint64 received, qint64 total) {
                if (std::max(received, total) > largest) {
                    m_fetch->disconnect(this);
                    giveUp(QStringLiteral("the manifest is too large"));
                }
            });
    connect(m_fetch.get(), &ResumableDownload::ended, this,
            [this, next, suffix](QNetworkReply::NetworkError code) {
                m_fetch.release()->deleteLater(); // it is the sender
                if (code == QNetworkReply::NoError) {
                    (this->*next)();
                } else {
                    giveUp(QStringLiteral("%1 cannot be fetched, error code %2")
                               .arg(suffix)
                               .arg(int(code)));
                }
            });
    m_fetch->start();
}

void DifferentialUpdate::takeManifest()
{
    m_manifestText = readAll(manifestPath());
    const QByteArray signature = readAll(signaturePath());
    const std::string archive = m_source.package.url.fileName().toStdString();
    auto accepted = trust::acceptManifest(viewOf(m_manifestText), viewOf(signature), archive,
                                          publicKeysIn(m_source.publicKeys));
    if (const auto* const error = std::get_if<std::string>(&accepted)) {
        giveUp(QStringLiteral("the manifest is refused: ") + toText(*error));
        return;
    }
    auto& manifest = std::get<trust::PackageManifest>(accepted);
    const QString complaint = complaintAboutManifest(manifest, m_manifestText.size());
    if (!complaint.isEmpty()) {
        giveUp(complaint);
        return;
    }
    m_tree = std::make_shared<StagingTree>(std::move(m_staging), std::move(manifest));
    emit busy();
    work(
        [this](const std::atomic<bool>& isCancelled) {
            m_missing = m_tree->survey(isCancelled);
            return QString();
        },
        &DifferentialUpdate::reuse);
}

QString DifferentialUpdate::complaintAboutManifest(const trust::PackageManifest& manifest,
                                                   qint64 size) const
{
    QSet<QString> platforms;
    for (const std::string& platform : manifest.platforms) {
        platforms.insert(toText(platform));
    }
    const QSet<QString> ours(m_source.platforms.cbegin(), m_source.platforms.cend());
    if (toText(manifest.product) != m_source.product) {
        return QStringLiteral("the manifest is one of the product '%1'")
            .arg(toText(manifest.product));
    }
    if (!ours.isEmpty() && !StringUtils::intersectsOnBeginning(ours, platforms)) {
        return QStringLiteral("the manifest is one of another platform");
    }
    if (!isSameRelease(toText(manifest.release), m_source.package.release)) {
        return QStringLiteral("the manifest is one of release '%1'").arg(toText(manifest.release));
    }
    if (size > qint64(manifest.archiveSize) / manifestShare) {
        return QStringLiteral("the manifest is too large for the package");
    }
    const QString clash = clashIn(manifest);
    return clash.isEmpty() ? clash : QStringLiteral("an entry of the manifest ") + clash;
}

// The host may end meanwhile: what is done then is found again by the next survey.
void DifferentialUpdate::work(const std::function<QString(const std::atomic<bool>&)>& job,
                              Next next)
{
    m_task = std::make_unique<BackgroundTask>(job);
    connect(qApp, &QCoreApplication::aboutToQuit, m_task.get(), &BackgroundTask::cancel);
    connect(m_task.get(), &BackgroundTask::done, this, [this, next](const QString& complaint) {
        const bool isCancelled = m_task->isCancelled();
        m_task.release()->deleteLater(); // it is the sender
        if (isCancelled) {
            emit failed(QNetworkReply::OperationCanceledError);
        } else if (complaint.isEmpty()) {
            (this->*next)();
        } else {
            giveUp(complaint);
        }
    });
}

void DifferentialUpdate::reuse()
{
    work(
        [this](const std::atomic<bool>& isCancelled) {
            const trust::PackageManifest& manifest = m_tree->manifest();
            m_installed = installedContents(m_source.applicationFolder, manifest, isCancelled);
            std::vector<std::size_t> missing;
            for (const std::size_t position : m_missing) {
                const QString path = m_installed.value(bytesOf(manifest.files[position].hash));
                if (path.isEmpty() || !m_tree->copy(position, path, isCancelled)) {
                    missing.push_back(position);
                }
            }
            m_missing = std::move(missing);
            choosePatches();
            return QString();
        },
        &DifferentialUpdate::plan);
}

void DifferentialUpdate::choosePatches()
{
    for (const std::size_t position : m_missing) {
        const trust::ManifestFile& file = m_tree->manifest().files[position];
        quint64 smallest = file.packedSize;
        for (const trust::ManifestPatch& patch : file.patches) {
            if (patch.size < smallest && m_installed.contains(bytesOf(patch.oldHash)) &&
                trust::patchWindowLog(patch.oldSize, file.size)) {
                smallest = patch.size;
                m_patches[position] = patch;
            }
        }
    }
}

void DifferentialUpdate::plan()
{
    std::vector<WantedBytes> patches;
    std::vector<WantedBytes> entries;
    for (const std::size_t position : m_missing) {
        const auto patch = m_patches.find(position);
        if (patch != m_patches.end()) {
            patches.push_back({qint64(patch->second.offset), qint64(patch->second.size), position});
        } else {
            const trust::ManifestFile& file = m_tree->manifest().files[position];
            entries.push_back({qint64(file.offset), qint64(file.packedSize), position});
        }
    }
    m_fetches.clear();
    m_current = 0;
    planFrom(Fetch::ePatches, std::move(patches));
    planFrom(Fetch::eArchive, std::move(entries));
    const QString complaint = complaintAboutPlan();
    if (!complaint.isEmpty()) {
        giveUp(complaint);
        return;
    }
    SOFTWAREUPDATE_LOG(Log::eInfo, logName, "fetching ", m_wanted, " of ",
                       m_tree->manifest().archiveSize, " bytes of ", logText(m_source.url), " in ",
                       m_fetches.size(), " parts, for ", m_missing.size(), " of ",
                       m_tree->manifest().files.size(), " files, ", m_patches.size(),
                       " of them by patches");
    m_missing.clear();
    fetchSection();
}

void DifferentialUpdate::planFrom(Fetch::From from, std::vector<WantedBytes> wanted)
{
    std::sort(wanted.begin(), wanted.end(), [](const WantedBytes& left, const WantedBytes& right) {
        return left.first < right.first;
    });
    for (FetchedSection& section : planSections(wanted)) {
        m_wanted += section.size;
        m_fetches.push_back({from, std::move(section)});
    }
}

QString DifferentialUpdate::complaintAboutPlan() const
{
    const auto archive = qint64(m_tree->manifest().archiveSize);
    if (m_wanted > archive / hundred * mostFetched) {
        return QStringLiteral("%1 of its %2 bytes have changed").arg(m_wanted).arg(archive);
    }
    std::vector<quint64> sizes;
    for (const std::size_t position : m_missing) {
        sizes.push_back(m_tree->manifest().files[position].size);
    }
    quint64 largest = 0;
    for (const Fetch& fetch : m_fetches) {
        largest = std::max(largest, quint64(fetch.section.size));
    }
    sizes.push_back(largest);
    const auto space = diskSpaceAt(m_tree->folder());
    return space && firstBeyond(sizes, *space) ? QStringLiteral("only %1 bytes are free below %2")
                                                     .arg(space->available)
                                                     .arg(m_tree->folder())
                                               : QString();
}

void DifferentialUpdate::fetchSection()
{
    if (m_current == m_fetches.size()) {
        m_missing.empty() ? check() : plan();
        return;
    }
    const auto& [from, section] = m_fetches[m_current];
    const trust::PackageManifest& manifest = m_tree->manifest();
    const bool isArchive = from == Fetch::eArchive;
    const auto total = qint64(isArchive ? manifest.archiveSize : manifest.patchesSize);
    const QString path = m_tree->sectionPath();
    const QByteArray owner = QByteArray::fromStdString(trust::hexText(manifest.archiveHash)) + ' ' +
                             QByteArray::number(int(from)) + ' ' +
                             QByteArray::number(section.first) + ' ' +
                             QByteArray::number(section.size);
    auto partial = PartialFile::in({path, path + QStringLiteral(".json"), owner, nullptr});
    if (!partial || (partial->size() == 0 && !partial->begin({"section", section.size}))) {
        giveUp(QStringLiteral("the staging folder cannot be written to"));
        return;
    }
    const QString suffix = toText(std::string(trust::patchesSuffix));
    m_fetch = std::make_unique<ResumableDownload>(
        isArchive ? m_source.url : besideUrl(m_source.url, suffix), path, std::move(partial),
        m_source.policy, m_source.proxy);
    m_fetch->setSection({section.first, section.size, total});
    connect(m_fetch.get(), &ResumableDownload::waiting, this, &DifferentialUpdate::waiting);
    connect(m_fetch.get(), &ResumableDownload::progressed, this,
            [this](qint64 received, qint64 /*total*/) {
                emit progressed(m_fetched + received, m_wanted);
            });
    connect(m_fetch.get(), &ResumableDownload::ended, this, &DifferentialUpdate::takeSection);
    m_fetch->start();
}

void DifferentialUpdate::takeSection(QNetworkReply::NetworkError code)
{
    const bool isPatch = m_fetches[m_current].from == Fetch::ePatches;
    if (code == QNetworkReply::NoError) {
        unpackSection();
    } else if (isPatch && (m_fetch->isUnfit() || code == QNetworkReply::ContentNotFoundError)) {
        dropPatches();
        nextSection();
    } else if (m_fetch->isUnfit()) {
        giveUp(QStringLiteral("the server does not send ranges of the package"));
    } else {
        emit failed(code);
    }
}

// Their files are fetched as they are in the package.
void DifferentialUpdate::dropPatches()
{
    for (const WantedBytes& part : m_fetches[m_current].section.parts) {
        m_patches.erase(part.position);
        m_missing.push_back(part.position);
    }
}

void DifferentialUpdate::unpackSection()
{
    const auto unpackParts = [this](const std::atomic<bool>& isCancelled) {
        QFile file(m_tree->sectionPath());
        if (!file.open(QIODevice::ReadOnly)) {
            return QStringLiteral("the staging folder cannot be read");
        }
        if (m_fetches[m_current].from == Fetch::ePatches) {
            applyPatches(file, isCancelled);
            return QString();
        }
        const bool isFine = unpackEntries(file, isCancelled);
        m_isSecondTry = !isFine && !m_isSecondTry;
        return isFine || m_isSecondTry
                   ? QString()
                   : QStringLiteral("the package is not the one of the manifest, or cannot be "
                                    "written");
    };
    work(unpackParts, &DifferentialUpdate::nextSection);
}

bool DifferentialUpdate::unpackEntries(QFile& file, const std::atomic<bool>& isCancelled)
{
    const FetchedSection& section = m_fetches[m_current].section;
    return std::all_of(section.parts.begin(), section.parts.end(), [&](const WantedBytes& part) {
        return m_tree->unpack(part.position, file, part.first - section.first, isCancelled);
    });
}

void DifferentialUpdate::applyPatches(QFile& file, const std::atomic<bool>& isCancelled)
{
    const FetchedSection& section = m_fetches[m_current].section;
    for (const WantedBytes& part : section.parts) {
        const trust::ManifestPatch& patch = m_patches.at(part.position);
        if (!m_tree->applyPatch(part.position, patch, file, part.first - section.first,
                                m_installed.value(bytesOf(patch.oldHash)), isCancelled)) {
            m_patches.erase(part.position);
            m_missing.push_back(part.position);
        }
    }
}

void DifferentialUpdate::nextSection()
{
    m_fetch->discardSection();
    m_fetch.reset();
    if (!m_isSecondTry) {
        m_fetched += m_fetches[m_current].section.size;
        ++m_current;
    }
    fetchSection();
}

// Nothing of what was put together is handed over unseen.
void DifferentialUpdate::check()
{
    emit busy();
    work(
        [this](const std::atomic<bool>& isCancelled) {
            const QString program = QCoreApplication::applicationFilePath();
            const bool isWhole =
                m_tree->survey(isCancelled).empty() &&
                m_tree->writeManifest(m_manifestText, program.section(QLatin1Char('/'), -1));
            return isWhole ? QString() : QStringLiteral("the new version changed on the disk");
        },
        &DifferentialUpdate::conclude);
}

void DifferentialUpdate::conclude()
{
    SOFTWAREUPDATE_LOG(Log::eInfo, logName, "the new version is in ", m_tree->folder(),
                       ", fetched were ", m_wanted, " of ", m_tree->manifest().archiveSize,
                       " bytes");
    emit ready();
}

// Queued: it may be a slot of a download that is still at work.
void DifferentialUpdate::giveUp(const QString& reason)
{
    SOFTWAREUPDATE_LOG(Log::eInfo, logName, "the whole of ", logText(m_source.url),
                       " is fetched: ", reason);
    QMetaObject::invokeMethod(
        this, [this, reason] { emit unusable(reason); }, Qt::QueuedConnection);
}

} // namespace zk
