#include "Rows.h"

#include "download/DownloadFileName.h"
#include "install/PackagePresentation.h"
#include "support/LinkRule.h"
#include "support/ProgressScale.h"

#include <QLocale>

using namespace zk;

class tst_PackagePresentation : public QObject
{
    Q_OBJECT

private slots:
    void showsARow()
    {
        const auto cells = [](const PackageInfo& info) {
            return PackagePresentation::row(info).join(u'|');
        };
        PackageInfo info;
        info.publicName = u"Camera Viewer"_s;
        info.release = u"4.3.0"_s;
        info.status = u"BETA"_s;
        info.platforms = {u"Win64"_s};
        info.languages = {u"en"_s};
        info.fileSize = 0xffffffff;
        QCOMPARE(cells(info), u"Camera Viewer 4.3.0 BETA|4096.0 MB||Multilingual|Win64"_s);
        info.name = u"viewer"_s;
        info.publicRelease = u"4.3"_s;
        info.status = u"beta"_s;
        info.type = u"Camera Firmware"_s;
        QCOMPARE(cells(info), u"viewer 4.3|4096.0 MB||en|Win64"_s);
    }

    void commentsOnAPackage()
    {
        PackageInfo info;
        info.name = u"<img src=x>"_s;
        info.release = u"1&2"_s;
        info.type = u"A\"B"_s;
        info.url = QUrl(u"https://h/a?b=1&c=\"<"_s);
        info.releaseDate = QDateTime(QDate(2026, 3, 4), QTime(5, 6));
        const auto day = QLocale::system().toString(info.releaseDate.date(), QLocale::LongFormat);
        QCOMPARE(PackagePresentation::comment(info),
                 u"<b>&lt;img src=x&gt; 1&amp;2, A&quot;B</b><br />Published on %1"
                 "<br /><a href=\"https://h/a?b=1&amp;c=%22%3C\">"
                 "https://h/a?b=1&amp;c=%22%3C</a><br />"_s.arg(day));
        // A text that reads from right to left would disguise the file's type.
        info.name = u"a\u202egpj.exe"_s;
        QVERIFY(PackagePresentation::comment(info).startsWith(u"<b>agpj.exe 1"_s));
        // What is not opened is no link.
        info.url = QUrl(u"javascript:alert('x')"_s);
        QVERIFY(PackagePresentation::comment(info).endsWith(
            day + u"<br />javascript:alert('x')<br />"_s));
    }

    void findsForeignFirmware()
    {
        const auto en = u"en"_s;
        const auto de = u"de"_s;
        PackageInfoList packages;
        for (const QSet<QString>& languages :
             {QSet<QString>{}, QSet<QString>{en}, QSet<QString>{de}, QSet<QString>{en, de}}) {
            PackageInfo info;
            info.type = u"Camera Firmware"_s;
            info.languages = languages;
            packages << info;
        }
        packages << PackageInfo();
        using Rows = QList<int>;
        QCOMPARE(PackagePresentation::foreignLanguageRows(packages, de), (Rows{0, 1}));
        // An English host wants German, too.
        QCOMPARE(PackagePresentation::foreignLanguageRows(packages, en), (Rows{0, 1, 2}));
        QCOMPARE(PackagePresentation::foreignLanguageRows(packages, u"fr"_s), (Rows{0, 1, 2, 3}));
    }

    void opensSafeLinksOnly()
    {
        for (const char* url : {"http://h/a", "HTTPS://h/a", "ftp://h/a", "file:///c/a.html"}) {
            QVERIFY2(isOpenableLink(QUrl(QLatin1String(url))), url);
        }
        for (const char* url :
             {"", "a.html", "//h/a", "javascript:alert(1)", "data:text/html,x", "mailto:a@h",
              "file://host/share/a", "file:////host/share", "file:///%5C%5Chost/a", "smb://h/a",
              "ms-settings:x", "c:/windows/calc.exe", "qrc:/x", "sftp://h/a"}) {
            QVERIFY2(!isOpenableLink(QUrl(QLatin1String(url))), url);
        }
    }

    void showsProgressOfLargeFiles()
    {
        constexpr qint64 most = std::numeric_limits<int>::max();
        QCOMPARE(progressScale(most), qint64(1));
        QCOMPARE(progressScale(most + 1), qint64(1024));
    }

    void namesTheDownloadedFile_data()
    {
        test::columns<QString, QString>("path", "name");
        test::row("trailing slashes", "a/setup//", "setup");
        test::row("query", "get?file=a.exe", "get_file=a.exe");
        test::row("folder above", "a/..", "package.exe");
        test::row("encoded separators", "..%2F..%5Ca.exe", "..%2F..%5Ca.exe");
        test::row("backslashes", "..\\..\\a.exe", "..%5C..%5Ca.exe");
        test::row("stream", "a.exe:b", "a.exe_b");
        test::row("device with extension", "nul.exe", "package.exe");
        test::row("device with a superscript", "lpt\u00b2.exe", "package.exe");
        test::row("trailing dots and blanks of all kinds", "a.exe. . \u2003", "a.exe");
        test::row("control characters", "a\u0001b.exe", "a%01b.exe");
        // Most file systems count 255 units; Linux counts bytes, of which these take three each.
        test::row("long", QString(300, u'测') + u".exe"_s, QString(76, u'测') + u".exe"_s);
    }
    void namesTheDownloadedFile()
    {
        QFETCH(QString, path);
        QTEST(downloadFileName(QUrl(u"http://h/"_s + path), u"exe"_s), "name");
        QCOMPARE(downloadFileName(QUrl(), QString()), u"package"_s);
    }
};

QTEST_GUILESS_MAIN(tst_PackagePresentation)
#include "tst_PackagePresentation.moc"
