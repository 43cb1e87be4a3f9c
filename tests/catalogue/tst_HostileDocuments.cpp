#include "LogCapture.h"
#include "Rows.h"

#include "catalogue/DocumentParser.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QTest>

using namespace zk;

namespace {

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
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const QByteArray text = status.readAll();
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
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

class tst_HostileDocuments : public QObject
{
    Q_OBJECT

private slots:
    void areAnsweredAtOnce_data();
    void areAnsweredAtOnce();
    void limitsAreWhatTheySay_data();
    void limitsAreWhatTheySay();
};

void tst_HostileDocuments::areAnsweredAtOnce_data()
{
    test::columns<QByteArray, QString>("bytes", "error"); // empty: read, whatever comes of it

    const QString entity = QStringLiteral("entity declarations are not allowed");
    const QString deep = QStringLiteral("elements are nested too deeply");
    const QString inherited = QStringLiteral("packages inherit too many values");

    test::row("one large entity used 20,000 times",
              QByteArray("<!DOCTYPE a [<!ENTITY x \"") + QByteArray(100000, 'x') + "\">]><a>" +
                  QByteArray("&x;").repeated(20000) + "</a>",
              entity);
    test::row(
        "nested entities",
        QByteArray(
            "<!DOCTYPE a [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;\">]><a>&b;</a>"),
        entity);
    test::row("parameter entity", QByteArray("<!DOCTYPE a [<!ENTITY % p \"x\">]><a/>"), entity);
    test::row("external entity",
              QByteArray("<!DOCTYPE a [<!ENTITY x SYSTEM \"file:///etc/passwd\">]><a>&x;</a>"),
              entity);
    test::row(
        "unparsed entity",
        QByteArray("<!DOCTYPE a [<!NOTATION n SYSTEM \"n\"><!ENTITY x SYSTEM \"x\" NDATA n>]><a/>"),
        entity);
    test::row("several document types", QByteArray("<!DOCTYPE a><!DOCTYPE b><a/>"), QString());
    test::row("100,000 nested sets",
              QByteArray("<package-set>").repeated(100000) +
                  QByteArray("</package-set>").repeated(100000),
              deep);
    test::row("nested parentheses",
              QByteArray("<!DOCTYPE a [<!ELEMENT a ") + QByteArray(documentSize, '(') + ">]><a/>",
              QString());
    test::row("a million elements", filled("<a>", "<b/>", "</a>"), QString());
    // A walk up the ancestors for every key of every package took 52 s for 20,000 of them.
    test::row("400,000 packages", filled("<a>", "<package/>", "</a>"), QString());
    test::row("400,000 packages below a root called like a value",
              filled("<name>", "<package/>", "</name>"), QString());
    test::row("300,000 sets side by side", filled("<a>", "<package-set/>", "</a>"), QString());
    test::row("elements full of attributes",
              filled("<a>", "<b " + numbered("a%d=\"\" ", 60) + "/>", "</a>"), QString());
    test::row("one element with 300,000 attributes", "<a " + numbered("a%d=\"\" ", 300000) + "/>",
              QString());
    test::row(
        "100,000 prefixes",
        filled("<a " + numbered("xmlns:a%d=\"b\" ", 100000) + ">", "<a xmlns:b=\"c\"/>", "</a>"),
        QString());
    test::row("undeclared entities", filled("<a>", "&b;", "</a>"), QString());
    test::row("comments in a text",
              filled("<a><package><name>", "x<!---->", "</name></package></a>"), QString());
    test::row("many inherited links",
              filled("<a>" + QByteArray("<readme url=\"a\"/>").repeated(100000),
                     "<package><readme url=\"b\"/></package>", "</a>"),
              inherited);
    test::row("many inherited words",
              filled("<a platform=\"" + numbered("%x ", 300000) + "\">",
                     "<package platform=\"a\"/>", "</a>"),
              inherited);
    test::row("a long inherited url",
              filled("<a base-url=\"" + QByteArray(1000000, 'x') + "\">", "<package/>", "</a>"),
              inherited);
    test::row("a long url that links fall back to",
              filled("<a url=\"" + QByteArray(1000000, 'x') + "\">", "<package><readme/></package>",
                     "</a>"),
              inherited);
    test::row("a name of 4 million characters",
              "<a><package name=\"" + QByteArray(4000000, 'x') + "\"/></a>", QString());
    test::row("NUL characters", "<a>" + QByteArray(4000000, '\0') + "</a>", QString());
    test::row("invalid UTF-8", "<a><package name=\"" + QByteArray(4000000, '\xff') + "\"/></a>",
              QString());
}

void tst_HostileDocuments::areAnsweredAtOnce()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, error);
    const test::LogCapture log(Log::eWarning);
    QBuffer buffer(&bytes);
    QVERIFY(buffer.open(QIODevice::ReadOnly));
    takePeakMemory();
    const int before = takePeakMemory();
    QElapsedTimer timer;
    timer.start();
    const PackageInfoList packages = UpdateDocument::parse(&buffer);
    const qint64 elapsed = timer.elapsed();
    const int grown = takePeakMemory() - before;
    QVERIFY2(elapsed < 2000LL * allowance, qPrintable(QStringLiteral("%1 ms").arg(elapsed)));
    QVERIFY2(grown < 300 * allowance, qPrintable(QStringLiteral("%1 MiB").arg(grown)));
    if (!error.isEmpty()) {
        QVERIFY(packages.isEmpty());
        QVERIFY2(log.has(Log::eWarning, QStringLiteral("XML parser error: ") + error),
                 qPrintable(log.lines(Log::eWarning).join(QLatin1Char('\n'))));
    }
}

void tst_HostileDocuments::limitsAreWhatTheySay_data()
{
    test::columns<QByteArray, QByteArray>("fits", "exceeds");
    const auto nested = [](int depth) {
        return QByteArray("<package-set>").repeated(depth - 1) + "<package/>" +
               QByteArray("</package-set>").repeated(depth - 1);
    };
    test::row("depth", nested(1000), nested(1001));
    const auto counted = [](int elements) {
        return "<a>" + QByteArray("<b c=\"\"/>").repeated(elements / 2 - 1) + "<package/></a>";
    };
    test::row("elements and attributes", counted(2000), counted(2002));
    const auto sized = [](int bytes) {
        return "<a><package/>" + QByteArray(bytes - 17, ' ') + "</a>";
    };
    test::row("bytes", sized(20000), sized(20001));
}

void tst_HostileDocuments::limitsAreWhatTheySay()
{
    QFETCH(QByteArray, fits);
    QFETCH(QByteArray, exceeds);
    UpdateDocument::DocumentLimits limits;
    limits.elementsAndAttributes = 2000;
    limits.bytes = qstrcmp(QTest::currentDataTag(), "bytes") == 0 ? 20000 : limits.bytes;
    QBuffer small(&fits);
    QBuffer large(&exceeds);
    QVERIFY(small.open(QIODevice::ReadOnly) && large.open(QIODevice::ReadOnly));
    QCOMPARE(UpdateDocument::parse(&small, limits).size(), 1);
    const test::LogCapture log(Log::eWarning);
    QVERIFY(UpdateDocument::parse(&large, limits).isEmpty());
    QCOMPARE(log.lines(Log::eWarning).size(), 2);
}

QTEST_GUILESS_MAIN(tst_HostileDocuments)
#include "tst_HostileDocuments.moc"
