#include "LogCapture.h"

#include <QTest>
#include <QThread>

#include <algorithm>
#include <iomanip>
#include <memory>
#include <vector>

using zk::Log;
using zk::test::LogCapture;

class tst_Log : public QObject
{
    Q_OBJECT

private slots:
    void writesPrefixFunctionAndValues();
    void buildsNothingWhenOff();
    void keepsFormatFlags();
    void survivesStreamsThatFail();
    void keepsLinesOfThreadsApart();
};

void tst_Log::writesPrefixFunctionAndValues()
{
    std::wostringstream stream;
    Log::instance().setStream(Log::eError, &stream);
    SOFTWAREUPDATE_LOG(Log::eError, "zk::X::y", "path: ", QStringLiteral("Prøve 测试"), ' ', 42);
    Log::instance().setStream(Log::eError, nullptr);
    const QRegExp line(
        QStringLiteral("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3} ERROR 0x[0-9a-f]+ "
                       "\\[zk::X::y\\] path: Prøve 测试 42\n"));
    const QString text = QString::fromStdWString(stream.str());
    QVERIFY2(line.exactMatch(text), qPrintable(text));
}

void tst_Log::buildsNothingWhenOff()
{
    int built = 0;
    const auto text = [&built] {
        ++built;
        return QStringLiteral("text");
    };
    SOFTWAREUPDATE_LOG(Log::eError, "f", text());
    QCOMPARE(built, 0); // no stream at all

    const LogCapture log(Log::eWarning);
    SOFTWAREUPDATE_LOG(Log::eInfo, "f", text());
    QCOMPARE(built, 0); // below the threshold
    SOFTWAREUPDATE_LOG(Log::eWarning, "f", text());
    QCOMPARE(built, 1);
    QCOMPARE(log.lines(Log::eWarning), QStringList{QStringLiteral("[f] text")});

    Log::instance().setLogLevel(Log::eOff);
    SOFTWAREUPDATE_LOG(Log::eError, "f", text());
    QCOMPARE(built, 1);
}

void tst_Log::keepsFormatFlags()
{
    std::wostringstream stream;
    stream << std::hex;
    const std::ios_base::fmtflags flags = stream.flags();
    Log::instance().setStream(Log::eError, &stream);
    SOFTWAREUPDATE_LOG(Log::eError, "f", std::showbase, std::oct, 8);
    Log::instance().setStream(Log::eError, nullptr);
    QCOMPARE(stream.flags(), flags);
}

void tst_Log::survivesStreamsThatFail()
{
    // As std::wcout in the "C" locale: an umlaut cannot be written, the next line must come out
    // again.
    struct AsciiBuffer : std::wstringbuf
    {
        std::streamsize xsputn(const wchar_t* text, std::streamsize size) override
        {
            const bool ascii = std::all_of(text, text + size, [](wchar_t c) { return c < 0x80; });
            return ascii ? std::wstringbuf::xsputn(text, size) : 0;
        }
    };
    AsciiBuffer buffer;
    std::wostream stream(&buffer);
    stream.exceptions(std::ios_base::badbit | std::ios_base::failbit);
    Log::instance().setStream(Log::eError, &stream);
    SOFTWAREUPDATE_LOG(Log::eError, "f", QStringLiteral("Prøve 测试"));
    SOFTWAREUPDATE_LOG(Log::eError, "f", "after");
    Log::instance().setStream(Log::eError, nullptr);
    QVERIFY(stream.good());
    QVERIFY(QString::fromStdWString(buffer.str()).endsWith(QLatin1String("[f] after\n")));
}

void tst_Log::keepsLinesOfThreadsApart()
{
    const LogCapture log;
    std::vector<std::unique_ptr<QThread>> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back(QThread::create([] {
            for (int n = 0; n < 200; ++n) {
                SOFTWAREUPDATE_LOG(Log::eInfo, "f", "one ", "two ", "three");
            }
        }));
        threads.back()->start();
    }
    for (const auto& thread : threads) {
        QVERIFY(thread->wait());
    }
    const QStringList lines = log.lines(Log::eInfo);
    QCOMPARE(lines.size(), 800);
    for (const QString& line : lines) {
        QCOMPARE(line, QStringLiteral("[f] one two three"));
    }
}

QTEST_GUILESS_MAIN(tst_Log)
#include "tst_Log.moc"
