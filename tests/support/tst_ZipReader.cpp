#include "Rows.h"
#include "ZipBuilder.h"

#include "support/Exception.h"
#include "support/ZipEntryNames.h"
#include "support/ZipReader.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>
#include <numeric>

using namespace zk;
using namespace zk::test;

namespace {

/** Everything below @p folder with its contents; folders end with "/". */
QMap<QString, QByteArray> contents(const QString& folder)
{
    QMap<QString, QByteArray> result;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const bool isFolder = it.fileInfo().isDir();
        const QString name = path.mid(folder.size() + 1);
        result.insert(isFolder ? name + QLatin1Char('/') : name,
                      isFolder ? QByteArray() : readFile(path));
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

/** A text that starts like the archive of all hostile kinds: the good file must not stay behind. */
ZipItem bad(const QByteArray& name)
{
    ZipItem item;
    item.name = name;
    item.data = "evil";
    return item;
}

} // namespace

class tst_ZipReader : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void refusesHostileArchives_data();
    void refusesHostileArchives();
    void refusesWhatIsNoArchive_data();
    void refusesWhatIsNoArchive();
    void judgesNames();
    void extractsWithTimesAndModes();
    void extractsLargeAmongSmall();
    void readsNamesInBothEncodings();
    void selectsAndStripsEntries();
    void refusesNamesThatAPrefixMakesHostile();
    void keepsOrReplacesExistingFiles();
    void doesNotFollowPlantedLinks();
    void reportsProgressInSmallSteps();
    void abortsWithoutTrace();
    void refusesOtherModes();
    void extractsManyEntries();
    void extractsLongPaths();
    void agreesWithOtherTools_data();
    void agreesWithOtherTools();

private:
    qint64 extract(bool overwrite = true);

    std::unique_ptr<QTemporaryDir> m_temp;
    QString m_folder;
    QString m_zip;
    QString m_out;
};

void tst_ZipReader::init()
{
    m_temp = std::make_unique<QTemporaryDir>();
    m_folder = m_temp->filePath(QStringLiteral("Prøve & 测试 dir"));
    QVERIFY(QDir().mkpath(m_folder));
    m_zip = m_folder + QStringLiteral("/pakke 包.zip");
    m_out = m_folder + QStringLiteral("/new/out");
}

qint64 tst_ZipReader::extract(bool overwrite)
{
    ZipReader reader(m_zip, nullptr);
    reader.open(QIODevice::NotOpen);
    return reader.extractFiles(m_out, QRegExp(), QString(), overwrite, reader.fileList());
}

