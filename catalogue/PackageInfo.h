#pragma once

#include "support/Export.h"

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QMetaType>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace zk {

struct PackageInfo;
using PackageInfoList = QList<PackageInfo>;

/** Addresses by language, of which a language may have several. */
#if QT_VERSION_MAJOR >= 6
using LinkMap = QMultiMap<QString, QUrl>; // QMap has one entry per key there
#else
using LinkMap = QMap<QString, QUrl>;
#endif

/**
 * One downloadable package of the update document.
 *
 * A value type: copies share their data, no operation fails. Do not use one instance from two
 * threads at a time; copies are independent.
 */
struct SOFTWAREUPDATE_EXPORT PackageInfo
{
    /** The type of the package, e.g. "Application"; the selection replaces it for candidates. */
    QString type;
    /** Name of the product; compared exactly. */
    QString name;
    /** Name to show to users, may be empty. */
    QString publicName;
    /** Platforms that the package is built for, e.g. "Win64". */
    QSet<QString> platforms;
    /** Where the package is downloaded from. */
    QUrl url;
    /** Release version text; ordered as a VersionNumber where candidates are selected. */
    QString release;
    /** Release text to show to users, may be empty. */
    QString publicRelease;
    /** Release status, e.g. "STABLE" or "BETA". */
    QString status;
    /** Release date and time, local time; null when unknown. */
    QDateTime releaseDate;
    /** Size of the file in bytes (the low 32 bits of it). */
    quint32 fileSize = 0;
    /** Language codes of the package, e.g. "en". */
    QSet<QString> languages;
    /**
     * Release notes per language; a language may have several, of which value() returns the last
     * added.
     */
    LinkMap releaseNotes;
    /** Readme files per language, like releaseNotes. */
    LinkMap readme;
    /** Bit 0: the package came from a stored document and is not new. No other bit is used. */
    qint32 flags = 0;
    /** Path of the downloaded file; empty before the download. */
    QString localFile;
    /** Set by DownloadManager::installLater(). */
    bool installDeferred = false;
    /** Package format, e.g. "exe" or "tar.gz", derived from the url. */
    QString suffix;
    /** Free text. */
    QString comment;

    PackageInfo() = default;

    /** A record with these fields; public name and release are set to the internal ones. */
    PackageInfo(const QString& packageType, const QString& productName, const QString& releaseText,
                const QString& releaseStatus, const QDateTime& date,
                const QSet<QString>& platformNames, const QSet<QString>& languageCodes,
                const QString& packageSuffix, const QString& commentText);

    /** "1-<ISO release date>-<file size>", the values that operator== compares. */
    QString stringID();

    /** Compares release date and file size only. */
    bool operator==(const PackageInfo& other) const;
    /** The negation of operator==. */
    bool operator!=(const PackageInfo& other) const { return !(*this == other); }

    /** The public name if @p usePublic is set and there is one, otherwise the internal name. */
    QString displayName(bool usePublic);

    /**
     * The public release if @p usePublic is set and there is one. Otherwise, for a record with a
     * release, the version of the running application, i.e. of the program to be replaced.
     */
    QString displayReleaseVersion(bool usePublic);

    /** The release date, with the time unless it is midnight; empty for a null date. */
    QString timeToString(Qt::DateFormat format);

    /** The last component of the url's decoded path. */
    QString fileName();

    /**
     * Release notes in the language, otherwise in the fallback language, otherwise the first; empty
     * if there are none.
     */
    QUrl releaseNotesUrl(QString language, QString fallbackLanguage);
    /**
     * Readme in the language, otherwise in the fallback language, otherwise the first; empty if
     * there is none.
     */
    QUrl readmeUrl(QString language, QString fallbackLanguage);

    /** Whether packages of this format can be installed: "zip", "exe" or "msi", ignoring case. */
    static bool isInstallable(QString packageSuffix);
    /** Whether this package can be installed, by its suffix. */
    [[nodiscard]] bool isInstallable() const;

    /** Compares two releases as texts: "10.0" comes before "9.0". */
    static int compareVersion(const QString& a, const QString& b);
    /** Compares two texts in reverse order: the one that sorts first is the greater. */
    static int compareRelease(const QString& a, const QString& b);

    /** Whether this package is preferable to @p other: by release text, then status, then date. */
    [[nodiscard]] bool isBetterMatch(const PackageInfo& other) const;

    /** Whether this package passes @p filter; empty fields of it match everything. */
    [[nodiscard]] bool matchesFilter(const PackageInfo& filter) const;

    /**
     * Whether this package may be offered as an update for @p product: same name, newer version,
     * wanted status, a common platform, one of @p suffixes. Empty fields and an empty list match
     * everything.
     */
    [[nodiscard]] bool filterPackageCandidate(const PackageInfo& product,
                                              const QStringList& suffixes) const;

    /** Always true; kept for compatibility. */
    [[nodiscard]] bool matchesPackage(const QString& typeText, const QString& nameText) const;

    /**
     * @{ Every type (release, language, platform) of the packages once, in no particular order.
     * With
     * @p translate types and releases are translated in the context "Download".
     */
    static QStringList allTypes(const PackageInfoList& packages, bool translate);
    static QStringList allReleases(const PackageInfoList& packages, bool translate);
    static QStringList allLanguages(const PackageInfoList& packages, bool translate);
    static QStringList allPlatforms(const PackageInfoList& packages, bool translate);
    /** @} */

protected:
    /**
     * The page in the language, otherwise in the fallback language, otherwise the first; empty if
     * there is none.
     */
    static QUrl translatedUrl(LinkMap urls, QString language, QString fallbackLanguage);
};

} // namespace zk

Q_DECLARE_METATYPE(zk::PackageInfo)
