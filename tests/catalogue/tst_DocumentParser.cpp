#include "LogCapture.h"
#include "Rows.h"

#include "catalogue/DocumentLevel.h"
#include "catalogue/DocumentParser.h"

#include <QBuffer>
#include <QDomDocument>
#include <QTest>
#include <QTextCodec>

using namespace zk;

// Stands before the raw texts below, which moc cannot read past.
class tst_DocumentParser : public QObject
{
    Q_OBJECT

private slots:
    void readsARealisticDocument();
    void keepsDocumentOrder();
    void inheritsValues_data();
    void inheritsValues();
    void answersForOneNodeAsForTheDocument();
    void readsARootCalledLikeAValue();
    void countsWhatItFinds();
    void readsEncodings();
    void reportsWhatIsNoDocument_data();
    void reportsWhatIsNoDocument();
};

namespace {

PackageInfoList parse(const QByteArray& bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    return UpdateDocument::parse(&buffer);
}

QStringList sorted(const QSet<QString>& words)
{
    QStringList list = words.values();
    list.sort();
    return list;
}

// "de=x en=y": the links in key order, the one found first in front.
QString text(const QMap<QString, QUrl>& links)
{
    QStringList parts;
    for (auto link = links.cbegin(); link != links.cend(); ++link) {
        parts << link.key() + QLatin1Char('=') + link->toString();
    }
    return parts.join(QLatin1Char(' '));
}

const char* const example = R"(<?xml version="1.0" encoding="UTF-8"?>
<softwareList base-url="file:///srv/updates/">
  <package-set type="Application" name="Viewer" public-name="Camera Viewer"
               status="STABLE" language="en">
    <package platform="Win64" release="4.3.1" public-release="4.3"
             release-date="2017-06-30 14:05:00">
      <file url="viewer/viewer-4.3.1-win64.msi" file-size="52.5MB"/>
      <release-notes url="notes/viewer-4.3.1_en.html"/>
      <release-notes language="de" url="notes/viewer-4.3.1_de.html"/>
      <readme language="en">
        <url>file:///srv/updates/readme/viewer_en.txt</url>
      </readme>
      <comment>Maintenance release</comment>
    </package>
    <package platform="Win32" release="4.3.1" release-date="2017-06-30">
      <file url="viewer/viewer-4.3.1-win32.zip" file-size="48000kB"/>
    </package>
    <package-set status="BETA">
      <package platform="Win64 Win32" release="4.4.0" release-date="2017-07-14">
        <url>viewer/viewer-4.4.0.exe</url>
        <file-size>54263808</file-size>
      </package>
    </package-set>
  </package-set>
  <package-set type="Camera Firmware" name="CamOS">
    <package release="5.2.0" release-date="2017-05-02 09:00:00"
             url="firmware/camos-5.2.0.tar.gz" file-size="12MB" platform="Win32 Win64"/>
  </package-set>
</softwareList>)";

} // namespace

void tst_DocumentParser::readsARealisticDocument()
{
    QStringList found;
    const PackageInfoList packages = parse(example);
    for (const PackageInfo& p : packages) {
        const QString rest = QStringLiteral("%1,%2,%3,%4,%5")
                                 .arg(p.releaseDate.toString(Qt::ISODate))
                                 .arg(p.fileSize)
                                 .arg(sorted(p.platforms).join(QLatin1Char('+')),
                                      sorted(p.languages).join(QLatin1Char('+')), p.suffix);
        found << QStringList{p.type,           p.name,    p.publicName,
                             p.url.toString(), p.release, p.publicRelease,
                             p.status,         p.comment, rest}
                     .join(QLatin1Char(','));
        QVERIFY(p.flags == 0 && p.localFile.isEmpty() && !p.installDeferred);
    }
    QCOMPARE(found,
             test::lines("Application,Viewer,Camera Viewer,"
                         "file:///srv/updates/viewer/viewer-4.3.1-win64.msi,4.3.1,4.3,STABLE,"
                         "Maintenance release,2017-06-30T14:05:00,55050240,Win64,en,msi\n"
                         "Application,Viewer,Camera Viewer,"
                         "file:///srv/updates/viewer/viewer-4.3.1-win32.zip,4.3.1,,STABLE,,"
                         "2017-06-30T00:00:00,49152000,Win32,en,zip\n"
                         "Application,Viewer,Camera Viewer,"
                         "file:///srv/updates/viewer/viewer-4.4.0.exe,4.4.0,,BETA,,"
                         "2017-07-14T00:00:00,54263808,Win32+Win64,en,exe\n"
                         "Camera Firmware,CamOS,,"
                         "file:///srv/updates/firmware/camos-5.2.0.tar.gz,5.2.0,,,,"
                         "2017-05-02T09:00:00,12582912,Win32+Win64,,tar.gz"));
    QCOMPARE(text(packages[0].releaseNotes),
             QStringLiteral("de=notes/viewer-4.3.1_de.html en=notes/viewer-4.3.1_en.html"));
    QCOMPARE(text(packages[0].readme),
             QStringLiteral("en=file:///srv/updates/readme/viewer_en.txt"));
    QVERIFY(packages[1].releaseNotes.isEmpty());
}

