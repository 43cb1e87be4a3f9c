#include "LogCapture.h"
#include "Rows.h"

#include "catalogue/DocumentLevel.h"
#include "catalogue/DocumentParser.h"
#include "catalogue/DocumentValues.h"

#include <QBuffer>
#include <QDomDocument>
#include <QElapsedTimer>
#include <QTest>
#include <QTextCodec>

using namespace zk;

namespace {

PackageInfoList parse(QByteArray bytes, const UpdateDocument::DocumentLimits& limits = {})
{
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return UpdateDocument::parse(&buffer, limits);
}

QString text(const QSet<QString>& words)
{
    QStringList list = words.values();
    list.sort();
    return list.join(QLatin1Char(' '));
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

// What is set, as "field: value, field: value".
QString text(const PackageInfo& p)
{
    const QStringList names =
        test::lines("type\nname\nshown\nrelease\nshown release\nstatus\nurl\nsuffix\ndate\nsize\n"
                    "platforms\nlanguages\nnotes\nreadme\ncomment");
    const QStringList values{p.type,
                             p.name,
                             p.publicName,
                             p.release,
                             p.publicRelease,
                             p.status,
                             p.url.toString(),
                             p.suffix,
                             p.releaseDate.toString(Qt::ISODate),
                             p.fileSize == 0 ? QString() : QString::number(p.fileSize),
                             text(p.platforms),
                             text(p.languages),
                             text(p.releaseNotes),
                             text(p.readme),
                             p.comment};
    QStringList set;
    for (int i = 0; i < names.size(); ++i) {
        if (!values[i].isEmpty()) {
            set << names[i] + QStringLiteral(": ") + values[i];
        }
    }
    return set.join(QStringLiteral(", "));
}

// As large as the cheapest attack that must still be answered at once.
constexpr int documentSize = 4 * 1024 * 1024;

QByteArray filled(const QByteArray& head, const QByteArray& unit, const QByteArray& tail)
{
    return head + unit.repeated((documentSize - head.size() - tail.size()) / unit.size()) + tail;
}

QByteArray numbered(const char* format, int count)
{
    QByteArray text;
    for (int i = 0; i < count; ++i) {
        text += QString::asprintf(format, i).toLatin1();
    }
    return text;
}

// Peak resident memory of this process since the last call, in MiB; 0 where it cannot be told.
int takePeakMemory()
{
    QFile status(QStringLiteral("/proc/self/status"));
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
    const QByteArray text = status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray();
    if (reset.open(QIODevice::WriteOnly)) {
        reset.write("5");
    }
    return text.mid(text.indexOf("VmHWM:") + 6).trimmed().split(' ').first().toInt() / 1024;
}

// The bounds are those of an optimised build; the others show that nothing hangs or dies.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int allowance = 30;
#elif defined(_WIN32)
constexpr int allowance = 3; // Wine's allocator
#elif defined(__OPTIMIZE__) || defined(NDEBUG)
constexpr int allowance = 1;
#else
constexpr int allowance = 5;
#endif

} // namespace

class tst_DocumentParser : public QObject
{
    Q_OBJECT

private slots:
    void readsPackages_data()
    {
        test::columns<QString, QString>("xml", "records");
        QFile file(QFINDTESTDATA("documents.txt"));
        QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
        const QStringList cases =
            QString::fromUtf8(file.readAll()).split(QStringLiteral("\n== ")).mid(1);
        for (const QString& lines : cases) {
            const int end = lines.indexOf(QLatin1Char('\n'));
            const int records = lines.indexOf(QStringLiteral("\n->"));
            QTest::newRow(qPrintable(lines.left(end)))
                << lines.mid(end, records - end).trimmed() << lines.mid(records + 1).trimmed();
        }
    }
    void readsPackages()
    {
        QFETCH(QString, xml);
        // The search from one node must agree with the document's.
        QDomDocument document;
        QVERIFY(document.setContent(xml));
        QStringList byNode;
        const QDomNodeList nodes = document.elementsByTagName(QStringLiteral("package"));
        for (int i = 0; i < nodes.size(); ++i) {
            PackageInfo info;
            UpdateDocument::readPackage(nodes.at(i).toElement(), info);
            byNode << text(info);
        }
        QStringList records;
        for (const PackageInfo& package : parse(xml.toUtf8())) {
            records << (QStringLiteral("-> ") + text(package)).trimmed();
            QVERIFY2(byNode.contains(text(package)), qPrintable(byNode.join(QLatin1Char('\n'))));
        }
        QTEST(records.join(QLatin1Char('\n')), "records");
    }

