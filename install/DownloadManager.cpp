#include "install/DownloadManagerPrivate.h"

#include "catalogue/DocumentParser.h"
#include "catalogue/DocumentValues.h"
#include "catalogue/DomSearch.h"
#include "catalogue/PackageSelection.h"
#include "catalogue/Vocabulary.h"
#include "support/Exception.h"
#include "support/FileUtils.h"
#include "support/ProcessStart.h"

#include <QBuffer>
#include <QFileInfo>
#include <QProcess>
#include <QProgressDialog>

namespace zk {

// Built from literals, never from another file's texts, which might not be there yet.
const QString DownloadManager::DOCUMENT_TAG = QLatin1String(Vocabulary::documentTag);
const QString DownloadManager::PACKAGE_SET = QLatin1String(Vocabulary::packageSet);
const QString DownloadManager::PACKAGE = QLatin1String(Vocabulary::package);
const QString DownloadManager::FILE = QLatin1String(Vocabulary::file);
const QString DownloadManager::TYPE = QLatin1String(Vocabulary::type);
const QString DownloadManager::NAME = QLatin1String(Vocabulary::name);
const QString DownloadManager::NAME_PUBLIC = QLatin1String(Vocabulary::namePublic);
const QString DownloadManager::PLATFORM = QLatin1String(Vocabulary::platform);
const QString DownloadManager::RELEASE_VERSION = QLatin1String(Vocabulary::releaseVersion);
const QString DownloadManager::RELEASE_VERSION_PUBLIC =
    QLatin1String(Vocabulary::releaseVersionPublic);
const QString DownloadManager::RELEASE_STATUS = QLatin1String(Vocabulary::releaseStatus);
const QString DownloadManager::RELEASE_DATE = QLatin1String(Vocabulary::releaseDate);
const QString DownloadManager::BASE_URL = QLatin1String(Vocabulary::baseUrl);
const QString DownloadManager::URL = QLatin1String(Vocabulary::url);
const QString DownloadManager::FILE_SIZE = QLatin1String(Vocabulary::fileSize);
const QString DownloadManager::LANGUAGE = QLatin1String(Vocabulary::language);
const QString DownloadManager::RELEASE_NOTES = QLatin1String(Vocabulary::releaseNotes);
const QString DownloadManager::README = QLatin1String(Vocabulary::readme);
const QString DownloadManager::COMMENT = QLatin1String(Vocabulary::comment);

namespace {

// Calls by name with the types that no other header registers.
bool registerTypes()
{
    qRegisterMetaType<QSet<QString>>("QSet<QString>");
    return true;
}

[[maybe_unused]] const bool registered = registerTypes();

} // namespace

DownloadManager::DownloadManager(QObject* parent)
    : QObject(parent)
    , d(std::make_unique<DownloadManagerPrivate>(this))
{
}

DownloadManager::~DownloadManager() = default;

PackageInfoList DownloadManager::parseXML(QIODevice* device)
{
    return UpdateDocument::parse(device);
}

void DownloadManager::parseSet(const QDomElement& set, PackageInfoList& packages)
{
    UpdateDocument::appendPackages(set, packages);
}

void DownloadManager::parsePackage(const QDomElement& package, PackageInfo& info)
{
    UpdateDocument::readPackage(package, info);
}

QString DownloadManager::findString(const QDomNode& node, const QString& key)
{
    return UpdateDocument::findString(node, key);
}

int DownloadManager::findAllStrings(const QDomNode& node, const QString& key, QSet<QString>& values)
{
    return UpdateDocument::findAllStrings(node, key, values);
}

int DownloadManager::findAllTranslatedUrls(const QDomNode& node, const QString& key, LinkMap& urls)
{
    return UpdateDocument::findAllTranslatedUrls(node, key, urls);
}

QDomNode DownloadManager::startSearchAt(const QDomNode& node)
{
    return UpdateDocument::startSearchAt(node);
}

quint32 DownloadManager::parseFileSize(const QString& text)
{
    return UpdateDocument::parseFileSize(text);
}

QString DownloadManager::parsePackageSuffix(const QString& url)
{
    return UpdateDocument::parsePackageSuffix(url);
}

QDateTime DownloadManager::parseReleaseDate(const QString& text)
{
    return UpdateDocument::parseReleaseDate(text);
}

PackageInfoList DownloadManager::findPackageCandidates(PackageInfoList& packages,
                                                       const PackageInfo& product,
                                                       const QString& type,
                                                       const QStringList& suffixes)
{
    return PackageSelection::findCandidates(packages, product, type, suffixes);
}

PackageInfoList DownloadManager::findBestMatches(PackageInfoList& packages,
                                                 const PackageInfo& filter)
{
    return PackageSelection::findBestMatches(packages, filter);
}

void DownloadManager::eliminateDuplicatePackages(PackageInfoList& packages)
{
    PackageSelection::eliminateDuplicates(packages);
}

int DownloadManager::countNew(const PackageInfoList& packages)
{
    return PackageSelection::countNew(packages);
}

void DownloadManager::setDocumentData(const QByteArray& documentData)
{
    d->documentData = documentData;
}

PackageInfoList DownloadManager::recentPackages(const PackageInfo& /*filter*/)
{
    if (d->documentData.isEmpty()) {
        return PackageInfoList();
    }
    QBuffer buffer(&d->documentData);
    buffer.open(QIODevice::ReadOnly);
    PackageInfoList packages = parseXML(&buffer);
    PackageSelection::markKnown(packages);
    return packages;
}

PackageInfoList DownloadManager::recentPackages(const QString& type, const QString& name,
                                                const QString& release, const QString& status,
                                                const QDateTime& releaseDate,
                                                const QSet<QString>& platforms,
                                                const QSet<QString>& languages)
{
    if (d->documentData.isEmpty()) {
        return PackageInfoList();
    }
    PackageInfo filter;
    filter.type = type;
    filter.name = name;
    filter.release = release;
    filter.status = status;
    filter.releaseDate = releaseDate;
    filter.platforms = platforms;
    filter.languages = languages;
    return recentPackages(filter);
}

void DownloadManager::installLater(const PackageInfo& package, bool flag)
{
    d->installPackage = package;
    d->installPackage.installDeferred = flag;
}

void DownloadManager::installLater(const QString& localFile, const QString& second,
                                   const QString& third, const QString& fourth)
{
    d->installPackage.localFile = localFile;
    d->laterPaths[0] = second;
    d->laterPaths[1] = third;
    d->laterPaths[2] = fourth;
}

bool DownloadManager::hasInstallPackage() const
{
    const QFileInfo file(d->installPackage.localFile);
    return !d->installPackage.localFile.isEmpty() && file.isFile() &&
           file.size() == qint64(d->installPackage.fileSize);
}

PackageInfo& DownloadManager::installPackage()
{
    return d->installPackage;
}

void DownloadManager::runInstaller(const QString& filePath)
{
    if (filePath.endsWith(QLatin1String("zip"))) {
        runZipInstaller(filePath);
        return;
    }
    const QString path = FileUtils::nativePath(filePath);
    if (path.endsWith(QLatin1String("exe"), Qt::CaseInsensitive)) {
        startInstaller(path);
    } else if (path.endsWith(QLatin1String("msi"), Qt::CaseInsensitive)) {
        const SearchPath searchPath{qEnvironmentVariable("PATH")};
        QProcess::startDetached(FileUtils::nativePath(QStringLiteral("msiexec.exe"), searchPath),
                                {QStringLiteral("/i"), path});
    } else {
        throw ExceptionQt(QStringLiteral("execl() failed"));
    }
}

void DownloadManager::startUpdate(const QString& installer, const QString& oldDir,
                                  const QString& newDir, const QString& exe)
{
    replaceProcess(installer, {QStringLiteral("-oldDir"), oldDir, QStringLiteral("-newDir"), newDir,
                               QStringLiteral("-exe"), exe});
}

} // namespace zk
