#include "publisher/Addition.h"
#include "publisher/PackageSource.h"

#include <QTest>

using namespace publisher;

namespace {

NewRelease firmware(const char* release, const char* platforms, qint64 size)
{
    NewRelease result;
    result.values = {{"type", QStringLiteral("Camera Firmware")},
                     {"name", QStringLiteral("Firmware <\"&>")},
                     {"release", QString::fromLatin1(release)},
                     {"status", QStringLiteral("STABLE")}};
    result.platforms = QString::fromLatin1(platforms).split(QLatin1Char(' '));
    result.languages = QStringList{QStringLiteral("en")};
    result.files = {
        {QStringLiteral("new.bin"), size, QDateTime(QDate(2026, 11, 20), QTime(10, 0, 0))}};
    return result;
}

const char set[] = "<package-set type=\"Camera Firmware\" status=\"STABLE\" language=\"en\">";
const char old[] = "<package name=\"F\" platform=\"P\" release=\"1\" release-date=\"2026-01-01\" "
                   "url=\"f.bin\" file-size=\"9\"/>";

} // namespace

class tst_Addition : public QObject
{
    Q_OBJECT

private slots:
    void putsPackagesWhereTheyFit_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QByteArray>("added"); // %: the lines of the package's file and end
        const auto row = [](const char* name, const QByteArray& before, const QByteArray& added) {
            QTest::newRow(name) << before << added;
        };
        const QByteArray name = " name=\"Firmware &lt;&quot;&amp;&gt;\"";
        const QByteArray date = " release-date=\"2026-11-20 10:00:00\">";
        row("behind what is there, which stays as it is written",
            QByteArray("<!-- a -->\n<softwareList base-url='http://h/'><!-- b -->\n  ") + set +
                "\n    " + old + "<!-- c -->\n|  </package-set>\n</softwareList>\n<!-- d -->",
            "    <package" + name + " release=\"2\" platform=\"Q\"" + date +
                "\n      <file url=\"new.bin\" file-size=\"77\"/>\n    </package>\n");
        row("with the line ends that are there",
            "<softwareList base-url='http://h/'>\r\n|</softwareList>\r\n",
            "  <package type=\"Camera Firmware\"" + name +
                " release=\"2\" status=\"STABLE\" platform=\"Q\" language=\"en\"" + date +
                "\r\n    <file url=\"new.bin\" file-size=\"77\"/>\r\n  </package>\r\n");
        row("into a root that was empty", "<softwareList base-url='http://h/'|/>",
            ">\n  <package type=\"Camera Firmware\"" + name +
                " release=\"2\" status=\"STABLE\" platform=\"Q\" language=\"en\"" + date +
                "\n    <file url=\"new.bin\" file-size=\"77\"/>\n  </package>\n</softwareList>");
        row("not where a list says too much, but around it",
            "<softwareList base-url='http://h/'>\n<package-set type=\"Camera Firmware\" "
            "platform=\"Other\" status=\"STABLE\" language=\"en\"/>\n|</softwareList>",
            "  <package type=\"Camera Firmware\"" + name +
                " release=\"2\" status=\"STABLE\" platform=\"Q\" language=\"en\"" + date +
                "\n    <file url=\"new.bin\" file-size=\"77\"/>\n  </package>\n");
    }

    void putsPackagesWhereTheyFit()
    {
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, added);
        QByteArray expected = before;
        const bool isEmptyTag = before.endsWith("|/>");
        expected.replace(isEmptyTag ? "|/>" : "|", added);
        const Addition addition =
            addRelease(QByteArray(before).replace('|', ""), firmware("2", "Q", 77));
        const auto* const refusal = std::get_if<QString>(&addition);
        QVERIFY2(!refusal, refusal ? qPrintable(*refusal) : "");
        QCOMPARE(std::get<QByteArray>(addition), expected);
    }

    void keepsTheEncoding()
    {
        const QByteArray before = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<softwareList "
                                  "base-url=\"http://h/\" comment=\"\xe4\">\n</softwareList>";
        NewRelease release = firmware("2", "Q", 77);
        release.values << NewValue{"comment", QStringLiteral("ä")};
        const Addition latin = addRelease(before, release);
        QCOMPARE(parsePackages(std::get<QByteArray>(latin)).value(0).comment, QStringLiteral("ä"));
        release.values.last().text = QStringLiteral("测试");
        QVERIFY(std::get<QString>(addRelease(before, release)).contains(QLatin1String("encoding")));
    }

    void refuses_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QString>("reason");
        const QByteArray root = "<softwareList base-url=\"http://h/\">";
        const auto row = [](const char* name, const QByteArray& before, const char* reason) {
            QTest::newRow(name) << before << QString::fromLatin1(reason);
        };
        row("what is not XML", "<softwareList>", "line 1");
        row("a file that is there",
            root + "<package platform=\"X\" url=\"new.bin\"/></softwareList>", "already");
        row("one of the same date and size for the same camera",
            root + "<package platform=\"Q\" url=\"a\" release-date=\"2026-11-20 10:00:00\" "
                   "file-size=\"77\"/></softwareList>",
            "same date and size");
        row("an address that leads nowhere", "<softwareList/>", "base-url");
        row("a place where all is for others", "<softwareList platform=\"Other\"/>", "every set");
        row("what clients refuse anyway",
            "<!DOCTYPE a [<!ENTITY b \"c\">]>" + root + "</softwareList>", "would not read");
    }

    void refuses()
    {
        QFETCH(QByteArray, before);
        QFETCH(QString, reason);
        const Addition addition = addRelease(before, firmware("2", "Q", 77));
        QVERIFY(std::holds_alternative<QString>(addition));
        QVERIFY2(std::get<QString>(addition).contains(reason),
                 qPrintable(std::get<QString>(addition)));
    }
};

QTEST_GUILESS_MAIN(tst_Addition)
#include "tst_Addition.moc"
