#include "Rows.h"
#include "ZipBuilder.h"

#include "support/Exception.h"
#include "support/Unzipper.h"
#include "support/ZipEntryNames.h"
#include "support/ZipReader.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QStorageInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <memory>

using namespace zk;
using namespace zk::test;

namespace {

using Z = ZipItem;
using Contents = QMap<QString, QByteArray>;

/** Everything below @p folder with its contents; folders end with "/". */
Contents contents(const QString& folder)
{
    Contents result;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString name = path.mid(folder.size() + 1);
        const bool isFolder = it.fileInfo().isDir();
        result.insert(isFolder ? name + u'/' : name, isFolder ? QByteArray() : readFile(path));
    }
    return result;
}

QByteArray noise(int size)
{
    QRandomGenerator random(1);
    QByteArray result(size, '\0');
    std::generate(result.begin(), result.end(), [&] { return char(random.generate()); });
    return result;
}

/** Entries that are called @p prefix and a number. */
ZipBuilder many(int count, const QByteArray& prefix, const QByteArray& data)
{
    ZipBuilder builder;
    for (int i = 0; i < count; ++i) {
        builder.add(entry(prefix + QByteArray::number(i), data, !data.isEmpty()));
    }
    return builder;
}

} // namespace

class tst_Unzipping : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_temp;
    QString m_folder;
    QString m_zip;
    QString m_out;
    QStringList m_done;
    QStringList m_failed;

    qint64 extract(bool overwrite = true, const char* prefix = "", const QRegExp& filter = {})
    {
        ZipReader zip(m_zip, nullptr);
        zip.open(QIODevice::NotOpen);
        return zip.extractFiles(m_out, filter, QLatin1String(prefix), overwrite, zip.fileList());
    }
    QString complaintOfExtracting()
    {
        try {
            extract();
        } catch (const IOException& error) {
            return error.message();
        }
        return u"nothing was thrown"_s;
    }
    std::unique_ptr<Unzipper> makeUnzipper(bool deleteArchive = false)
    {
        auto unzipper = std::make_unique<Unzipper>(m_zip, m_out, deleteArchive);
        connect(unzipper.get(), &Unzipper::unzippingDone, this,
                [this](const QString& folder) { m_done << folder; });
        connect(unzipper.get(), &Unzipper::unzippingFailed, this,
                [this](const QString& message) { m_failed << message; });
        return unzipper;
    }