void tst_DocumentParser::keepsDocumentOrder()
{
    const PackageInfoList packages = parse(R"(<any>
        <package-set><package name="3"/><package-set><package name="4"/></package-set></package-set>
        <package name="1"/><ignored><package name="no"/></ignored>
        <package-set><package name="5"/></package-set><package name="2"/></any>)");
    QString names;
    for (const PackageInfo& package : packages) {
        names += package.name;
    }
    QCOMPARE(names, QStringLiteral("12345"));
}

void tst_DocumentParser::inheritsValues_data()
{
    test::columns<QString>("xml");    // between <s> and </s>
    test::columns<QString>("result"); // name|release|url|platforms|languages|notes|readme

    test::row(
        "lists are united over all levels",
        R"(<package-set platform="A" language="en fr"><package platform="B" language="de"><platform>C,D</platform><platform>E</platform></package></package-set>)",
        "|||A B C D E|de en fr||");
    test::row("the nearest single value wins",
              R"(<package-set name="outer" release="1"><package name="inner"/></package-set>)",
              "inner|1|||||");
    test::row("an empty value is one",
              R"(<package-set name="outer"><package name=""/></package-set>)", "||||||");
    test::row("a child element wins over the attribute, the first over the second",
              R"(<package name="attribute"><name>first</name><name>second</name></package>)",
              "first||||||");
    test::row("blanks in an element are kept", "<package><release> 4.3.1 </release></package>",
              "| 4.3.1 |||||");
    test::row("values that follow the package hold for it",
              R"(<package-set><package/><file/><name>after</name><url>u</url></package-set>)",
              "after||u||||");
    test::row("a value's text is all that lies in its element",
              "<package>no<name> <package-set> a </package-set>b<file> </file></name>no</package>",
              "  a b ||||||");
    test::row(
        "the file element is the nearest level",
        R"(<package url="p" name="n"><file url="f" platform="X"/><file url="second"/></package>)",
        "n||f|X|||");
    test::row("a file element of a set is none of the package's levels",
              R"(<package-set><file url="f"/><package/></package-set>)", "||||||");
    QTest::newRow("base-url and url are joined as they stand")
        << R"(<package-set base-url="http://h/a"><package url="b c"/></package-set>)"
        << "||http://h/ab c||||";
    test::row("a link without language takes the text as it is written above",
              R"(<package language="de en"><release-notes url="n"/></package>)",
              "||||de en|de en=n|");
    test::row("a link without language at all is English",
              R"(<package><release-notes url="n"/></package>)", "|||||en=n|");
    test::row("a link without url points at the package",
              R"(<package-set url="set"><package url="p"><readme/></package></package-set>)",
              "||p||||en=p");
    test::row("but not where the url stands in the file element",
              R"(<package-set url="set"><package><file url="p"/><readme/></package></package-set>)",
              "||p||||en=set");
    test::row("link attributes of a set reach every package",
              R"(<package-set readme="r" language="fr"><package language="de"/></package-set>)",
              "||||de fr||fr=r");
    test::row("a link attribute's language is searched from the file element",
              R"(<package language="fr" readme="r"><file language="de"/></package>)",
              "||||de fr||de=r");
    test::row(
        "links of the outermost level are found first",
        R"(<package-set><release-notes url="outer1"/><release-notes url="outer2"/><package release-notes="attribute"><release-notes url="inner"/></package></package-set>)",
        "|||||en=outer2 en=outer1 en=attribute en=inner|");
    test::row(
        "a link has a file element too, and may stand in the package's",
        R"(<package url="p"><file><readme url="x"><file url="r" language="it"/></readme></file></package>)",
        "||p||||it=r");
}

void tst_DocumentParser::inheritsValues()
{
    QFETCH(QString, xml);
    const PackageInfoList packages = parse("<s>" + xml.toUtf8() + "</s>");
    QCOMPARE(packages.size(), 1);
    const PackageInfo& p = packages.first();
    const QStringList fields{p.name,
                             p.release,
                             p.url.toString(),
                             sorted(p.platforms).join(QLatin1Char(' ')),
                             sorted(p.languages).join(QLatin1Char(' ')),
                             text(p.releaseNotes),
                             text(p.readme)};
    QTEST(fields.join(QLatin1Char('|')), "result");
}

