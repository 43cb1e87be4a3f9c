#include "Rows.h"

#include "catalogue/PackageInfo.h"

#include <QCoreApplication>
#include <QTest>
#include <QTranslator>

using namespace zk;

namespace {

QDateTime local(const char* text)
{
    return QDateTime::fromString(QString::fromLatin1(text), Qt::ISODate);
}

QStringList words(const char* text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '));
}

PackageInfo record(const char* release, const char* status, const QDateTime& date = QDateTime())
{
    return PackageInfo(QStringLiteral("Application"), QStringLiteral("Desk"),
                       QString::fromLatin1(release), QString::fromLatin1(status), date,
                       {QStringLiteral("Win64")}, {QStringLiteral("en"), QStringLiteral("de")},
                       QStringLiteral("exe"), QStringLiteral("note"));
}

} // namespace

class tst_PackageInfo : public QObject
{
    Q_OBJECT

private slots:
    void identityIsDateAndSize();
    void displaysTexts();
    void findsLinksByLanguage_data();
    void findsLinksByLanguage();
    void prefersByReleaseThenStatusThenDate();
    void filtersCandidates_data();
    void filtersCandidates();
    void matchesFilters();
    void summarisesLists();
    void isRegisteredUnderBothNames();
};

void tst_PackageInfo::identityIsDateAndSize()
{
    PackageInfo empty;
    QCOMPARE(empty.stringID(), QStringLiteral("1--0"));
    PackageInfo a = record("4.3", "STABLE", local("2017-06-30T14:05:00"));
    a.fileSize = 7340032;
    QCOMPARE(a.stringID(), QStringLiteral("1-2017-06-30T14:05:00-7340032"));
    PackageInfo b;
    b.name = QStringLiteral("Other");
    b.releaseDate = a.releaseDate;
    b.fileSize = a.fileSize;
    QVERIFY(a == b);
    b.fileSize += 1;
    QVERIFY(a != b);
}

void tst_PackageInfo::displaysTexts()
{
    QCoreApplication::setApplicationVersion(QStringLiteral("9.8.7"));
    PackageInfo package = record("3.2.1", "STABLE", local("2017-06-30T00:00:00"));
    QCOMPARE(package.publicRelease, QStringLiteral("3.2.1")); // the constructor fills both
    QCOMPARE(package.publicName, QStringLiteral("Desk"));
    package.publicName.clear();
    QCOMPARE(package.displayName(true), QStringLiteral("Desk"));
    QCOMPARE(package.displayReleaseVersion(true), QStringLiteral("3.2.1"));
    QCOMPARE(package.displayReleaseVersion(false), QStringLiteral("9.8.7"));
    package.release.clear();
    QCOMPARE(package.displayReleaseVersion(false), QStringLiteral("3.2.1"));

    QCOMPARE(package.timeToString(Qt::ISODate), QStringLiteral("2017-06-30"));
    package.releaseDate = local("2017-06-30T00:00:01");
    QCOMPARE(package.timeToString(Qt::ISODate), QStringLiteral("2017-06-30T00:00:01"));
    QCOMPARE(PackageInfo().timeToString(Qt::ISODate), QString());

    package.url = QUrl(QStringLiteral("http://h/dl/a/b/pkg%201.2.zip?x=/y"));
    QCOMPARE(package.fileName(), QStringLiteral("pkg 1.2.zip"));
    QVERIFY(PackageInfo::isInstallable(QStringLiteral("ZIP")));
    QVERIFY(!PackageInfo::isInstallable(QStringLiteral("mpkg")));
    QVERIFY(!PackageInfo().isInstallable());
    QVERIFY(package.isInstallable());
}

void tst_PackageInfo::findsLinksByLanguage_data()
{
    test::columns<QStringList, QString>("languages", "found");
    test::row("first two letters", words("en de"), "de");
    test::row("fallback", words("en fr"), "en");
    test::row("smallest key", words("it fr"), "fr");
    test::row("nothing", QStringList(), QString());
}

void tst_PackageInfo::findsLinksByLanguage()
{
    QFETCH(QStringList, languages);
    PackageInfo package;
    for (const QString& language : languages) {
        package.readme.insert(language, QUrl(language));
    }
    package.releaseNotes = package.readme;
    QTEST(package.readmeUrl(QStringLiteral("de_DE"), QStringLiteral("en")).toString(), "found");
    QTEST(package.releaseNotesUrl(QStringLiteral("de_DE"), QStringLiteral("en")).toString(),
          "found");
}

