#include "install/DownloadTarget.h"
#include "install/LinkRule.h"
#include "install/PackagePresentation.h"

#include <QLocale>
#include <QTest>

using namespace zk;

class tst_PackagePresentation : public QObject
{
    Q_OBJECT

private slots:
    void showsARow_data();
    void showsARow();
    void commentsOnAPackage_data();
    void commentsOnAPackage();
    void findsForeignFirmware_data();
    void findsForeignFirmware();
    void opensSafeLinksOnly_data();
    void opensSafeLinksOnly();
    void namesTheDownloadedFile_data();
    void namesTheDownloadedFile();
};

namespace {

const auto firmware = QStringLiteral("Camera Firmware");

PackageInfo package(const QString& name, const QString& release, const QString& status = {})
{
    PackageInfo info;
    info.name = name;
    info.release = release;
    info.status = status;
    return info;
}

} // namespace

void tst_PackagePresentation::showsARow_data()
{
    QTest::addColumn<PackageInfo>("info");
    QTest::addColumn<QString>("cells");
    PackageInfo info = package(QStringLiteral("viewer"), QStringLiteral("4.3.0"));
    info.publicName = QStringLiteral("Camera Viewer");
    info.publicRelease = QStringLiteral("4.3");
    info.suffix = QStringLiteral("exe");
    info.fileSize = 1048576;
    info.platforms = {QStringLiteral("Win64")};
    info.languages = {QStringLiteral("en")};
    QTest::newRow("internal name, public release")
        << info << QStringLiteral("viewer 4.3|1.0 MB|exe|Multilingual|Win64");
    info.name.clear();
    info.publicRelease.clear();
    info.fileSize = 0;
    info.status = QStringLiteral("BETA");
    QTest::newRow("public name, internal release, beta")
        << info << QStringLiteral("Camera Viewer 4.3.0 BETA|0.0 MB|exe|Multilingual|Win64");
    info.type = firmware;
    info.status = QStringLiteral("beta");
    info.fileSize = 0xffffffff;
    QTest::newRow("firmware, largest size, not quite beta")
        << info << QStringLiteral("Camera Viewer 4.3.0|4096.0 MB|exe|en|Win64");
    QTest::newRow("nothing known") << PackageInfo() << QStringLiteral(" |0.0 MB||Multilingual|");
}

void tst_PackagePresentation::showsARow()
{
    QFETCH(PackageInfo, info);
    QTEST(PackagePresentation::row(info).join(QLatin1Char('|')), "cells");
}

void tst_PackagePresentation::commentsOnAPackage_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QDateTime>("date");
    QTest::addColumn<QString>("rest");
    const QDateTime date(QDate(2026, 3, 4), QTime(5, 6));
    const QString day = QLocale::system().toString(date.date(), QLocale::LongFormat);
    QTest::newRow("web link") << QStringLiteral("https://h/a?b=1&c=\"<") << date
                              << QStringLiteral("Published on ") + day +
                                     QStringLiteral(
                                         "<br /><a href=\"https://h/a?b=1&amp;c=%22%3C\">"
                                         "https://h/a?b=1&amp;c=%22%3C</a><br />");
    QTest::newRow("relative link, no date") << QStringLiteral("a.exe") << QDateTime()
                                            << QStringLiteral("<a href=\"a.exe\">a.exe</a><br />");
    QTest::newRow("a link that is not opened is text")
        << QStringLiteral("javascript:alert('x')") << QDateTime()
        << QStringLiteral("javascript:alert('x')<br />");
}

void tst_PackagePresentation::commentsOnAPackage()
{
    QFETCH(QString, url);
    QFETCH(QDateTime, date);
    QFETCH(QString, rest);
    PackageInfo info = package(QStringLiteral("<img src=x>"), QStringLiteral("1&2"));
    info.type = QStringLiteral("A\"B");
    info.url = QUrl(url);
    info.releaseDate = date;
    QCOMPARE(PackagePresentation::comment(info),
             QStringLiteral("<b>&lt;img src=x&gt; 1&amp;2, A&quot;B</b><br />") + rest);
}

void tst_PackagePresentation::findsForeignFirmware_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("foreign");
    QTest::newRow("German host") << QStringLiteral("de") << QStringLiteral("1 4");
    QTest::newRow("English host wants German, too")
        << QStringLiteral("en") << QStringLiteral("1 2 4");
    QTest::newRow("French host") << QStringLiteral("fr") << QStringLiteral("1 2 3 4");
}