private slots:
    void init()
    {
        m_temp = std::make_unique<QTemporaryDir>();
        m_folder = m_temp->filePath(u"Prøve & 测试 dir"_s);
        QVERIFY(QDir().mkpath(m_folder));
        m_zip = m_folder + u"/pakke 包.zip"_s;
        m_out = m_folder + u"/new/out"_s;
        m_done.clear();
        m_failed.clear();
    }

    void refusesHostileArchives_data()
    {
        columns<QByteArray, QStringList>("archive", "complaint");
        const auto hostile = [](const char* title, const ZipItem& bad, const char* reason) {
            const QString name = QString::fromUtf8(bad.name).section(QChar(1), 0, 0);
            row(title, ZipBuilder().add("good/first.txt").add(bad).bytes(),
                QStringList{u'\'' + name, QString::fromLatin1(reason)});
        };
        hostile("climbing name", entry("../evil"), "leads out");
        hostile("control byte in code page 437", entry("a\x01z").with(&Z::flags, 0), "control");
        hostile("symbolic link", entry("a").with(&Z::unixMode, 0120777), "special file");
        hostile("named pipe", entry("a").with(&Z::unixMode, 0010644), "special file");
        const ZipItem fromWindows = entry("a").with(&Z::system, 0).with(&Z::unixMode, 0);
        hostile("reparse point", fromWindows.with(&Z::windowsAttributes, 0x400), "special file");
        hostile("folder by mode alone", entry("a").with(&Z::unixMode, 0040755), "by its mode");
        hostile("duplicate", entry("good/first.txt"), "twice");
        hostile("case clash", entry("Good/FIRST.txt"), "twice");
        hostile("file below a file", entry("good/first.txt/below"), "needs a folder");
        hostile("file where a folder is needed", entry("good"), "needs a folder");
        hostile("encrypted", entry("a").with(&Z::flags, 0x801), "encrypted");
        hostile("unknown method", entry("a").with(&Z::method, 93), "unknown method 93");
        for (const QByteArray& data : {QByteArray("evil"), QByteArray(5'000'000, 'x')}) {
            for (const bool deflate : {true, false}) {
                const QByteArray size = QByteArray::number(data.size());
                hostile((size + (deflate ? " packed" : " stored") + ", wrong checksum").constData(),
                        entry("a", data, deflate).with(&Z::crc, 1), "checksum");
            }
        }
        hostile("inflates beyond its size", entry("a").with(&Z::size, 3), "size");
        hostile("inflates to less", entry("a").with(&Z::size, 5), "size");
        hostile("stored with two sizes", entry("a", "evil", false).with(&Z::size, 3), "size");
        hostile("more than the archive has", entry("a").with(&Z::compressedSize, 1U << 30), "size");
        hostile("junk behind the packed bytes", entry("a").with(&Z::junk, "junk"), "size");
        hostile("data that is not deflated",
                entry("a", "\xff\xff\xff\xff", false).with(&Z::method, 8), "inflated");
        hostile("more than deflate can pack", entry("a").with(&Z::size, 100U << 20), "size");
        const ZipItem huge = entry("a", "evil", false).with(&Z::size, ~0ULL).with(&Z::zip64, true);
        hostile("size of 2^64 - 1", huge.with(&Z::compressedSize, ~0ULL), "size");
        const ZipItem shared =
            entry("a", noise(3000), false).with(&Z::size, 5000).with(&Z::compressedSize, 5000);
        const QByteArray bomb = ZipBuilder().add(shared).add(shared.with(&Z::name, "b")).bytes();
        row("bytes of two entries", bomb, QStringList(u"'b' shares its"_s));

        ZipBuilder builder;
        const QByteArray whole = builder.add("first", noise(3000)).add("second").bytes();
        row("empty file", QByteArray(), QStringList());
        row("page instead of an archive", QByteArray("<html>404</html>"), QStringList());
        row("cut in the directory", whole.left(whole.size() - 30), QStringList());
        row("start is missing", whole.mid(500), QStringList());
        row("garbage behind the end", whole + QByteArray(100'000, 'x'), QStringList());
        row("200,001 entries", many(200'001, "", "").bytes(), QStringList(u"more than 200000"_s));
        row("a directory of 33 MB", many(560, QByteArray(60'000, 'x'), "").bytes(),
            QStringList(u"too large"_s));
        builder.claimedEntries = 4'000'000'000;
        row("claims four thousand million entries", builder.bytes(), QStringList());
    }
    void refusesHostileArchives()
    {
        QFETCH(QByteArray, archive);
        QFETCH(QStringList, complaint);
        writeFile(m_zip, archive);
        const QString message = complaintOfExtracting();
        complaint << u"pakke 包.zip"_s;
        for (const QString& part : qAsConst(complaint)) {
            QVERIFY2(message.contains(part), qPrintable(message));
        }
        QCOMPARE(contents(m_folder).keys(), QStringList(u"pakke 包.zip"_s));
    }

    void checksTheSpaceBeforeItWrites()
    {
        const qint64 space = QStorageInfo(m_folder).bytesAvailable();
        const ZipItem large =
            entry("large").with(&Z::zip64, true).with(&Z::size, space / 100 * 102);
        ZipBuilder builder;
        builder.zip64End = true;
        builder.hole = space / 1000;
        builder.add("first").add(large.with(&Z::compressedSize, space / 1000)).write(m_zip);
        QVERIFY(complaintOfExtracting().contains(u"'large' does not fit"_s));
        QVERIFY(!QFile::exists(m_out));
    }

    void judgesNames()
    {
        const QStringList safe =
            lines("a/b/\na.b.c/.hidden\n a/b c\na..b/c\n...a\nCONSOLE\nCOM10\nlpt.txt\n"
                  "測試/Prøve.txt\nc++/x&y (1).txt");
        for (const QString& name : safe) {
            QVERIFY2(entryNameComplaint(name).isEmpty(), qPrintable(name));
        }
        const QStringList hostile =
            lines("/\n/a\n//server/share\n\\\\server\\share\n..\na/..\na/../b\na/./b\na//b\n"
                  "c:\nc:a\na:b\na/b:c\na\\b\nCON\nnul\nNUL.txt\na/Com1.tar.gz\nprn /b\naux .c\n"
                  "COM²\nlpt9\nconin$\na.\na /b\na./b\na\tb\na\x7f\na\xc2\x85\na*\na?b\na|b\n<b>\n"
                  "a\"")
            << QString() << QString(2000, u'a') << u"a/"_s.repeated(200);
        for (const QString& name : hostile) {
            QVERIFY2(!entryNameComplaint(name).isEmpty(), qPrintable(name));
        }
    }

    void extractsWhatWasPacked()
    {
        // Small ones are read ahead by another thread, in batches that large ones end.
        const ZipItem tool = entry("bin/tool", noise(5'000'000))
                                 .with(&Z::unixMode, 0100755)
                                 .with(&Z::extra, QByteArray("UT\x05\x00\x01\x78\x56\x34\x52", 9));
        const ZipItem stored =
            entry("stored", tool.data, false).with(&Z::unixMode, 0).with(&Z::zip64, true);
        const QString deep = QString(230, u'd') + u'/';
        ZipBuilder builder;
        builder.zip64End = true;
        builder.add("./").add("empty/").add(tool).add("small").add(stored).add("./none", "");
        builder.add(entry("Pr\x9bve").with(&Z::flags, 0))
            .add(entry("测试", "").with(&Z::flags, 0)) // as Java's own tool has it
            .add(deep.toLatin1() + "file")
            .write(m_zip);
        QCOMPARE(extract(), qint64(10'000'012));
        const Contents expected{
            {u"bin/"_s, {}},      {u"bin/tool"_s, tool.data}, {u"empty/"_s, {}},    {u"none"_s, {}},
            {u"small"_s, "data"}, {u"stored"_s, tool.data},   {u"Pr¢ve"_s, "evil"}, {u"测试"_s, {}},
            {deep, {}},           {deep + u"file"_s, "data"}};
        QVERIFY(contents(m_out) == expected);
        const QFileInfo toolInfo(m_out + u"/bin/tool"_s);
        const QFileInfo storedInfo(m_out + u"/stored"_s);
        QCOMPARE(toolInfo.lastModified().toSecsSinceEpoch(), qint64(0x52345678));
        QCOMPARE(storedInfo.lastModified(), QDateTime(QDate(2022, 1, 1), QTime(12, 0)));
#ifdef Q_OS_UNIX
        QVERIFY(toolInfo.isExecutable() && !storedInfo.isExecutable());
#endif
    }

    void selectsAndStripsEntries()
    {
        const QRegExp texts(u"*.txt"_s, Qt::CaseSensitive, QRegExp::Wildcard);
        ZipBuilder().add("app/a.txt", "aa").add("app/b.dll").add("c.txt", "cc").write(m_zip);
        QCOMPARE(extract(false, "app/", texts), qint64(4));
        QCOMPARE(contents(m_out).keys(), lines("a.txt\nc.txt"));
        QCOMPARE(extract(false, "", QRegExp(u"txt"_s)), qint64(0)); // a part of names

        m_out += u"/more"_s;
        ZipBuilder().add("x/y").add("y").write(m_zip);
        for (const char* prefix : {"x", "x/"}) { // leave "/y" and two "y"
            QVERIFY_EXCEPTION_THROWN(extract(true, prefix), IOException);
        }
        QVERIFY(!QFile::exists(m_out));
    }

    void keepsOrReplacesExistingFiles()
    {
        ZipBuilder builder;
        builder.add("old", "2").add("made/file").add("kept/file").write(m_zip);
        QVERIFY(QDir().mkpath(m_out + u"/kept"_s));
        writeFile(m_out + u"/old"_s, "precious");
        const Contents before = contents(m_out);
        QVERIFY_EXCEPTION_THROWN(extract(false), IOException);
        QCOMPARE(contents(m_out), before);
        ZipBuilder(builder).add(entry("z").with(&Z::crc, 1)).write(m_zip);
        QVERIFY_EXCEPTION_THROWN(extract(), IOException);
        QCOMPARE(contents(m_out), before);
        builder.write(m_zip);
        extract();
        QCOMPARE(readFile(m_out + u"/old"_s), QByteArray("2"));
#ifdef Q_OS_UNIX
        const QString outside = m_folder + u"/outside"_s;
        QVERIFY(QDir().mkpath(outside) && QDir(m_out + u"/made"_s).removeRecursively());
        QVERIFY(QFile::link(outside, m_out + u"/made"_s));
        QVERIFY_EXCEPTION_THROWN(extract(), IOException);
        QVERIFY(QDir(outside).isEmpty());
#endif
    }

    void tellsProgressAndAbortsWithoutTrace()
    {
        ZipBuilder().add("first").add("big", noise(200'000)).add("none", "").write(m_zip);
        for (const qint64 limit : {0, 100'000, 200'004, 200'005}) { // the last is never reached
            ZipReader reader(m_zip, nullptr);
            QVERIFY(reader.open(QIODevice::NotOpen));
            QVector<qint64> steps;
            qint64 told = 0;
            connect(&reader, &ZipReader::writeBytes, this, [&](qint64 bytes) {
                steps << bytes;
                told += bytes;
                if (told >= limit) {
                    reader.abort();
                }
            });
            const qint64 written = reader.extractFiles(m_out, {}, {}, true, reader.fileList());
            QCOMPARE(written, told);
            const bool isWhole = limit == 200'005;
            QVERIFY(isWhole ? steps == QVector<qint64>({4, 65536, 65536, 65536, 3392, 0})
                            : told >= limit);
            QVERIFY(reader.isComplete() == isWhole && reader.isAborted() != isWhole);
            QCOMPARE(QFile::exists(m_folder + u"/new"_s), isWhole);
        }
    }

    void extractsManyEntries()
    {
        many(65'537, "d/", "x").write(m_zip);
        ZipReader reader(m_zip, nullptr);
        QVERIFY(reader.open(QIODevice::NotOpen));
        QCOMPARE(reader.fileList().size(), 65'537);
        QCOMPARE(reader.extractFiles(m_out, {}, {}, true, reader.fileList().mid(65'535)), 2LL);
        QCOMPARE(contents(m_out).keys(), lines("d/\nd/65535\nd/65536"));
    }

    void loadsBatchesSideBySide()
    {
        many(600, "d/", noise(20'000)).write(m_zip);
        QCOMPARE(extract(), qint64(12'000'000));
    }

    void agreesWithOtherTools_data()
    {
        columns<QString>("command");
        row("zip", "zip -qr ../tools.zip .");
        row("zip, stored and to a pipe", "zip -q0r - . | cat > ../tools.zip");
        row("7z", "7z a -tzip ../tools.zip .");
    }
    void agreesWithOtherTools()
    {
        QFETCH(QString, command);
        const QString tool = command.section(u' ', 0, 0);
        if (QStandardPaths::findExecutable(tool).isEmpty() ||
            QStandardPaths::findExecutable(u"unzip"_s).isEmpty()) {
            QTest::qSkip("not installed", __FILE__, __LINE__); // clang misses QSKIP's arguments
            return;
        }
        const QDir tree(m_folder + u"/tree"_s);
        QVERIFY(tree.mkpath(u"sub folder/测试"_s) && tree.mkpath(u"empty"_s));
        writeFile(tree.filePath(u"sub folder/测试/ø.bin"_s), noise(100'000));
        writeFile(tree.filePath(u"text.txt"_s), QByteArray("text ").repeated(50'000));
        writeFile(tree.filePath(u"none"_s), {});
        m_zip = m_folder + u"/tools.zip"_s;
        QProcess process;
        process.setWorkingDirectory(tree.path());
        const auto run = [&process](const QString& line) {
            process.start(u"sh"_s, {u"-c"_s, line});
            return process.waitForFinished() && process.exitCode() == 0;
        };
        QVERIFY(run(command));
        extract();
        QVERIFY(run(u"unzip -q ../tools.zip -d ../unzipped"_s));
        QCOMPARE(contents(m_out), contents(m_folder + u"/unzipped"_s));
        QCOMPARE(contents(m_out), contents(tree.path()));
    }

    void announcesInTheCreatorsThreadAfterALateConnect()
    {
        ZipBuilder().add("a").write(m_zip);
        Unzipper* const unzipper = makeUnzipper().release();
        QVERIFY(unzipper->wait()); // all done before anybody listens
        connect(
            unzipper, &Unzipper::unzippingDone, this,
            [this, unzipper] {
                m_done << (QThread::currentThread() == thread() ? u"here"_s : QString());
                unzipper->cancel(); // too late to change anything
                delete unzipper;
            },
            Qt::DirectConnection);
        QTRY_COMPARE(m_done, QStringList() << m_out << u"here"_s);
        QCoreApplication::processEvents();
        QCOMPARE(m_done.size() + m_failed.size(), 2);
        QVERIFY(QFile::exists(m_zip));
    }

    void deletesTheArchiveOnlyAfterSuccess()
    {
        for (const bool isGood : {false, true}) {
            ZipBuilder().add("a").add(isGood ? "good" : "../evil").write(m_zip);
            const auto unzipper = makeUnzipper(true);
            connect(unzipper.get(), &Unzipper::unzippingDone, this,
                    [this] { QVERIFY(!QFile::exists(m_zip)); });
            unzipper->removeZipFile(); // too early
            QVERIFY(QFile::exists(m_zip));
            QTRY_COMPARE(m_failed.size(), 1);
            QTRY_COMPARE(m_done.size(), isGood ? 1 : 0);
            QVERIFY(QFile::exists(m_out) == isGood && QFile::exists(m_zip) != isGood);
        }
        QVERIFY2(m_failed[0].contains(u"'../evil"_s), qPrintable(m_failed[0]));
    }

    void staysSilentWhenDestroyed()
    {
        ZipBuilder().add("a").write(m_zip);
        auto unzipper = makeUnzipper();
        QVERIFY(unzipper->wait()); // its answer is in the queue
        unzipper.reset();
        QVERIFY(QFile::exists(m_out));
        many(20'000, "d/", "x").write(m_zip);
        m_out += u"/large"_s;
        unzipper = makeUnzipper();
        // No event loop: the work must not get far.
        while (!QFile::exists(m_out) && unzipper->isRunning()) {
            QThread::yieldCurrentThread();
        }
        QVERIFY(QFile::exists(m_out));
        unzipper.reset();
        QVERIFY(!QFile::exists(m_out));
        QCoreApplication::processEvents();
        QCOMPARE(m_done + m_failed, QStringList());
        unzipper = makeUnzipper();
        unzipper->cancel();
        QTRY_COMPARE(m_failed.filter(u"cancelled"_s).size(), 1);
        QVERIFY(m_done.isEmpty() && !QFile::exists(m_out) && QFile::exists(m_zip));
    }
};

QTEST_GUILESS_MAIN(tst_Unzipping)
#include "tst_Unzipping.moc"
