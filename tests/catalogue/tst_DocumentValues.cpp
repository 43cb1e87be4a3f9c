#include "LogCapture.h"
#include "Rows.h"

#include "catalogue/DocumentValues.h"

#include <QRandomGenerator>
#include <QTest>

using namespace zk;

class tst_DocumentValues : public QObject
{
    Q_OBJECT

private slots:
    void readsSizes_data();
    void readsSizes();
    void readsDatesAsQtDoes();
    void readsSuffixes_data();
    void readsSuffixes();
};

void tst_DocumentValues::readsSizes_data()
{
    test::columns<QString, quint32>("text", "size");
    test::row("bytes", "4096", 4096U);
    test::row("megabytes", "1.5MB", 1572864U);
    test::row("other case, blank", "1.5 mb", 1572864U);
    test::row("kilobytes", "20kB", 20480U);
    test::row("unknown unit", "12 MiB", 0U);
    test::row("gigabytes are no unit", "1 GB", 0U);
    test::row("blanks around plain bytes", " 1 ", 1U);
    test::row("largest plain number", "4294967295", 4294967295U);
    test::row("one more than that", "4294967296", 0U);
    test::row("low 32 bits of 4 GiB and 1 MB", "4097MB", 1048576U);
    test::row("no 64-bit number", "1e300MB", 0U);
    test::row("infinite", "infkB", 0U);
    test::row("not a number", "nanMB", 0U);
    test::row("2^63 exactly", "8796093022208MB", 0U);
    test::row("unit alone", "MB", 0U);
    test::row("negative", "-1", 0U);
    test::row("empty", "", 0U);
}

void tst_DocumentValues::readsSizes()
{
    QFETCH(QString, text);
    QTEST(UpdateDocument::parseFileSize(text), "size");
}

// The forms are defined by Qt's own reader; reading them by position must never differ from it.
void tst_DocumentValues::readsDatesAsQtDoes()
{
    QRandomGenerator random(7);
    const QString alphabet = QStringLiteral("01234567890123456789-+-+: T+.٣x");
    const QString valid[] = {QStringLiteral("2017-06-30 14:05:09"), QStringLiteral("2017-06-30"),
                             QStringLiteral("0000-00-00"), QStringLiteral("9999-12-31 23:59:59")};
    for (int i = 0; i < 40000; ++i) {
        QString text = valid[i % 4];
        for (int n = int(random.bounded(4U)); n > 0; --n) {
            const int at = int(random.bounded(quint32(text.size())));
            const QChar c = alphabet.at(int(random.bounded(quint32(alphabet.size()))));
            switch (random.bounded(6U)) {
            case 0:
                text.insert(at, c);
                break;
            case 1:
                text.remove(at, 1);
                break;
            default:
                text[at] = c;
            }
        }
        QDateTime expected = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd hh:mm:ss"));
        if (!expected.isValid()) {
            expected = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd"));
        }
        const QDateTime date = UpdateDocument::parseReleaseDate(text);
        QVERIFY2(date == expected && date.isNull() != date.isValid(), qPrintable(text));
    }
}

void tst_DocumentValues::readsSuffixes_data()
{
    test::columns<QString, QString, bool>("url", "suffix", "suspicious");
    test::row("exe", "http://h/a.exe", "exe", false);
    test::row("tar.gz", "file.tar.gz", "tar.gz", false);
    test::row("tar.bz2", "file.tar.bz2", "tar.bz2", false);
    test::row("mpkg", "setup.mpkg.zip", "mpkg", false);
    test::row("trailing and double dots", "a.tar..gz..", "tar.gz", false);
    test::row("case counts", "a.TAR.GZ", "GZ", true);
    test::row("gz alone", "archive.gz", "gz", true);
    test::row("too long", "package.appimage", "appimage", true);
    test::row("query not removed", "viewer.exe?lang=de", "exe?lang=de", true);
    test::row("no dot", "setup", "setup", false);
    test::row("empty", "", "", true);
}

void tst_DocumentValues::readsSuffixes()
{
    QFETCH(QString, url);
    QFETCH(QString, suffix);
    QFETCH(bool, suspicious);
    const test::LogCapture log;
    QCOMPARE(UpdateDocument::parsePackageSuffix(url), suffix);
    const QStringList expected{QStringLiteral("[zk::DownloadManager::parsePackageSuffix] "
                                              "DownloadManager::parsePackageType() -> parsed "
                                              "suspicious package suffix '%1' in %2")
                                   .arg(suffix, url)};
    QCOMPARE(log.lines(Log::eError), suspicious ? expected : QStringList());
}

QTEST_GUILESS_MAIN(tst_DocumentValues)
#include "tst_DocumentValues.moc"
