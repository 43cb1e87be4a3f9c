#include "catalogue/PackageSelection.h"

#include <QTest>

using namespace zk;

namespace {

PackageInfo package(const char* release, const char* platform, const char* suffix = "exe")
{
    PackageInfo info;
    info.name = QStringLiteral("Desk");
    info.release = QString::fromLatin1(release);
    const QStringList platforms =
        QString::fromLatin1(platform).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    info.platforms = QSet<QString>(platforms.cbegin(), platforms.cend());
    info.suffix = QString::fromLatin1(suffix);
    return info;
}

// "release suffix" of each package.
QStringList texts(const PackageInfoList& packages)
{
    QStringList result;
    for (const PackageInfo& info : packages) {
        result << info.release + QLatin1Char(' ') + info.suffix;
    }
    return result;
}

PackageInfoList candidates(PackageInfoList packages, const char* installed,
                           const QStringList& suffixes = {})
{
    PackageInfo product;
    product.release = QString::fromLatin1(installed);
    return PackageSelection::findCandidates(packages, product, QStringLiteral("Application"),
                                            suffixes);
}

} // namespace

class tst_PackageSelection : public QObject
{
    Q_OBJECT

private slots:
    void offersTheNewestRelease();
    void choosesAmongSpellingsAndSuffixes();
    void findsTheBestPerTypeAndPlatform();
    void eliminatesLaterDuplicates();
    void costsGrowLinearly();
    void countsWhatIsNew();
};

void tst_PackageSelection::offersTheNewestRelease()
{
    PackageInfoList packages{package("4.2", "Win64"), package("4.3", "Win64"),
                             package("4.0", "Win64"), package("4.3", "Win32")};
    PackageInfo product = package("4.1", "Win32 Win64");
    const PackageInfoList found =
        PackageSelection::findCandidates(packages, product, QStringLiteral("Application"), {});
    QCOMPARE(texts(found),
             (QStringList() << QStringLiteral("4.3 exe") << QStringLiteral("4.3 exe")));
    QCOMPARE(found[0].platforms, packages[1].platforms);
    QStringList types;
    for (const PackageInfo& info : qAsConst(packages)) {
        types << info.type;
    }
    // Everything newer is labelled in the caller's list, not only what is offered.
    QCOMPARE(types.join(QLatin1Char(',')), QStringLiteral("Application,Application,,Application"));
    QVERIFY(candidates({package("4.3", "Win64")}, "4.3").isEmpty());
    QVERIFY(candidates({package("beta", "Win64")}, "").isEmpty()); // not newer than "0"
    QCOMPARE(candidates({package("0", "Win64")}, "").size(), 1);
}

void tst_PackageSelection::choosesAmongSpellingsAndSuffixes()
{
    QCOMPARE(texts(candidates({package("4.3", ""), package("4.3.0", "")}, "4.1")),
             QStringList(QStringLiteral("4.3 exe")));
    QCOMPARE(texts(candidates({package("4.9", ""), package("4.10", "")}, "4.1")),
             QStringList(QStringLiteral("4.10 exe")));
    const PackageInfoList packages{package("4.3", "", "exe"), package("4.3", "", "zip")};
    QCOMPARE(texts(candidates(packages, "4.1", {QStringLiteral("zip"), QStringLiteral("msi")})),
             QStringList(QStringLiteral("4.3 zip")));
    QCOMPARE(candidates(packages, "4.1").size(), 2);
}

void tst_PackageSelection::findsTheBestPerTypeAndPlatform()
{
    PackageInfo first = package("4.3", "Win32 Win64", "a");
    PackageInfo newer = package("4.4", "Win64", "b");
    PackageInfo tie = package("4.4", "Win64", "c");
    PackageInfo nowhere = package("9.9", "", "d");
    QStringList found =
        texts(PackageSelection::findBestMatches({first, newer, tie, nowhere}, PackageInfo()));
    found.sort();
    QCOMPARE(found, (QStringList() << QStringLiteral("4.3 a") << QStringLiteral("4.4 b")));
    QCOMPARE(texts(PackageSelection::findBestMatches({first}, PackageInfo())).size(),
             1); // best for both, once
    PackageInfo filter;
    filter.release = QStringLiteral("4.3");
    QCOMPARE(texts(PackageSelection::findBestMatches({first, newer}, filter)),
             QStringList(QStringLiteral("4.4 b")));
}

void tst_PackageSelection::eliminatesLaterDuplicates()
{
    PackageInfoList packages{package("1", "", "a"), package("2", "", "b"), package("3", "", "c"),
                             package("4", "", "d")};
    packages[0].fileSize = packages[2].fileSize = 7;
    packages[3].releaseDate = QDateTime(QDate(2020, 1, 1), QTime(0, 0, 0, 1));
    packages.append(packages[3]);
    packages.last().releaseDate =
        QDateTime(QDate(2020, 1, 1), QTime(0, 0, 0, 2)); // equal to the second
    PackageSelection::eliminateDuplicates(packages);
    QCOMPARE(texts(packages), (QStringList() << QStringLiteral("1 a") << QStringLiteral("2 b")
                                             << QStringLiteral("4 d")));
}

void tst_PackageSelection::costsGrowLinearly()
{
    PackageInfoList packages;
    for (int i = 0; i < 100000; ++i) {
        packages.append(package("4.3", ""));
        packages.last().fileSize = quint32(i);
    }
    PackageSelection::eliminateDuplicates(packages); // minutes, were every pair compared
    QCOMPARE(packages.size(), 100000);
}

void tst_PackageSelection::countsWhatIsNew()
{
    PackageInfoList packages{package("1", ""), package("2", "")};
    packages[1].flags = 4;
    QCOMPARE(PackageSelection::countNew(packages), 2);
    PackageSelection::markKnown(packages);
    QCOMPARE(PackageSelection::countNew(packages), 0);
    QCOMPARE(packages[1].flags, 5);
}

QTEST_GUILESS_MAIN(tst_PackageSelection)
#include "tst_PackageSelection.moc"
