#include "Files.h"
#include "Rows.h"

#include "publisher/Lint.h"

#include <QTemporaryDir>
#include <QTest>

using namespace publisher;

namespace {

// Without a mistake; each row puts another text in the place of one of its lines.
const char flawless[] =
    "<?xml version='1.0' encoding='UTF-8'?>\n"
    "<softwareList base-url='https://updates.example.com/'>\n"
    "  <package-set type='Application' name='Viewer' status='STABLE' language='en'>\n"
    "    <package platform='Win64' release='4.3' release-date='2026-09-14'>\n"
    "      <file url='viewer-4.3.exe' file-size='2.5kB'/>\n"
    "      <release-notes url='notes/4.3.html'/>\n"
    "    </package>\n"
    "    <package platform='Win64' release='4.3' release-date='2026-09-15'>\n"
    "      <file url='viewer-4.3.zip' file-size='4096'/>\n"
    "    </package>\n"
    "  </package-set>\n"
    "  <package-set type='Camera Firmware' name='Firmware' status='BETA' language='en'>\n"
    "    <package platform='Falcon' release='2.0' release-date='2026-05-02'>\n"
    "      <file url='falcon.bin' file-size='1MB'/>\n"
    "    </package>\n"
    "    <package platform='Heron' release='2.0' release-date='2026-05-03'>\n"
    "      <file url='heron.bin' file-size='1MB'/>\n"
    "    </package>\n"
    "  </package-set>\n"
    "</softwareList>\n";

QByteArray documentWith(int line, const QString& text)
{
    QList<QByteArray> lines = QByteArray(flawless).split('\n');
    if (line > 0) {
        lines[line - 1] = text.toUtf8();
    }
    return lines.join('\n');
}

} // namespace

/** Each mistake is found where it is, and nothing else with it. */
class tst_Lint : public QObject
{
    Q_OBJECT

private slots:
    void findsEachMistakeAtItsLine_data()
    {
        zk::test::columns<int, QString, QString>("line", "text", "expected");
        using zk::test::row;
        row("nothing", 0, "", "");
        row("a tag that is not closed", 10, "    </packet>", "10:14 malformed");
        row("a document type", 1, "<!DOCTYPE softwareList>", "1:1 doctype");
        row("an unknown attribute", 6, "      <release-notes url='a' lang='de'/>",
            "6:30 unknown-name");
        row("an unknown element", 6, "      <release_notes url='a'/>", "6:7 unknown-name");
        row("a file in a set", 11, "  <file/></package-set>", "11:3 misplaced");
        row("a value in a link", 6, "      <readme url='a' release='1'/>", "6:23 misplaced");
        row("two values", 6, "<comment>a</comment><comment>b</comment>", "6:21 repeated");
        row("a value twice", 5, "<file url='a.exe' file-size='2kB'><url>b.exe</url></file>",
            "5:7 repeated");
        row("text in a set", 11, "  </package-set>text", "11:17 stray-text");
        row("an address as text", 6, "<readme url='a'>http://b/</readme>", "6:17 stray-text");
        row("no platform", 13, "    <package release='2.0' release-date='2026-05-02'>",
            "13:5 missing");
        row("no address", 14, "      <file file-size='1MB'/>", "13:5 missing");
        row("no name, on a set", 12,
            "<package-set type='Camera Firmware' name='' status='BETA' language='en'>",
            "12:37 missing");
        row("a date in ISO form", 13,
            "<package platform='Falcon' release='2.0' release-date='2026-05-02T10:00:00'>",
            "13:42 date");
        row("a size in gigabytes", 14, "<file url='falcon.bin' file-size='1 GB'/>", "14:24 size");
        row("a size that is not the file's", 9, "<file url='viewer-4.3.zip' file-size='4097'/>",
            "9:28 size-differs");
        row("a rounded size that is not the file's", 5,
            "<file url='viewer-4.3.exe' file-size='2.7kB'/>", "5:28 size-differs");
        row("an address with a query", 14, "<file url='falcon.bin?build=17' file-size='1MB'/>",
            "14:7 suffix");
        row("a release that is a word", 13,
            "<package platform='Falcon' release='latest' release-date='2026-05-02'>",
            "13:28 release");
        row("firmware for a computer", 13,
            "<package platform='Win32' release='2.0' release-date='2026-05-02'>",
            "13:10 firmware-platform");
        row("models that begin alike", 16,
            "<package platform='Falcon-2' release='2.0' release-date='2026-05-03'>",
            "16:10 platform-prefix");
        row("firmware of one date and size", 16,
            "<package platform='Heron' release='2.0' release-date='2026-05-02'>",
            "16:1 counts-as-one");
        row("two spellings", 8,
            "<package platform='Win64' release='4.3.0' release-date='2026-09-15'>",
            "8:27 two-spellings");
        row("another status", 12,
            "<package-set type='Camera Firmware' name='F' status='Beta' language='en'>",
            "12:46 status");
        row("no slash", 2, "<softwareList base-url='https://updates.example.com'>",
            "2:15 base-url");
        row("no base", 14, "<base-url></base-url><file url='falcon.bin' file-size='1MB'/>",
            "14:28 url");
        row("a script as address", 6, "<readme url='javascript:alert(1)'/>", "6:9 url");
        row("a link without address", 6, "<readme language='de'/>", "6:1 link-url");
        row("a link in a list of languages", 6, "<language>de fr</language><readme url='a'/>",
            "6:27 link-language");
        row("blanks around a name", 12,
            "<package-set type='Camera Firmware' name='F ' status='BETA' language='en'>",
            "12:37 blanks");
    }

    void findsEachMistakeAtItsLine()
    {
        QFETCH(int, line);
        QFETCH(QString, text);
        QTemporaryDir folder;
        for (const auto& [name, size] :
             {std::pair("viewer-4.3.exe", 2600), {"viewer-4.3.zip", 4096}}) {
            zk::test::writeFile(folder.filePath(QLatin1String(name)), QByteArray(size, 'x'));
        }
        const Findings findings = lint(documentWith(line, text), folder.path());
        QStringList found;
        for (const Finding& finding : findings) {
            found << QStringLiteral("%1:%2 %3")
                         .arg(finding.position.line)
                         .arg(finding.position.column)
                         .arg(finding.rule);
        }
        QTEST(found.join(QStringLiteral(", ")), "expected");
    }
};

QTEST_GUILESS_MAIN(tst_Lint)
#include "tst_Lint.moc"
