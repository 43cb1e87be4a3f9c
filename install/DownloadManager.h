#pragma once

#include "catalogue/PackageInfo.h"
#include "support/Export.h"

#include <QDir>
#include <QDomElement>
#include <QObject>

#include <memory>

class QIODevice;

namespace zk {

class Unzipper;
struct DownloadManagerPrivate;

/**
 * Reading and selecting from update documents, and installing packages for the host application.
 *
 * The static members are reentrant and hold no state; everything else belongs to the GUI thread.
 */
class SOFTWAREUPDATE_EXPORT DownloadManager : public QObject
{
    Q_OBJECT

    // Calls by name spell the types without the namespace.
    // clazy:excludeall=fully-qualified-moc-types

public:
    /** @{ The names of the update document's elements and attributes. */
    static const QString DOCUMENT_TAG;
    static const QString PACKAGE_SET;
    static const QString PACKAGE;
    static const QString FILE;
    static const QString TYPE;
    static const QString NAME;
    static const QString NAME_PUBLIC;
    static const QString PLATFORM;
    static const QString RELEASE_VERSION;
    static const QString RELEASE_VERSION_PUBLIC;
    static const QString RELEASE_STATUS;
    static const QString RELEASE_DATE;
    static const QString BASE_URL;
    static const QString URL;
    static const QString FILE_SIZE;
    static const QString LANGUAGE;
    static const QString RELEASE_NOTES;
    static const QString README;
    static const QString COMMENT;
    /** @} */

    /** Lives in the GUI thread; owned by @p parent, if there is one. */
    explicit DownloadManager(QObject* parent = nullptr);
    ~DownloadManager() override;

    /**
     * All packages of the document that @p device (open for reading) holds, in document order;
     * empty on any error, which is logged. Refuses entity declarations, more than 1,000 levels,
     * 2,000,000 elements and attributes, or 64 MiB. Throws nothing.
     */
    static PackageInfoList parseXML(QIODevice* device);

    /** The first child element named "file" of @p node if there is one, else @p node. */
    static QDomNode startSearchAt(const QDomNode& node);
    /** Bytes of "4096", "20kB" or "1.5MB"; 0 for anything else, the low 32 bits of more. */
    static quint32 parseFileSize(const QString& text);
    /** The package format that ends @p url, e.g. "exe" or "tar.gz"; an odd one is logged. */
    static QString parsePackageSuffix(const QString& url);
    /** Local time of "yyyy-MM-dd hh:mm:ss" or "yyyy-MM-dd"; a null date for anything else. */
    static QDateTime parseReleaseDate(const QString& text);

    /**
     * The packages of the one newest release that may update @p product, in list order. All
     * packages that may update it get @p type as their type, in @p packages itself. No @p suffixes:
     * any will do.
     */
    static PackageInfoList findPackageCandidates(PackageInfoList& packages,
                                                 const PackageInfo& product, const QString& type,
                                                 const QStringList& suffixes);
    /** Removes every package that equals an earlier one. Linear in the length of the list. */
    static void eliminateDuplicatePackages(PackageInfoList& packages);
    /** How many packages did not come from a stored document. */
    static int countNew(const PackageInfoList& packages);

    /** Keeps the raw bytes of an update document for recentPackages(). */
    void setDocumentData(const QByteArray& documentData);

    /** All packages of the stored document, marked as known. The filter is not applied: select
     * yourself. */
    Q_INVOKABLE PackageInfoList recentPackages(const PackageInfo& filter);
    /** The same; what the arguments say is not applied either. */
    Q_INVOKABLE PackageInfoList recentPackages(const QString& type = QString(),
                                               const QString& name = QString(),
                                               const QString& release = QString(),
                                               const QString& status = QString(),
                                               const QDateTime& releaseDate = QDateTime(),
                                               const QSet<QString>& platforms = QSet<QString>(),
                                               const QSet<QString>& languages = QSet<QString>());

    /** Keeps @p package for a later installation and whether it was put off. */
    void installLater(const PackageInfo& package, bool flag);
    /** Keeps a downloaded file and three more paths of the host's for a later installation. */
    void installLater(const QString& localFile, const QString& second, const QString& third,
                      const QString& fourth);
    /** Whether the file kept for later is there with the size that the document gave. */
    [[nodiscard]] bool hasInstallPackage() const;
    /** What installLater() keeps. */
    PackageInfo& installPackage();

    /**
     * Replaces the running process by the program @p installer, which is told to put the folder
     * @p newDir in the place of @p oldDir and to start @p exe, a bare name, from there. Nothing of
     * the host runs any more then: no destructor, no aboutToQuit(). Returns only when that fails.
     */
    static void startUpdate(const QString& installer, const QString& oldDir, const QString& newDir,
                            const QString& exe);

    /**
     * Unpacks @p zipFile in the background into a new temporary folder; unzippingDone() follows, or
     * a message box that says why not. Once per manager: a second call changes nothing.
     */
    void unzipPackage(const QString& zipFile);
    /** What unzipPackage() has started, owned by this; null before, and when there is no folder. */
    [[nodiscard]] Unzipper* unzipper() const;
    /** Stops what unzipPackage() has started and waits for it; nothing is announced any more. */
    void cancelUnpacking();

    /**
     * The largest program in @p folder, else the first one found in a folder below it, relative to
     * @p folder with "/" between; empty when there is none.
     */
    QString findDefaultExecutable(QDir folder);

signals:
    /** A package has been unpacked into @p folder. */
    void unzippingDone(const QString& folder);

public slots:
    /**
     * Starts the installer @p filePath and does not wait for it: an exe itself, an msi through
     * msiexec.exe. For a zip ("zip" in lower case only) the user is asked for the installation
     * folder; once the archive is unpacked under a progress dialog, a command interpreter copies it
     * there and starts the new program, beside the host, which should quit. Runs nested event
     * loops. Throws ExceptionQt for any other kind of file, and the IOException of an archive that
     * cannot be unpacked after a message box has said so; the wait cursor stays once an archive has
     * been opened.
     */
    void runInstaller(const QString& filePath);
    /** What the Unzipper calls when @p folder is complete: removes the archive and passes it on. */
    void unzippingFinished(const QString& folder);
    /** What the Unzipper calls otherwise: a message box says @p message, which is plain text. Runs
     * a nested event loop. */
    void unzippingFailed(const QString& message);
    /** Adds @p bytes to what the progress dialog shows, if there is one. */
    void incProgress(qint64 bytes);

protected:
    /** The part of runInstaller() for zip files. */
    void runZipInstaller(const QString& zipFile);

    /** Appends the packages of @p set, then those of its nested sets, to @p packages. */
    static void parseSet(const QDomElement& set, PackageInfoList& packages);
    /** Fills @p info with what @p package and the levels above it say. */
    static void parsePackage(const QDomElement& package, PackageInfo& info);
    /** The value of the nearest level above @p node, itself included, that has one; else empty. */
    static QString findString(const QDomNode& node, const QString& key);
    /** Adds the words of all levels to @p values; how many elements and attributes held them. */
    static int findAllStrings(const QDomNode& node, const QString& key, QSet<QString>& values);
    /** Adds the links of all levels, by language, to @p urls; how many there were. */
    static int findAllTranslatedUrls(const QDomNode& node, const QString& key, LinkMap& urls);

    /** The best package per type and platform among those that pass @p filter, in no particular
     * order. */
    Q_INVOKABLE PackageInfoList findBestMatches(PackageInfoList& packages,
                                                const PackageInfo& filter);

private:
    friend struct DownloadManagerPrivate;

    const std::unique_ptr<DownloadManagerPrivate> d;
};

} // namespace zk