void tst_PackageInfo::prefersByReleaseThenStatusThenDate()
{
    QVERIFY(PackageInfo::compareVersion(QStringLiteral("10.0"), QStringLiteral("9.0")) < 0);
    QVERIFY(PackageInfo::compareRelease(QStringLiteral("BETA"), QStringLiteral("STABLE")) > 0);
    QVERIFY(record("4.4", "STABLE").isBetterMatch(record("4.3", "STABLE")));
    QVERIFY(record("4.2", "BETA").isBetterMatch(record("4.3", "STABLE"))); // the status outweighs
    QVERIFY(!record("4.2", "STABLE").isBetterMatch(record("4.3", "STABLE")));
    QVERIFY(record("4.3", "STABLE", local("2020-01-02T00:00:00"))
                .isBetterMatch(record("4.3", "STABLE", local("2020-01-01T00:00:00"))));
    QVERIFY(!record("4.3", "STABLE").isBetterMatch(record("4.3", "STABLE")));
}

void tst_PackageInfo::filtersCandidates_data()
{
    test::columns<QString, QString, bool>("field", "value", "accepted");
    test::row("newer", "release", "4.2", true);
    test::row("same version written differently", "release", "4.3.0", false);
    test::row("numeric, not by text", "release", "4.10", false);
    test::row("no release imposes nothing", "release", "", true);
    test::row("other name", "name", "desk", false);
    test::row("other status", "status", "BETA", false);
    test::row("platform that the package's begins with", "platform", "Win", true);
    test::row("other platform", "platform", "Linux", false);
    test::row("suffix in the list", "suffixes", "zip exe", true);
    test::row("suffix in another case", "suffixes", "EXE", false);
}

void tst_PackageInfo::filtersCandidates()
{
    QFETCH(QString, field);
    QFETCH(QString, value);
    PackageInfo product;
    QStringList suffixes;
    if (field == QLatin1String("release")) {
        product.release = value;
    } else if (field == QLatin1String("name")) {
        product.name = value;
    } else if (field == QLatin1String("status")) {
        product.status = value;
    } else if (field == QLatin1String("platform")) {
        product.platforms = {value};
    } else {
        suffixes = value.split(QLatin1Char(' '));
    }
    QTEST(record("4.3", "STABLE").filterPackageCandidate(product, suffixes), "accepted");
}

void tst_PackageInfo::matchesFilters()
{
    const PackageInfo package = record("4.3", "STABLE", local("2020-01-02T00:00:00"));
    PackageInfo filter;
    QVERIFY(package.matchesFilter(filter));
    filter.release = QStringLiteral("4.3");
    QVERIFY(!package.matchesFilter(filter));
    filter.release = QStringLiteral("4.20"); // as text
    QVERIFY(package.matchesFilter(filter));
    filter.status = QStringLiteral("BETA");
    QVERIFY(!package.matchesFilter(filter));
    filter.status = QStringLiteral("STABLE");
    QVERIFY(package.matchesFilter(filter));
    filter.releaseDate = local("2020-01-02T00:00:01");
    QVERIFY(!package.matchesFilter(filter));
    filter.releaseDate = package.releaseDate;
    QVERIFY(package.matchesFilter(filter));
    filter.languages = {QStringLiteral("de")};
    QVERIFY(!package.matchesFilter(filter)); // a shared language excludes
    filter.languages = {QStringLiteral("fr")};
    QVERIFY(package.matchesFilter(filter));
    QVERIFY(package.matchesPackage(QString(), QString()));
}

void tst_PackageInfo::summarisesLists()
{
    class Shout : public QTranslator
    {
        QString translate(const char* context, const char* text, const char*, int) const override
        {
            return QByteArray(context) == "Download" ? QString::fromLatin1(text).toUpper()
                                                     : QString();
        }
        bool isEmpty() const override { return false; }
    } shout;
    QCoreApplication::installTranslator(&shout);
    const PackageInfoList list{record("1", "STABLE"), record("1", "BETA")};
    QCOMPARE(PackageInfo::allTypes(list, true), words("APPLICATION"));
    QCOMPARE(PackageInfo::allTypes(list, false), words("Application"));
    QCOMPARE(PackageInfo::allReleases(list, false), words("1"));
    QCOMPARE(PackageInfo::allPlatforms(list, true), words("Win64"));
    QStringList languages = PackageInfo::allLanguages(list, true);
    languages.sort();
    QCOMPARE(languages, words("de en"));
}

void tst_PackageInfo::isRegisteredUnderBothNames()
{
    QVERIFY(QMetaType::type("zk::PackageInfo") != QMetaType::UnknownType);
    QCOMPARE(QMetaType::type("PackageInfo"), QMetaType::type("zk::PackageInfo"));
    QCOMPARE(QMetaType::type("PackageInfoList"), QMetaType::type("zk::PackageInfoList"));
    const QVariant list = QVariant::fromValue(PackageInfoList{record("1", "STABLE")});
    QVERIFY(list.canConvert<QVariantList>()); // a sequential container
    QCOMPARE(list.value<QVariantList>().size(), 1);
}

QTEST_GUILESS_MAIN(tst_PackageInfo)
#include "tst_PackageInfo.moc"
