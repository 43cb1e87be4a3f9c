#include "Rows.h"

#include "publisher/Addition.h"
#include "publisher/PackageSource.h"

#include <QTest>

using namespace publisher;
using zk::test::columns;
using zk::test::row;

namespace {

NewRelease firmware()
{
    NewRelease result;
    result.values = {{"type", u"Camera Firmware"_s},
                     {"name", u"Firmware <\"&>"_s},
                     {"release", u"2"_s},
                     {"status", u"STABLE"_s}};
    result.platforms = QStringList{u"Q"_s};
    result.languages = QStringList{u"en"_s};
    result.files = {{u"new.bin"_s, 77, QDateTime(QDate(2026, 11, 20), QTime(10, 0, 0))}};
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
        columns<QByteArray, QByteArray>("before", "added");
        const QByteArray name = " name=\"Firmware &lt;&quot;&amp;&gt;\"";
        const QByteArray date = " release-date=\"2026-11-20 10:00:00\">";
        row("behind what is there, which stays as it is written",
            QByteArray("<!-- a -->\n<softwareList base-url='http://h/'><!-- b -->\n  ") + set +
                "\n    " + old + "<!-- c -->\n|  </package-set>\n</softwareList>\n<!-- d -->",
            QByteArray("    <package" + name + " release=\"2\" platform=\"Q\"" + date +
                       "\n      <file url=\"new.bin\" file-size=\"77\"/>\n    </package>\n"));
        const QByteArray whole = "<package type=\"Camera Firmware\"" + name +
                                 " release=\"2\" status=\"STABLE\" platform=\"Q\" "
                                 "language=\"en\"" +
                                 date;
        const QByteArray file = "    <file url=\"new.bin\" file-size=\"77\"/>";
        row("with the line ends that are there",
            QByteArray("<softwareList base-url='http://h/'>\r\n|</softwareList>\r\n"),
            "  " + whole + "\r\n" + file + "\r\n  </package>\r\n");
        row("into a root that was empty", QByteArray("<softwareList base-url='http://h/'|/>"),
            ">\n  " + whole + "\n" + file + "\n  </package>\n</softwareList>");
        row("not where a list says too much, but around it",
            QByteArray("<softwareList base-url='http://h/'>\n<package-set type=\"Camera Firmware\" "
                       "platform=\"Other\" status=\"STABLE\" language=\"en\"/>\n|</softwareList>"),
            "  " + whole + "\n" + file + "\n  </package>\n");
    }
    void putsPackagesWhereTheyFit()
    {
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, added);
        QByteArray expected = before;
        const bool isEmptyTag = before.endsWith("|/>");
        expected.replace(isEmptyTag ? "|/>" : "|", added);
        const Addition addition = addRelease(QByteArray(before).replace('|', ""), firmware());
        const auto* const refusal = std::get_if<QString>(&addition);
        QVERIFY2(!refusal, refusal ? qPrintable(*refusal) : "");
        QCOMPARE(std::get<QByteArray>(addition), expected);
    }

    void keepsTheEncoding()
    {
        const QByteArray before = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<softwareList "
                                  "base-url=\"http://h/\" comment=\"\xe4\">\n</softwareList>";
        NewRelease release = firmware();
        release.values << NewValue{"comment", u"ä"_s};
        const Addition latin = addRelease(before, release);
        QCOMPARE(parsePackages(std::get<QByteArray>(latin)).value(0).comment, u"ä"_s);
        const QByteArray mark("\xef\xbb\xbf");
        const Addition marked =
            addRelease(mark + "<softwareList base-url='http://h/'></softwareList>", release);
        QVERIFY(std::get<QByteArray>(marked).startsWith(mark + '<'));
        release.values.last().text = u"测试"_s;
        QVERIFY(std::get<QString>(addRelease(before, release)).contains(u"encoding"_s));
    }

    void refuses_data()
    {
        columns<QString, QString>("before", "reason");
        const QString root = u"<softwareList base-url=\"http://h/\">"_s;
        row("what is not XML", "<softwareList>", "line 1");
        row("a file that is there",
            root + u"<package platform=\"X\" url=\"new.bin\"/></softwareList>"_s, "already");
        row("one of the same date and size for the same camera",
            root + u"<package platform=\"Q\" url=\"a\" file-size=\"77\" release-date="
                   "\"2026-11-20 10:00:00\"/></softwareList>"_s,
            "same date and size");
        row("an address that leads nowhere", "<softwareList/>", "base-url");
        row("a place where all is for others", "<softwareList platform=\"Other\"/>", "each set");
        row("what clients refuse anyway",
            u"<!DOCTYPE a [<!ENTITY b \"c\">]>"_s + root + u"</softwareList>"_s, "would not read");
    }
    void refuses()
    {
        QFETCH(QString, before);
        QFETCH(QString, reason);
        const Addition addition = addRelease(before.toUtf8(), firmware());
        QVERIFY(std::holds_alternative<QString>(addition));
        QVERIFY2(std::get<QString>(addition).contains(reason),
                 qPrintable(std::get<QString>(addition)));
    }
};

QTEST_GUILESS_MAIN(tst_Addition)
#include "tst_Addition.moc"