void tst_PackagePresentation::findsForeignFirmware()
{
    QFETCH(QString, host);
    const auto en = QStringLiteral("en");
    const auto de = QStringLiteral("de");
    PackageInfoList packages;
    for (const QSet<QString>& languages : {QSet<QString>{}, QSet<QString>{en}, QSet<QString>{de},
                                           QSet<QString>{en, de}, QSet<QString>{}}) {
        PackageInfo info;
        info.type = packages.isEmpty() ? QStringLiteral("Application") : firmware;
        info.languages = languages;
        packages << info;
    }
    QStringList rows;
    const QList<int> foreign = PackagePresentation::foreignLanguageRows(packages, host);
    for (const int row : foreign) {
        rows << QString::number(row);
    }
    QTEST(rows.join(QLatin1Char(' ')), "foreign");
}

void tst_PackagePresentation::opensSafeLinksOnly_data()
{
    QTest::addColumn<bool>("safe");
    for (const char* url : {"http://h/a", "HTTPS://h/a", "ftp://h/a", "file:///c/a.html"}) {
        QTest::newRow(url) << true;
    }
    for (const char* url :
         {"", "a.html", "//h/a", "javascript:alert(1)", "data:text/html,x", "mailto:a@h",
          "file://host/share/a", "file:////host/share", "file:///%5C%5Chost/a", "smb://h/a",
          "ms-settings:x", "vbscript:x", "c:/windows/calc.exe", "qrc:/x", "sftp://h/a"}) {
        QTest::newRow(url) << false;
    }
}

void tst_PackagePresentation::opensSafeLinksOnly()
{
    QTEST(isOpenableLink(QUrl(QString::fromLatin1(QTest::currentDataTag()))), "safe");
}

void tst_PackagePresentation::namesTheDownloadedFile_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("name");
    const QString host = QStringLiteral("http://h/");
    const auto row = [&](const char* title, const QString& path, const QString& name) {
        QTest::newRow(title) << host + path << name;
    };
    const auto fallback = QStringLiteral("package.exe");
    row("plain", QStringLiteral("a/setup.exe"), QStringLiteral("setup.exe"));
    row("trailing slashes", QStringLiteral("a/setup//"), QStringLiteral("setup"));
    row("blanks", QStringLiteral("my setup.exe"), QStringLiteral("my setup.exe"));
    row("accents", QString::fromUtf8("Pr\u00f8ve.exe"), QString::fromUtf8("Pr\u00f8ve.exe"));
    row("query", QStringLiteral("get?file=a.exe"), QStringLiteral("get_file=a.exe"));
    row("folder above", QStringLiteral("a/.."), fallback);
    row("encoded separators", QStringLiteral("..%2F..%5Ca.exe"), QStringLiteral("..%2F..%5Ca.exe"));
    row("backslashes", QStringLiteral("..\\..\\a.exe"), QStringLiteral("..%5C..%5Ca.exe"));
    row("stream", QStringLiteral("a.exe:b"), QStringLiteral("a.exe_b"));
    row("device", QStringLiteral("CON"), fallback);
    row("device with extension", QStringLiteral("nul.exe"), fallback);
    row("numbered device", QStringLiteral("Com1.exe"), fallback);
    row("device with a superscript", QString::fromUtf8("lpt\u00b2.exe"), fallback);
    row("no device", QStringLiteral("comp.exe"), QStringLiteral("comp.exe"));
    row("trailing dots and blanks", QStringLiteral("a.exe. ."), QStringLiteral("a.exe"));
    row("dots behind a space of another kind", QString::fromUtf8("a.exe. \u2003"),
        QStringLiteral("a.exe"));
    row("control characters", QStringLiteral("a\u0001b.exe"), QStringLiteral("a%01b.exe"));
    QTest::newRow("nothing") << QString() << fallback;
    // Most file systems count 255 units; Linux counts bytes, of which these take three each.
    row("long", QString(300, QChar(0x6d4b)) + QStringLiteral(".exe"),
        QString(76, QChar(0x6d4b)) + QStringLiteral(".exe"));
}

void tst_PackagePresentation::namesTheDownloadedFile()
{
    QFETCH(QString, url);
    QTEST(downloadFileName(QUrl(url), QStringLiteral("exe")), "name");
    QCOMPARE(downloadFileName(QUrl(), QString()), QStringLiteral("package"));
}

QTEST_GUILESS_MAIN(tst_PackagePresentation)
#include "tst_PackagePresentation.moc"