void tst_ZipReader::refusesHostileArchives_data()
{
    columns<QByteArray, QString, QString>("archive", "named", "reason");
    const auto leave = [](ZipItem& /*item*/) {};
    const auto hostile = [](const char* title, const char* name, const char* reason, auto change) {
        ZipItem item = bad(name);
        change(item);
        row(title, ZipBuilder().add("good/first.txt").add(item).bytes(),
            QString::fromUtf8(name).section(QLatin1Char('\x01'), 0, 0), reason);
    };
    hostile("climbing name", "../evil", "leads out", leave);
    hostile("backslash name", "..\\evil", "backslash", leave);
    hostile("drive name", "C:/evil", "drive", leave);
    hostile("control byte in code page 437", "a\x01z", "control character",
            [](ZipItem& item) { item.flags = 0; });
    for (const quint32 mode : {0120777U, 0010644U}) {
        hostile(mode == 0120777U ? "symbolic link" : "named pipe", "link", "special file",
                [mode](ZipItem& item) { item.unixMode = mode; });
    }
    hostile("Windows reparse point", "junction", "special file", [](ZipItem& item) {
        item.system = 0;
        item.unixMode = 0;
        item.windowsAttributes = 0x400;
    });
    const auto folderMode = [](ZipItem& item) { item.unixMode = 0040755; };
    hostile("folder by mode alone", "folder", "folder by its mode", folderMode);
    hostile("folder with contents", "folder/", "size", folderMode);
    hostile("duplicate", "good/first.txt", "twice", leave);
    hostile("case clash", "Good/FIRST.txt", "twice", leave);
    hostile("file below a file", "good/first.txt/below", "needs a folder", leave);
    hostile("file where a folder is needed", "good", "needs a folder", leave);
    hostile("encrypted", "secret", "encrypted", [](ZipItem& item) { item.flags |= 1; });
    hostile("unknown method", "modern", "unknown method 93",
            [](ZipItem& item) { item.method = 93; });
    for (const int size : {4, 0, 5'000'000}) {
        for (const bool deflate : {true, false}) {
            const QByteArray title = QByteArray::number(size) + " bytes with a wrong checksum" +
                                     (deflate ? "" : ", stored");
            hostile(title.constData(), "broken", "checksum", [=](ZipItem& item) {
                item.data = QByteArray(size, 'x');
                item.deflate = deflate;
                item.crc = 1;
            });
        }
    }
    hostile("inflates beyond its size", "short", "size", [](ZipItem& item) { item.size = 3; });
    hostile("inflates to less", "long", "size", [](ZipItem& item) { item.size = 5; });
    hostile("stored with two sizes", "stored", "size", [](ZipItem& item) {
        item.deflate = false;
        item.size = 3;
    });
    hostile("more packed bytes than the archive has", "more", "size",
            [](ZipItem& item) { item.compressedSize = 1U << 30; });
    hostile("junk behind the packed bytes", "junk", "size",
            [](ZipItem& item) { item.junk = "junk"; });
    hostile("data that is not deflated", "garbage", "inflated", [](ZipItem& item) {
        item.data = "\xff\xff\xff\xff";
        item.deflate = false;
        item.method = 8;
    });
    hostile("declares more than deflate can pack", "beyond", "size",
            [](ZipItem& item) { item.size = 100U << 20; });
    hostile("size of 2^64 - 1", "huge", "size", [](ZipItem& item) {
        item.zip64 = true;
        item.size = item.compressedSize = ~0ULL;
        item.deflate = false;
    });
}

void tst_ZipReader::refusesHostileArchives()
{
    QFETCH(QByteArray, archive);
    QFETCH(QString, named);
    QFETCH(QString, reason);
    writeFile(m_zip, archive);
    try {
        extract();
        QFAIL("nothing was thrown");
    } catch (const IOException& error) {
        QVERIFY2(error.message().contains(QStringLiteral("pakke 包.zip")), error.what());
        QVERIFY2(error.message().contains(QLatin1Char('\'') + named), error.what());
        QVERIFY2(error.message().contains(reason), error.what());
    }
    QCOMPARE(contents(m_folder).keys(), QStringList(QStringLiteral("pakke 包.zip")));
}

