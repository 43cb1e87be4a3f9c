#include "Environment.h"
#include "Files.h"
#include "LogCapture.h"

#include "support/DiskSpace.h"
#include "support/FileUtils.h"
#include "support/StringUtils.h"
#include "trust/EntryName.h"

#include <QTest>

using namespace zk;

class tst_SupportUtilities : public QObject
{
    Q_OBJECT

private slots:
    void knowsDeviceNames()
    {
        for (const char* name : {"con", "NUL.txt", "Prn .tar.gz", "aux ", "clock$", "conin$.a",
                                 "CONOUT$", "com0", "LPT9.zip", "com\u00b2", "lpt\u00b9.exe"}) {
            QVERIFY2(trust::isDeviceName(name), name);
        }
        for (const char* name : {"", ".con", "a.con", "console", "com", "com10", "coma", "lpt.txt",
                                 "conin", "co m1"}) {
            QVERIFY2(!trust::isDeviceName(name), name);
        }
    }

    void writesPrefixFunctionAndValues()
    {
        // As std::wcout in the "C" locale: an umlaut cannot be written, the next line must come
        // out.
        struct AsciiBuffer : std::wstringbuf
        {
            int flushes = 0;
            int sync() override { return ++flushes > 0 ? 0 : -1; }
            std::streamsize xsputn(const wchar_t* text, std::streamsize n) override
            {
                const auto isAscii = [](wchar_t c) { return c < 0x80; };
                return std::all_of(text, text + n, isAscii) ? std::wstringbuf::xsputn(text, n) : 0;
            }
        };
        AsciiBuffer buffer;
        std::wostream stream(&buffer);
        stream.exceptions(std::ios_base::badbit | std::ios_base::failbit);
        const std::ios_base::fmtflags flags = stream.flags();
        Log::instance().setStream(Log::eError, &stream);
        SOFTWAREUPDATE_LOG(Log::eError, "f", u"Prøve"_s);
        buffer.str({});
        SOFTWAREUPDATE_LOG(Log::eError, "zk::X::y", "a: ", u"b"_s, ' ', std::hex, 42);
        Log::instance().setStream(Log::eError, nullptr);
        QCOMPARE(buffer.flushes, 2); // or a crash would take the last lines with it
        QVERIFY(stream.good());
        QCOMPARE(stream.flags(), flags);
        const QRegExp line(u"\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3} ERROR 0x[0-9a-f]+ "
                           "\\[zk::X::y\\] a: b 2a\n"_s);
        const QString text = QString::fromStdWString(buffer.str());
        QVERIFY2(line.exactMatch(text), qPrintable(text));
    }

    void buildsNothingWhenOff()
    {
        int built = 0;
        const test::LogCapture log(Log::eWarning);
        SOFTWAREUPDATE_LOG(Log::eInfo, "f", ++built);
        SOFTWAREUPDATE_LOG(Log::eWarning, "f", ++built);
        QCOMPARE(log.lines(Log::eWarning), QStringList{u"[f] 1"_s});
    }

    void splitsWords()
    {
        const auto split = [](const QString& text) {
            return StringUtils::splitStringSet(text, StringUtils::splitWords,
                                               SplitBehavior(Qt::SkipEmptyParts));
        };
        QCOMPARE(split(u" de_DE, zh-Hans;\tfr|fr  "_s), (QSet{u"de_DE"_s, u"zh-Hans"_s, u"fr"_s}));
        for (ushort c = 1; c < 0xd800; ++c) { // the short cut for this expression agrees with it
            const QString text = u"a%1b"_s.arg(QChar(c));
            QCOMPARE(split(text).size(), StringUtils::splitWords.indexIn(text) >= 0 ? 2 : 1);
        }
    }

    void addsUpWhatFilesTake()
    {
        QVERIFY(diskSpaceAt(QDir::tempPath() + u"/not/made yet"_s));
        const DiskSpace threeBlocks{12'288, 4096};
        QVERIFY(!firstBeyond({1, 0, 4096, 4095}, threeBlocks));
        QCOMPARE(firstBeyond({1, 4096, 4097}, threeBlocks), std::optional<std::size_t>(2));
    }

    void erasesOnlyWhatIsNamed()
    {
        const QDir dir(FileUtils::createTempDir());
        QVERIFY(dir.isEmpty() && dir.mkpath(u"tree/sub"_s));
        const QString file = dir.filePath(u"tree/sub/file"_s);
        test::writeFile(file, "x");
        const QString oldFolder = QDir::currentPath();
        QVERIFY(QDir::setCurrent(dir.path()));
        for (const QString& path :
             {QString(), u"tree"_s, QDir::rootPath(), dir.filePath(u"missing"_s)}) {
            QVERIFY2(!FileUtils::erase(path), qPrintable(path));
        }
        QVERIFY(QDir::setCurrent(oldFolder));
#ifdef Q_OS_UNIX
        QVERIFY(QFile::link(dir.filePath(u"tree"_s), dir.path() + u"/link"_s));
        QVERIFY(FileUtils::erase(dir.filePath(u"link"_s)));
#endif
        QVERIFY(QFile::exists(file));
        QVERIFY(FileUtils::erase(dir.path()) && !dir.exists());
        const test::ScopedTemporaryFolder missing{dir.path()};
        QCOMPARE(FileUtils::createTempDir(), QString());
    }
};

QTEST_GUILESS_MAIN(tst_SupportUtilities)
#include "tst_SupportUtilities.moc"
