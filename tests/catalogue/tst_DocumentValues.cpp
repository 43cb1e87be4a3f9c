#include "LogCapture.h"

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
    void readsDates_data();
    void readsDates();
    void readsDatesAsQtDoes();
    void readsSuffixes_data();
    void readsSuffixes();
};

void tst_DocumentValues::readsSizes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<quint32>("size");
    QTest::newRow("bytes") << "4096" << 4096U;
    QTest::newRow("megabytes") << "1.5MB" << 1572864U;
    QTest::newRow("other case, blank") << "1.5 mb" << 1572864U;
    QTest::newRow("kilobytes") << "20kB" << 20480U;
    QTest::newRow("unknown unit") << "12 MiB" << 0U;
    QTest::newRow("gigabytes are no unit") << "1 GB" << 0U;
    QTest::newRow("blanks around plain bytes") << " 1 " << 1U;
    QTest::newRow("largest plain number") << "4294967295" << 4294967295U;
    QTest::newRow("one more than that") << "4294967296" << 0U;
    QTest::newRow("low 32 bits of 4 GiB and 1 MB") << "4097MB" << 1048576U;
    QTest::newRow("no 64-bit number") << "1e300MB" << 0U;
    QTest::newRow("infinite") << "infkB" << 0U;
    QTest::newRow("not a number") << "nanMB" << 0U;
    QTest::newRow("2^63 exactly") << "8796093022208MB" << 0U;
    QTest::newRow("unit alone") << "MB" << 0U;
    QTest::newRow("negative") << "-1" << 0U;
    QTest::newRow("empty") << "" << 0U;
}

void tst_DocumentValues::readsSizes()
{
    QFETCH(QString, text);
    QTEST(UpdateDocument::parseFileSize(text), "size");
}

void tst_DocumentValues::readsDates_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QDateTime>("date");
    const QDate day(2017, 6, 30);
    QTest::newRow("date and time") << "2017-06-30 14:05:09" << QDateTime(day, QTime(14, 5, 9));
    QTest::newRow("date alone") << "2017-06-30" << QDateTime(day, QTime(0, 0));
    QTest::newRow("ISO form with T") << "2017-06-30T14:05:00" << QDateTime();
    QTest::newRow("no such day") << "2017-06-31" << QDateTime();
    QTest::newRow("blank in front") << " 2017-06-30" << QDateTime();
    QTest::newRow("empty") << "" << QDateTime();
}

void tst_DocumentValues::readsDates()
{
    QFETCH(QString, text);
    QTEST(UpdateDocument::parseReleaseDate(text), "date");
    QCOMPARE(UpdateDocument::parseReleaseDate(text).isNull(),
             !UpdateDocument::parseReleaseDate(text).isValid());
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
        QVERIFY2(UpdateDocument::parseReleaseDate(text) == expected, qPrintable(text));
    }
}

void tst_DocumentValues::readsSuffixes_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<bool>("suspicious");
    QTest::newRow("exe") << "http://h/a.exe"
                         << "exe" << false;
    QTest::newRow("tar.gz") << "file.tar.gz"
                            << "tar.gz" << false;
    QTest::newRow("tar.bz2") << "file.tar.bz2"
                             << "tar.bz2" << false;
    QTest::newRow("mpkg") << "setup.mpkg.zip"
                          << "mpkg" << false;
    QTest::newRow("trailing and double dots") << "a.tar..gz.."
                                              << "tar.gz" << false;
    QTest::newRow("case counts") << "a.TAR.GZ"
                                 << "GZ" << true;
    QTest::newRow("gz alone") << "archive.gz"
                              << "gz" << true;
    QTest::newRow("too long") << "package.appimage"
                              << "appimage" << true;
    QTest::newRow("query not removed") << "viewer.exe?lang=de"
                                       << "exe?lang=de" << true;
    QTest::newRow("no dot") << "setup"
                            << "setup" << false;
    QTest::newRow("empty") << ""
                           << "" << true;
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