    void readsEncodings()
    {
        const QString xml = QStringLiteral("<?xml version='1.0' encoding='%1'?><package-set>"
                                           "<package name='Prøve'/></package-set>");
        for (const char* encoding : {"UTF-8", "ISO-8859-1", "UTF-16"}) {
            const PackageInfoList packages = parse(QTextCodec::codecForName(encoding)->fromUnicode(
                xml.arg(QString::fromLatin1(encoding))));
            QVERIFY2(packages.value(0).name == QStringLiteral("Prøve"), encoding);
        }
    }

    void answersHostileDocumentsAtOnce_data()
    {
        test::columns<QByteArray, QString>("bytes", "error"); // empty: read, whatever comes of it
        for (const QByteArray& declaration :
             {"<!ENTITY x \"" + QByteArray(100000, 'x') + "\">",
              QByteArray("<!ENTITY y \"aaaaaaaaaa\"><!ENTITY x \"&y;&y;&y;&y;\">"),
              QByteArray("<!ENTITY % p \"x\">"), QByteArray("<!ENTITY x SYSTEM \"/etc/passwd\">"),
              QByteArray("<!NOTATION n SYSTEM \"n\"><!ENTITY x SYSTEM \"x\" NDATA n>")}) {
            test::row(declaration.left(40).constData(),
                      "<!DOCTYPE a [" + declaration + "]><a>" + QByteArray("&x;").repeated(20000) +
                          "</a>",
                      "entity declarations are not allowed");
        }
        test::row("100,000 nested sets",
                  QByteArray("<package-set>").repeated(100000) +
                      QByteArray("</package-set>").repeated(100000),
                  "elements are nested too deeply");
        const char* const inherited = "packages inherit too many values";
        test::row("many inherited links",
                  filled("<a>" + QByteArray("<readme url=\"a\"/>").repeated(100000),
                         "<package><readme url=\"b\"/></package>", "</a>"),
                  inherited);
        test::row("many inherited words",
                  filled("<a platform=\"" + numbered("%x ", 300000) + "\">",
                         "<package platform=\"a\"/>", "</a>"),
                  inherited);
        const QByteArray wide(1000000, 'x');
        test::row("a long inherited url",
                  filled("<a base-url=\"" + wide + "\">", "<package/>", "</a>"), inherited);
        test::row("a long url that links fall back to",
                  filled("<a url=\"" + wide + "\">", "<package><readme/></package>", "</a>"),
                  inherited);
        test::row("empty", QByteArray(), "line: 1 column: 1");
        test::row("web page", QByteArray("<html>\n<p>sorry<br></html>"), "line: 2 column: 19");
        const auto read = [](const char* title, const QByteArray& bytes) {
            test::row(title, bytes, QString());
        };
        read("several document types", "<!DOCTYPE a><!DOCTYPE b><a/>");
        read("nested parentheses",
             "<!DOCTYPE a [<!ELEMENT a " + QByteArray(documentSize, '(') + ">]><a/>");
        read("a million elements", filled("<a>", "<b/>", "</a>"));
        // A walk up the ancestors for every key of every package took 52 s for 20,000 of them.
        read("400,000 packages", filled("<a>", "<package/>", "</a>"));
        read("400,000 packages below a value", filled("<name>", "<package/>", "</name>"));
        read("300,000 sets side by side", filled("<a>", "<package-set/>", "</a>"));
        read("elements full of attributes",
             filled("<a>", "<b " + numbered("a%d=\"\" ", 60) + "/>", "</a>"));
        read("one element with 300,000 attributes", "<a " + numbered("a%d=\"\" ", 300000) + "/>");
        read("100,000 prefixes", filled("<a " + numbered("xmlns:a%d=\"b\" ", 100000) + ">",
                                        "<a xmlns:b=\"c\"/>", "</a>"));
        read("undeclared entities", filled("<a>", "&b;", "</a>"));
        read("comments in a text",
             filled("<a><package><name>", "x<!---->", "</name></package></a>"));
        read("a name of 4 million characters", filled("<a><package name=\"", "x", "\"/></a>"));
        read("NUL characters", filled("<a>", QByteArray(1, '\0'), "</a>"));
        read("invalid UTF-8", filled("<a><package name=\"", "\xff", "\"/></a>"));
    }
    void answersHostileDocumentsAtOnce()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        const test::LogCapture log(Log::eWarning);
        takePeakMemory();
        const int before = takePeakMemory();
        QElapsedTimer timer;
        timer.start();
        const bool isRefused = parse(bytes).isEmpty();
        const qint64 elapsed = timer.elapsed();
        const int grown = takePeakMemory() - before;
        QVERIFY2(elapsed < 2000LL * allowance, qPrintable(QStringLiteral("%1 ms").arg(elapsed)));
        QVERIFY2(grown < 300 * allowance, qPrintable(QStringLiteral("%1 MiB").arg(grown)));
        if (!error.isEmpty()) {
            QVERIFY(isRefused);
            const QString lines = log.lines(Log::eWarning).join(QLatin1Char('|'));
            const QRegExp expected(
                QStringLiteral("(\\[zk::DownloadManager::parseXML\\] )XML parser "
                               "error: (.+)\\|\\1- at (line: \\d+ column: \\d+)"));
            QVERIFY2(expected.exactMatch(lines), qPrintable(lines));
            QVERIFY2(expected.cap(2) == error || expected.cap(3) == error, qPrintable(lines));
        }
    }

