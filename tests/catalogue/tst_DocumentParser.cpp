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
    const QString size = p.fileSize == 0 ? QString() : QString::number(p.fileSize);
    const QString date = p.releaseDate.toString(Qt::ISODate);
    const QStringList values = QStringList()
                               << p.type << p.name << p.publicName << p.release << p.publicRelease
                               << p.status << p.url.toString() << p.suffix << date << size
                               << text(p.platforms) << text(p.languages) << text(p.releaseNotes)
                               << text(p.readme) << p.comment;
    QStringList set;
    for (int i = 0; i < names.size(); ++i) {
        if (!values[i].isEmpty()) {
            set << names[i] + QStringLiteral(": ") + values[i];
        }
    }
    return set.join(QStringLiteral(", "));
}

// "{3*<a%d/>}" becomes <a0/><a1/><a2/>, from the inside out.
QByteArray expanded(QByteArray text)
{
    for (int begin = text.lastIndexOf('{'); begin >= 0; begin = text.lastIndexOf('{')) {
        const int end = text.indexOf('}', begin);
        const int star = text.indexOf('*', begin);
        const int count = text.mid(begin + 1, star - begin - 1).toInt();
        const QByteArray unit = text.mid(star + 1, end - star - 1);
        QByteArray all;
        for (int i = 0; i < count; ++i) {
            all += QByteArray(unit).replace("%d", QByteArray::number(i));
        }
        text.replace(begin, end + 1 - begin, all);
    }
    return text;
}

// A row for each case of a file: the document, and the lines with "->" behind it.
void addCases(const QString& path)
{
    test::columns<QByteArray, QString>("document", "expected");
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    const QStringList cases =
        QString::fromUtf8(file.readAll()).split(QStringLiteral("\n== ")).mid(1);
    for (const QString& lines : cases) {
        const int begin = lines.indexOf(QLatin1Char('\n'));
        const int end = lines.indexOf(QStringLiteral("\n->"));
        QTest::newRow(qPrintable(lines.left(begin)))
            << expanded(lines.mid(begin, end - begin).trimmed().toUtf8())
            << (end < 0 ? QString() : lines.mid(end).trimmed());
    }
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
    void readsPackages_data() { addCases(QFINDTESTDATA("documents.txt")); }
    void readsPackages()
    {
        QFETCH(QByteArray, document);
        // The search from one node must agree with the document's.
        QDomDocument dom;
        QVERIFY(dom.setContent(document));
        QStringList byNode;
        const QDomNodeList nodes = dom.elementsByTagName(QStringLiteral("package"));
        for (int i = 0; i < nodes.size(); ++i) {
            PackageInfo info;
            UpdateDocument::readPackage(nodes.at(i).toElement(), info);
            byNode << text(info);
        }
        QStringList records;
        const PackageInfoList packages = parse(document);
        for (const PackageInfo& package : packages) {
            records << (QStringLiteral("-> ") + text(package)).trimmed();
            QVERIFY2(byNode.contains(text(package)), qPrintable(byNode.join(QLatin1Char('\n'))));
        }
        QTEST(records.join(QLatin1Char('\n')), "expected");
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
        addCases(QFINDTESTDATA("hostile-documents.txt"));
        for (const char byte : {'\0', '\xff'}) {
            QTest::newRow(byte == 0 ? "NUL characters" : "invalid UTF-8")
                << "<a><package name=\"" + QByteArray(4000000, byte) + "\"/></a>" << QString();
        }
    }
    void answersHostileDocumentsAtOnce()
    {
        QFETCH(QByteArray, document);
        QFETCH(QString, expected);
        const test::LogCapture log(Log::eWarning);
        takePeakMemory();
        const int before = takePeakMemory();
        QElapsedTimer timer;
        timer.start();
        const bool isRefused = parse(document).isEmpty();
        const qint64 elapsed = timer.elapsed();
        const int grown = takePeakMemory() - before;
        QVERIFY2(elapsed < 2000LL * allowance, qPrintable(QStringLiteral("%1 ms").arg(elapsed)));
        QVERIFY2(grown < 300 * allowance, qPrintable(QStringLiteral("%1 MiB").arg(grown)));
        if (!expected.isEmpty()) {
            QVERIFY(isRefused);
            const QString lines = log.lines(Log::eWarning).join(QLatin1Char('|'));
            const QRegExp told(
                QStringLiteral("(\\[zk::DownloadManager::parseXML\\] )XML parser error: "
                               "(.+)\\|\\1- at (line: \\d+ column: \\d+)"));
            QVERIFY2(told.exactMatch(lines), qPrintable(lines));
            const QString reason =
                expected.contains(QLatin1String("line: ")) ? told.cap(3) : told.cap(2);
            QCOMPARE(QStringLiteral("-> ") + reason, expected);
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
        const QString letters = QStringLiteral("0123456789-+: T.x\u0663");
        for (const QChar letter : letters) {
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