// The document pass and the search for one key share how a level is read; their walks must agree
// too.
void tst_DocumentParser::answersForOneNodeAsForTheDocument()
{
    const QByteArray xml(example);
    QDomDocument document;
    QVERIFY(document.setContent(xml));
    const QDomNodeList nodes = document.elementsByTagName(QStringLiteral("package"));
    QCOMPARE(nodes.size(), 4);
    const PackageInfoList packages = parse(xml);
    for (int i = 0; i < nodes.size(); ++i) {
        PackageInfo info;
        UpdateDocument::readPackage(nodes.at(i).toElement(), info);
        // The nodes come in the order of the text, the packages in that of the sets: the same here.
        QCOMPARE(info.url, packages[i].url);
        const auto find = [&](const char* key) {
            return UpdateDocument::findString(nodes.at(i), QString::fromLatin1(key));
        };
        QCOMPARE(find("name"), packages[i].name);
        QCOMPARE(find("status"), packages[i].status);
        QCOMPARE(QUrl(find("base-url") + find("url")), packages[i].url);
        QSet<QString> words;
        UpdateDocument::findAllStrings(nodes.at(i), QStringLiteral("platform"), words);
        QCOMPARE(words, packages[i].platforms);
        QMap<QString, QUrl> links;
        UpdateDocument::findAllTranslatedUrls(nodes.at(i), QStringLiteral("release-notes"), links);
        QCOMPARE(text(links), text(packages[i].releaseNotes));
    }
    PackageInfoList nested;
    UpdateDocument::appendPackages(
        document.elementsByTagName(QStringLiteral("package-set")).at(1).toElement(), nested);
    QCOMPARE(nested.size(), 1);
    QCOMPARE(nested.first().name, QStringLiteral("Viewer")); // from the levels above the set
}

// All text below such a root is a value of the document, so the packages must not be gone when it
// is read.
void tst_DocumentParser::readsARootCalledLikeAValue()
{
    const PackageInfoList packages =
        parse("<name><package><release>1</release></package><package-set><package>"
              "<release>2</release></package></package-set></name>");
    QCOMPARE(packages.size(), 2);
    QCOMPARE(packages[0].name, QStringLiteral("12"));
    QCOMPARE(packages[1].name, QStringLiteral("12"));
    QCOMPARE(packages[1].release, QStringLiteral("2"));
}

void tst_DocumentParser::countsWhatItFinds()
{
    QDomDocument document;
    QVERIFY(document.setContent(QStringLiteral(
        R"(<s platform="A"><p platform="B"><platform>C D</platform><readme url="1"/><readme url="2"/></p></s>)")));
    const QDomNode package = document.documentElement().firstChild();
    QSet<QString> words;
    QCOMPARE(UpdateDocument::findAllStrings(package, QStringLiteral("platform"), words), 3);
    QCOMPARE(words.size(), 4);
    QMap<QString, QUrl> links;
    QCOMPARE(UpdateDocument::findAllTranslatedUrls(package, QStringLiteral("readme"), links), 2);
    QCOMPARE(UpdateDocument::findAllStrings(package, QStringLiteral("none"), words), 0);
}

void tst_DocumentParser::readsEncodings()
{
    const QString xml =
        QStringLiteral("<?xml version=\"1.0\" encoding=\"%1\"?><s><package name=\"Prøve\"/></s>");
    for (const char* encoding : {"UTF-8", "ISO-8859-1", "UTF-16"}) {
        const QByteArray bytes =
            QTextCodec::codecForName(encoding)->fromUnicode(xml.arg(QString::fromLatin1(encoding)));
        const PackageInfoList packages = parse(bytes);
        QVERIFY2(packages.size() == 1 && packages.first().name == QStringLiteral("Prøve"),
                 encoding);
    }
}

void tst_DocumentParser::reportsWhatIsNoDocument_data()
{
    test::columns<QByteArray, QString>("bytes", "place");
    test::row("empty", QByteArray(), "line: 1 column: 1");
    test::row("text", QByteArray("no update today"), "line: 1 column: 1");
    test::row("cut off", QByteArray("<a>\n  <package name="), "line: 2 column: 17");
    test::row("web page", QByteArray("<html>\n<p>sorry<br></html>"), "line: 2 column: 19");
}

void tst_DocumentParser::reportsWhatIsNoDocument()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, place);
    const test::LogCapture log;
    QVERIFY(parse(bytes).isEmpty());
    const QStringList lines = log.lines(Log::eWarning);
    QCOMPARE(lines.size(), 2);
    const QString tag = QStringLiteral("[zk::DownloadManager::parseXML] ");
    QVERIFY2(lines[0].startsWith(tag + QStringLiteral("XML parser error: ")), qPrintable(lines[0]));
    QCOMPARE(lines[1], tag + QStringLiteral("- at ") + place);
}

QTEST_GUILESS_MAIN(tst_DocumentParser)
#include "tst_DocumentParser.moc"