    void keepsLimitsExactly()
    {
        UpdateDocument::DocumentLimits limits;
        limits.elementsAndAttributes = 2000;
        limits.bytes = 30000;
        const auto accepts = [&](const QByteArray& head, const QByteArray& unit, int times,
                                 const QByteArray& tail) {
            return parse(head + unit.repeated(times) + tail, limits).size() == 1;
        };
        const QByteArray tail = QByteArray("</package-set>").repeated(999);
        QVERIFY(accepts("", "<package-set>", 999, "<package/>" + tail));
        QVERIFY(!accepts("", "<package-set>", 1000, "<package/></package-set>" + tail));
        QVERIFY(accepts("<a>", "<b c=''/>", 999, "<package/></a>"));
        QVERIFY(!accepts("<a>", "<b c=''/>", 1000, "<package/></a>"));
        QVERIFY(accepts("<a><package/></a>", " ", 29983, ""));
        QVERIFY(!accepts("<a><package/></a>", " ", 29984, ""));
    }

    void readsSizes()
    {
        const QStringList sizes =
            test::lines("4096 -> 4096\n1.5MB -> 1572864\n1.5 mb -> 1572864\n20kB -> 20480\n"
                        "12 MiB -> 0\n1 GB -> 0\n 1  -> 1\n4294967295 -> 4294967295\n"
                        "4294967296 -> 0\n4097MB -> 1048576\n8796093022208MB -> 0\n"
                        "1e300MB -> 0\ninfkB -> 0\nnanMB -> 0\nMB -> 0\n-1 -> 0\n -> 0");
        for (const QString& line : sizes) {
            const QStringList parts = line.split(QStringLiteral(" -> "));
            const quint32 size = UpdateDocument::parseFileSize(parts[0]);
            QCOMPARE(parts[0] + QStringLiteral(" -> ") + QString::number(size), line);
        }
    }

    // The forms are defined by Qt's own reader; reading them by position must never differ from it.
    void readsDatesAsQtDoes()
    {
        const QString valid = QStringLiteral("2017-06-30 14:05:09");
        for (const QChar letter : QStringLiteral("0123456789-+: T.x\u0663")) {
            for (int at = 0; at <= valid.size(); ++at) {
                for (const int length : {10, 19}) {
                    for (const int removed : {0, 1, 2}) {
                        const QString text = valid.left(length).replace(at, removed, letter);
                        QDateTime expected =
                            QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd hh:mm:ss"));
                        if (!expected.isValid()) {
                            expected = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd"));
                        }
                        const QDateTime date = UpdateDocument::parseReleaseDate(text);
                        QVERIFY2(date == expected && date.isNull() != date.isValid(),
                                 qPrintable(text));
                    }
                }
            }
        }
    }

    void readsSuffixes()
    {
        // "!" behind those that are logged as suspicious.
        const QStringList suffixes =
            test::lines("http://h/a.exe -> exe\na.tar.gz -> tar.gz\na.tar.bz2 -> tar.bz2\n"
                        "a.mpkg.zip -> mpkg\na.tar..gz.. -> tar.gz\nsetup -> setup\na.GZ -> GZ!\n"
                        "a.gz -> gz!\na.appimage -> appimage!\na.exe?l=de -> exe?l=de!\n -> !");
        for (const QString& row : suffixes) {
            const QString url = row.section(QStringLiteral(" -> "), 0, 0);
            QString suffix = row.section(QStringLiteral(" -> "), 1);
            const bool isSuspicious = suffix.endsWith(QLatin1Char('!'));
            suffix.chop(isSuspicious ? 1 : 0);
            const test::LogCapture log;
            QCOMPARE(UpdateDocument::parsePackageSuffix(url), suffix);
            const QStringList line{QStringLiteral("[zk::DownloadManager::parsePackageSuffix] "
                                                  "DownloadManager::parsePackageType() -> parsed "
                                                  "suspicious package suffix '%1' in %2")
                                       .arg(suffix, url)};
            QCOMPARE(log.lines(Log::eError), isSuspicious ? line : QStringList());
        }
    }
};

QTEST_GUILESS_MAIN(tst_DocumentParser)
#include "tst_DocumentParser.moc"
