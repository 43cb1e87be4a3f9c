#include "Rows.h"

#include "catalogue/PackageSelection.h"

#include <QCoreApplication>
#include <QTimeZone>

using namespace zk;

namespace {

using List = PackageInfoList;

QSet<QString> words(const QString& text)
{
    const QStringList list = text.split(u' ', Qt::SkipEmptyParts);
    return {list.cbegin(), list.cend()};
}

PackageInfo package(const char* release, const char* platforms = "Win64",
                    const char* suffix = "exe", const char* status = "STABLE", int second = 0)
{
    return PackageInfo({}, u"Desk"_s, QLatin1String(release), QLatin1String(status),
                       QDateTime(QDate(2020, 1, 2), QTime(0, 0, second)),
                       words(QLatin1String(platforms)), words(u"en de"_s), QLatin1String(suffix),
                       {});
}

// "release suffix" of each package, comma-separated.
QString text(const PackageInfoList& packages)
{
    QStringList result;
    for (const PackageInfo& info : packages) {
        result << info.release + u' ' + info.suffix;
    }
    return result.join(u", "_s);
}

} // namespace

class tst_PackageSelection : public QObject
{
    Q_OBJECT

private slots:
    void offersTheNewestRelease_data()
    {
        test::columns<PackageInfoList, QString, QString>("packages", "installed", "found");
        test::row("newest for each platform",
                  List{package("4.2"), package("4.3", "Win64", "a"), package("4.0"),
                       package("4.3", "Win32", "b")},
                  "4.1", "4.3 a, 4.3 b");
        test::row("numbers, not texts", List{package("4.9"), package("4.10")}, "4.1", "4.10 exe");
        test::row("spelled as the first", List{package("4.3"), package("4.3.0")}, "4.1", "4.3 exe");
        test::row("the same, spelled in another way", List{package("4.3")}, "4.3.0", "");
        test::row("not newer than 0", List{package("beta")}, "", "");
        test::row("nothing installed", List{package("0")}, "", "0 exe");
    }
    void offersTheNewestRelease()
    {
        QFETCH(PackageInfoList, packages);
        QFETCH(QString, installed);
        PackageInfo product;
        product.release = installed;
        const QString type = u"Application"_s;
        QTEST(text(PackageSelection::findCandidates(packages, product, type, {})), "found");
        // Everything newer is labelled in the caller's list, not only what is offered.
        for (const PackageInfo& info : qAsConst(packages)) {
            QCOMPARE(info.type == type, info.filterPackageCandidate(product, {}));
        }
    }

    void filtersCandidates()
    {
        const PackageInfo candidate = package("4.3", "Win32 Win64");
        const auto accepts = [&](QString PackageInfo::*field, const char* value) {
            PackageInfo product;
            product.*field = QString::fromLatin1(value);
            return candidate.filterPackageCandidate(product, {});
        };
        QVERIFY(accepts(&PackageInfo::name, "Desk") && !accepts(&PackageInfo::name, "desk"));
        QVERIFY(accepts(&PackageInfo::status, "STABLE") && !accepts(&PackageInfo::status, "BETA"));
        PackageInfo product;
        product.platforms = {u"Win"_s};
        QVERIFY(candidate.filterPackageCandidate(product, {}));
        product.platforms = {u"Win64 SP1"_s};
        QVERIFY(candidate.filterPackageCandidate(product, test::lines("zip\nexe")));
        QVERIFY(!candidate.filterPackageCandidate(product, {u"EXE"_s}));
        product.platforms = {u"Linux"_s};
        QVERIFY(!candidate.filterPackageCandidate(product, {}));
    }

    void findsTheBestPerTypeAndPlatform()
    {
        const PackageInfo both = package("4.3", "Win32 Win64", "a");
        const PackageInfo newer = package("4.4", "Win64", "b");
        const PackageInfoList all{both, newer, package("4.4", "Win64", "tie"), package("9.9", "")};
        const auto best = [](const PackageInfoList& packages, const PackageInfo& filter = {}) {
            return text(PackageSelection::findBestMatches(packages, filter));
        };
        QCOMPARE(words(best(all).remove(u',')), words(u"4.3 a 4.4 b"_s));
        QCOMPARE(best({both}), u"4.3 a"_s); // for both platforms, once
        QCOMPARE(best({newer, package("4.2", "Win64", "c", "BETA")}), u"4.2 c"_s);
        QCOMPARE(best({newer, package("4.4", "Win64", "c", "STABLE", 1)}), u"4.4 c"_s);

        PackageInfo filter;
        filter.release = u"4.3"_s;
        QCOMPARE(best({both, newer}, filter), u"4.4 b"_s);
        filter.release = u"4.20"_s; // as text
        filter.status = u"STABLE"_s;
        filter.releaseDate = both.releaseDate;
        filter.languages = {u"fr"_s};
        QCOMPARE(best({both}, filter), u"4.3 a"_s);
        filter.languages = {u"de"_s}; // a shared one excludes
        QCOMPARE(best({both}, filter), QString());
        filter.languages.clear();
        filter.releaseDate = filter.releaseDate.addSecs(1);
        QCOMPARE(best({both}, filter), QString());
        filter.releaseDate = QDateTime();
        filter.status = u"BETA"_s;
        QCOMPARE(best({both}, filter), QString());
    }

    void eliminatesLaterDuplicates()
    {
        PackageInfoList packages{package("1"), package("2"), package("3"), package("4")};
        packages[1].fileSize = 7;
        packages[2].releaseDate = packages[0].releaseDate.addMSecs(999); // the first's second
        packages[3].releaseDate = packages[0].releaseDate.addMSecs(1000);
        for (quint32 i = 0; i < 100000; ++i) {
            packages.append(package("5"));
            packages.last().fileSize = i;
        }
        PackageSelection::eliminateDuplicates(packages); // minutes, were every pair compared
        QCOMPARE(packages.size(), 3 + 100000 - 2);
        QCOMPARE(text(packages.mid(0, 4)), u"1 exe, 2 exe, 4 exe, 5 exe"_s);
    }

    void eliminatesDuplicatesWithoutAValidDate()
    {
        PackageInfoList packages{package("1"), package("2")};
        packages[0].releaseDate = QDateTime();
        const QTimeZone skipsMidnight("America/Sao_Paulo"); // on 4 November 2018
        if (!skipsMidnight.isValid()) {
            QSKIP("no rules of time zones here");
        }
        packages[1].releaseDate = QDateTime(QDate(2018, 11, 4), QTime(0, 0), skipsMidnight);
        QVERIFY(packages[0] == packages[1]);
        PackageSelection::eliminateDuplicates(packages);
        QCOMPARE(packages.size(), 1);
    }

    void findsLinksByLanguage()
    {
        const auto found = [](const char* languages) {
            PackageInfo info;
            const QStringList all = QString::fromLatin1(languages).split(u' ', Qt::SkipEmptyParts);
            for (const QString& language : all) {
                info.readme.insert(language, QUrl(language));
            }
            return info.readmeUrl(u"de_DE"_s, u"en_US"_s).toString();
        };
        QCOMPARE(found("aa de en"), u"de"_s); // the first two letters
        QCOMPARE(found("aa en"), u"en"_s);    // the fallback
        QCOMPARE(found("it fr"), u"fr"_s);    // any
        QCOMPARE(found(""), QString());
    }
};

QTEST_GUILESS_MAIN(tst_PackageSelection)
#include "tst_PackageSelection.moc"