void tst_ZipReader::refusesWhatIsNoArchive_data()
{
    columns<QByteArray>("archive");
    ZipBuilder builder;
    builder.add("first", noise(3000)).add("second");
    const QByteArray whole = builder.bytes();
    row("empty file", QByteArray());
    row("page instead of an archive", QByteArray("<html>404</html>"));
    row("cut in the directory", whole.left(whole.size() - 30));
    row("cut in the data", whole.left(1000));
    row("start is missing", whole.mid(500));
    row("garbage behind the end", whole + QByteArray(100'000, 'x'));
    builder.claimedEntries = 3;
    row("claims an entry more", builder.bytes());
    builder.claimedEntries = 4'000'000'000;
    row("claims four thousand million entries", builder.bytes());
}

void tst_ZipReader::refusesWhatIsNoArchive()
{
    QFETCH(QByteArray, archive);
    writeFile(m_zip, archive);
    QVERIFY_EXCEPTION_THROWN(extract(), IOException);
    QVERIFY(!QFile::exists(m_folder + QStringLiteral("/new")));
    QVERIFY(QFile::remove(m_zip));
    QVERIFY_EXCEPTION_THROWN(extract(), IOException);
}

void tst_ZipReader::judgesNames()
{
    const QStringList safe =
        lines("a\na/b/\na.b.c/.hidden\n a/b c\na..b/c\n...a\nCONSOLE\nCOM10\ncom\nlpt.txt\n"
              "測試/Prøve.txt\nc++/x&y (1).txt");
    for (const QString& name : safe) {
        QVERIFY2(entryNameComplaint(name).isEmpty(), qPrintable(name));
    }
    const QStringList hostile =
        lines("/\n/a\n//server/share\n\\\\server\\share\n..\n../a\na/..\na/../b\na/./b\n.\n"
              "a//b\na/b//\nc:\nc:a\na:b\na/b:c\na\\b\nCON\nnul\nNUL.txt\na/Com1.tar.gz\n"
              "prn /b\naux .c\nCOM²\nlpt9\nconin$\na.\na /b\na./b\na\tb\na\x7f\na\xc2\x85\n"
              "a*\na?b\na|b\n<b>\na\"")
        << QString() << QString(2000, QLatin1Char('a')) << QStringLiteral("a/").repeated(200);
    for (const QString& name : hostile) {
        QVERIFY2(!entryNameComplaint(name).isEmpty(), qPrintable(name));
    }
}

void tst_ZipReader::extractsWithTimesAndModes()
{
    ZipItem tool;
    tool.name = "bin/tool";
    tool.data = noise(200'000);
    tool.unixMode = 0100755;
    tool.extra = QByteArray("UT\x05\x00\x01\x78\x56\x34\x52", 9);
    ZipItem stored = tool;
    stored.name = "stored";
    stored.deflate = false;
    stored.unixMode = 0;
    stored.extra.clear();
    stored.zip64 = true;
    ZipBuilder builder;
    builder.zip64End = true;
    builder.add("./").add("empty/").add(tool).add(stored).add("./none", QByteArray()).write(m_zip);

    QCOMPARE(extract(), qint64(400'000));
    const QMap<QString, QByteArray> expected{{QStringLiteral("empty/"), {}},
                                             {QStringLiteral("bin/"), {}},
                                             {QStringLiteral("bin/tool"), tool.data},
                                             {QStringLiteral("stored"), tool.data},
                                             {QStringLiteral("none"), {}}};
    QCOMPARE(contents(m_out), expected);
    const QFileInfo toolInfo(m_out + QStringLiteral("/bin/tool"));
    const QFileInfo storedInfo(m_out + QStringLiteral("/stored"));
    QCOMPARE(toolInfo.lastModified().toSecsSinceEpoch(), qint64(0x52345678));
    QCOMPARE(storedInfo.lastModified(), QDateTime(QDate(2022, 1, 1), QTime(12, 0)));
#ifdef Q_OS_UNIX
    QVERIFY(toolInfo.isExecutable());
    QVERIFY(!storedInfo.isExecutable());
#endif
}

void tst_ZipReader::extractsLargeAmongSmall()
{
    // Small ones are read ahead by another thread, in batches that large ones end.
    ZipBuilder builder;
    QMap<QString, QByteArray> expected;
    const QByteArray large = noise(5'000'000);
    const auto add = [&](const char* name, const QByteArray& data, bool deflate) {
        ZipItem item;
        item.name = name;
        item.data = data;
        item.deflate = deflate;
        builder.add(item);
        expected.insert(QString::fromLatin1(name), data);
    };
    add("large first", large, true);
    add("small", large.left(1), true);
    add("half", large.left(3'000'000), false);
    add("other half", large.mid(1'000'000, 3'000'000), true);
    add("large, stored", large, false);
    add("large again", large + large, true);
    add("last", large.right(7), false);
    builder.write(m_zip);
    QCOMPARE(extract(), qint64(26'000'008));
    QVERIFY(contents(m_out) == expected);
}

void tst_ZipReader::readsNamesInBothEncodings()
{
    ZipItem old = bad("Pr\x9bve");
    old.flags = 0;
    ZipBuilder().add("测试/ø").add(old).write(m_zip);
    ZipReader reader(m_zip, nullptr);
    QVERIFY(reader.open(QIODevice::NotOpen));
    QCOMPARE(reader.fileList(), QStringList({QStringLiteral("测试/ø"), QStringLiteral("Pr¢ve")}));
}

void tst_ZipReader::selectsAndStripsEntries()
{
    ZipBuilder()
        .add("app/")
        .add("app/a.txt", "aa")
        .add("app/b.dll", "bbb")
        .add("c.txt", "cccc")
        .write(m_zip);
    ZipReader reader(m_zip, nullptr);
    QVERIFY(reader.open(QIODevice::ReadOnly));
    const QStringList all = reader.fileList();
    QCOMPARE(reader.uncompressedSize(all), qint64(9));
    QCOMPARE(reader.uncompressedSize({QStringLiteral("c.txt"), QStringLiteral("missing")}),
             qint64(4));
    const QRegExp texts(QStringLiteral("*.txt"), Qt::CaseSensitive, QRegExp::Wildcard);
    QCOMPARE(reader.extractFiles(m_out, texts, QStringLiteral("app/"), false, all), qint64(6));
    QCOMPARE(contents(m_out).keys(),
             QStringList({QStringLiteral("a.txt"), QStringLiteral("c.txt")}));
    QVERIFY(reader.isComplete());
    const QRegExp part(QStringLiteral("txt"));
    QCOMPARE(reader.extractFiles(m_out, part, QString(), false, all), qint64(0));
    QVERIFY_EXCEPTION_THROWN(
        reader.extractFiles(m_out, QRegExp(), QString(), false, {QStringLiteral("missing")}),
        IOException);
    reader.close();
    QVERIFY_EXCEPTION_THROWN(reader.extractFiles(m_out, QRegExp(), QString(), true, all),
                             IOException);
}

void tst_ZipReader::refusesNamesThatAPrefixMakesHostile()
{
    ZipBuilder().add("x/y").add("y").add("x.../evil").write(m_zip);
    QVERIFY_EXCEPTION_THROWN(extract(), IOException); // "x..." ends with a dot
    ZipBuilder().add("x/y").add("y").add("x../evil.txt").write(m_zip);
    QVERIFY_EXCEPTION_THROWN(extract(), IOException);
    ZipBuilder().add("x/y").add("y").write(m_zip);
    ZipReader reader(m_zip, nullptr);
    QVERIFY(reader.open(QIODevice::NotOpen));
    for (const char* prefix : {"x", "x/"}) { // leave "/y" and two "y"
        QVERIFY_EXCEPTION_THROWN(reader.extractFiles(m_out, QRegExp(), QString::fromLatin1(prefix),
                                                     true, reader.fileList()),
                                 IOException);
    }
    QVERIFY(!QFile::exists(m_out));
}

void tst_ZipReader::keepsOrReplacesExistingFiles()
{
    ZipItem broken = bad("z");
    broken.crc = 1;
    ZipBuilder builder;
    builder.add("old", "2").add("made/file").add("kept/file");
    builder.write(m_zip);
    QVERIFY(QDir().mkpath(m_out + QStringLiteral("/kept")));
    writeFile(m_out + QStringLiteral("/old"), "precious");
    const auto before = contents(m_out);
    QVERIFY_EXCEPTION_THROWN(extract(false), IOException);
    QCOMPARE(contents(m_out), before);
    builder.add(broken).write(m_zip);
    QVERIFY_EXCEPTION_THROWN(extract(true), IOException);
    QCOMPARE(contents(m_out), before);
    ZipBuilder().add("new", "1").add("old", "2").write(m_zip);
    QCOMPARE(extract(true), qint64(2));
    QCOMPARE(readFile(m_out + QStringLiteral("/old")), QByteArray("2"));
}

void tst_ZipReader::doesNotFollowPlantedLinks()
{
#ifdef Q_OS_UNIX
    ZipBuilder().add("first").add("sub/file").write(m_zip);
    const QString outside = m_folder + QStringLiteral("/outside");
    QVERIFY(QDir().mkpath(outside) && QDir().mkpath(m_out));
    QVERIFY(QFile::link(outside, m_out + QStringLiteral("/sub")));
    QVERIFY_EXCEPTION_THROWN(extract(), IOException);
    QVERIFY(QDir(outside).isEmpty());
    QVERIFY(QFile::remove(m_out + QStringLiteral("/sub")));
    QVERIFY(QFile::link(outside + QStringLiteral("/made"), m_out + QStringLiteral("/first")));
    QVERIFY_EXCEPTION_THROWN(extract(), IOException);
    QVERIFY(QDir(outside).isEmpty());
#else
    QSKIP("links need a privilege here");
#endif
}

void tst_ZipReader::reportsProgressInSmallSteps()
{
    constexpr qint64 step = 65536;
    ZipItem stored = bad("stored");
    stored.data = noise(int(step) * 2);
    stored.deflate = false;
    ZipBuilder()
        .add("big", noise(int(step) * 3 + 5))
        .add(stored)
        .add("none", QByteArray())
        .write(m_zip);
    ZipReader reader(m_zip, nullptr);
    QVERIFY(reader.open(QIODevice::NotOpen));
    QVector<qint64> steps;
    connect(&reader, &ZipReader::writeBytes, this, [&steps](qint64 bytes) { steps << bytes; });
    const qint64 written =
        reader.extractFiles(m_out, QRegExp(), QString(), true, reader.fileList());
    QCOMPARE(steps, (QVector<qint64>{step, step, step, 5, step, step, 0}));
    QCOMPARE(written, std::accumulate(steps.cbegin(), steps.cend(), qint64(0)));
    QCOMPARE(written, reader.uncompressedSize(reader.fileList()));
}

void tst_ZipReader::abortsWithoutTrace()
{
    ZipBuilder().add("sub/first").add("big", noise(500'000)).write(m_zip);
    for (const qint64 limit : {0, 100'000, 500'004}) { // at once, in the middle, with the last byte
        ZipReader reader(m_zip, nullptr);
        QVERIFY(reader.open(QIODevice::NotOpen));
        qint64 told = 0;
        connect(&reader, &ZipReader::writeBytes, this, [&](qint64 bytes) {
            told += bytes;
            if (told >= limit) {
                reader.abort();
            }
        });
        QCOMPARE(reader.extractFiles(m_out, QRegExp(), QString(), true, reader.fileList()), told);
        QVERIFY(told >= limit && reader.isAborted() && !reader.isComplete());
        QVERIFY(!QFile::exists(m_folder + QStringLiteral("/new")));
    }
}

void tst_ZipReader::refusesOtherModes()
{
    ZipBuilder().add("a").write(m_zip);
    ZipReader reader(m_zip, nullptr);
    QVERIFY_EXCEPTION_THROWN(reader.open(QIODevice::WriteOnly), IOException);
    QVERIFY_EXCEPTION_THROWN(reader.open(QIODevice::ReadWrite), IOException);
    QVERIFY(!reader.isOpen() && reader.fileList().isEmpty());
    QVERIFY(reader.open(QIODevice::NotOpen) && reader.isReadable() && !reader.isWritable());
    QVERIFY_EXCEPTION_THROWN(reader.open(QIODevice::NotOpen), IOException);
    QVERIFY_EXCEPTION_THROWN(reader.extractFiles(QString(), QRegExp(), QString(), true, {}),
                             IOException);
}

void tst_ZipReader::extractsManyEntries()
{
    constexpr int count = 65'537;
    ZipBuilder builder;
    for (int i = 0; i < count; ++i) {
        builder.add("d/" + QByteArray::number(i), "x");
    }
    builder.write(m_zip);
    ZipReader reader(m_zip, nullptr);
    QVERIFY(reader.open(QIODevice::NotOpen));
    QCOMPARE(reader.fileList().size(), count);
    QCOMPARE(reader.uncompressedSize(reader.fileList()), qint64(count));
    const QStringList last{QStringLiteral("d/65535"), QStringLiteral("d/65536")};
    QCOMPARE(reader.extractFiles(m_out, QRegExp(), QString(), true, last), qint64(2));
    QCOMPARE(contents(m_out).size(), 3);
}

void tst_ZipReader::extractsLongPaths()
{
    const QByteArray name =
        QByteArray("a folder with a name of some length/").repeated(10) + "file";
    ZipBuilder().add(name, "long").write(m_zip);
    QCOMPARE(extract(), qint64(4));
    QCOMPARE(readFile(m_out + QLatin1Char('/') + QString::fromLatin1(name)), QByteArray("long"));
    QCOMPARE(extract(), qint64(4)); // replaces itself
    QVERIFY(QDir(m_folder + QStringLiteral("/new")).removeRecursively());
}

void tst_ZipReader::agreesWithOtherTools_data()
{
    columns<QStringList>("command");
    row("zip", lines("zip\n-qr\n../tools.zip\n."));
    row("zip, stored, streamed",
        lines("sh\n-c\ncommand -v zip >/dev/null && zip -q0r - . | cat > ../tools.zip"));
    // One package calls it so, the other so.
    const bool isShort = !QStandardPaths::findExecutable(QStringLiteral("7z")).isEmpty();
    row("7z", lines(isShort ? "7z\na\n-tzip\n../tools.zip\n." : "7zz\na\n-tzip\n../tools.zip\n."));
    row("python", lines("python3\n-c\nimport shutil; shutil.make_archive('../tools', 'zip', '.')"));
    row("fastjar", lines("fastjar\ncf\n../tools.zip\n."));
}

void tst_ZipReader::agreesWithOtherTools()
{
    QFETCH(QStringList, command);
    const QString program = command.takeFirst();
    for (const QString& tool : {program, QStringLiteral("unzip")}) {
        if (QStandardPaths::findExecutable(tool).isEmpty()) {
            // Not QSKIP: clang finds its variable arguments missing.
            QTest::qSkip(qPrintable(tool + QStringLiteral(" is not installed")), __FILE__,
                         __LINE__);
            return;
        }
    }
    const QString tree = m_folder + QStringLiteral("/tree");
    QVERIFY(QDir().mkpath(tree + QStringLiteral("/sub folder/测试")));
    QVERIFY(QDir().mkpath(tree + QStringLiteral("/empty")));
    writeFile(tree + QStringLiteral("/sub folder/测试/ø.bin"), noise(100'000));
    writeFile(tree + QStringLiteral("/text.txt"), QByteArray("text ").repeated(50'000));
    writeFile(tree + QStringLiteral("/none"), {});

    m_zip = m_folder + QStringLiteral("/tools.zip");
    QProcess process;
    process.setWorkingDirectory(tree);
    process.start(program, command);
    QVERIFY(process.waitForFinished() && QFile::exists(m_zip));
    extract();
    auto ours = contents(m_out);
    if (program == QLatin1String("fastjar")) {
        // It adds a manifest, and writes UTF-8 without saying so, which unzip takes for a code
        // page.
        QCOMPARE(ours.remove(QStringLiteral("META-INF/")), 1);
        QCOMPARE(ours.remove(QStringLiteral("META-INF/MANIFEST.MF")), 1);
    } else {
        const QString unzipped = m_folder + QStringLiteral("/unzipped");
        process.start(QStringLiteral("unzip"),
                      {QStringLiteral("-q"), m_zip, QStringLiteral("-d"), unzipped});
        QVERIFY(process.waitForFinished());
        QCOMPARE(ours, contents(unzipped));
    }
    QCOMPARE(ours, contents(tree));
}

QTEST_GUILESS_MAIN(tst_ZipReader)
#include "tst_ZipReader.moc"
