// Updates that fetch only what has changed, from a server that knows ranges or does not, with files
// and manifests that are what they should be or are not.

#include "Environment.h"
#include "RangeOrigin.h"
#include "Rows.h"
#include "ZipBuilder.h"

#include "download/FileHash.h"
#include "install/DifferentialUpdate.h"
#include "publisher/ManifestWriter.h"
#include "publisher/PatchMaker.h"
#include "publisher/SecretKey.h"

#include <QDirIterator>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <random>

using namespace zk;
using namespace zk::test;

namespace {

constexpr int fileSize = 30'000;

/** Bytes that cannot be compressed, the same for the same @p seed. */
QByteArray noise(unsigned seed, int size = fileSize)
{
    std::mt19937 random(seed);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char& c : bytes) {
        c = char(random());
    }
    return bytes;
}

/** The files of a version: "lib/3" has the contents number 3, unless it is changed. */
using Files = QMap<QString, QByteArray>;

Files filesOf(unsigned version)
{
    Files files{{u"empty"_s, {}}, {u"desk"_s, noise(1000 + version)}};
    for (unsigned i = 0; i < 9; ++i) {
        files.insert(u"lib/%1"_s.arg(i), noise(i));
    }
    return files;
}

void writeTree(const QString& folder, const Files& files)
{
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        const QString path = folder + u'/' + file.key();
        QDir().mkpath(QFileInfo(path).path());
        writeFile(path, file.value());
    }
}

Files readTree(const QString& folder)
{
    Files files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        files.insert(path.mid(folder.size() + 1), readFile(path));
    }
    return files;
}

/** An installed version, a new one on a server, and what is wrong with either. */
struct Rig
{
    QTemporaryDir temporary;
    QString installed = temporary.filePath(u"Camera Desk"_s);
    ScopedVariable cacheVariable{"XDG_CACHE_HOME", temporary.filePath(u"cache"_s)};
    DownloadCache cache{u"tst_DifferentialUpdate"_s};
    ScriptedServer server;
    publisher::SecretKey key = publisher::SecretKey::generate();
    Files old = filesOf(1);
    Files fresh = filesOf(2);
    publisher::PackageIdentity identity{u"Camera Desk"_s, {u"Win64"_s}, u"4.3.0"_s};
    /** What the host is. */
    QString product = u"Camera Desk"_s;
    QStringList publicKeys{QString::fromLatin1(key.publicKey())};
    int retries = 0;

    /** Has the package. */
    RangeOrigin origin{0};
    RangeOrigin patches{0};
    std::string manifest;
    QByteArray signature;
    std::unique_ptr<DifferentialUpdate> update;
    QString end;
    qint64 fetched = 0;

    Rig() { QDir(cache.folder()).removeRecursively(); }
    ~Rig()
    {
        update.reset();
        QDir(cache.folder()).removeRecursively();
        waitForRetiredManagers();
    }

    /** Publishes the new version. */
    void publish()
    {
        ZipBuilder zip;
        for (auto file = fresh.cbegin(); file != fresh.cend(); ++file) {
            ZipItem item = entry(file.key().toUtf8(), file.value(), file.key() != u"lib/0"_s);
            zip.add(item);
        }
        const QString path = temporary.filePath(u"desk.zip"_s);
        zip.write(path);
        origin.body = readFile(path);
        manifest = trust::manifestText(
            std::get<trust::PackageManifest>(publisher::manifestOf(path, identity)));
        sign("file:desk.zip.manifest\trelease:4.3.0");
    }
    void sign(const QByteArray& comment)
    {
        signature = key.sign(bytesOf(trust::Blake2b512::of(manifest)), comment);
    }
    /** Publishes the one patch there is, for the file "big" as it is installed. */
    void addPatch(const QByteArray& from, const QByteArray& to)
    {
        const QByteArray patch = to.isEmpty()
                                     ? from
                                     : publisher::makePatch(from, to, publisher::defaultPatchLevel)
                                           .value_or(QByteArray());
        patches.body = patch;
        auto made = std::get<trust::PackageManifest>(trust::parseManifest(manifest));
        made.patchesSize = std::uint64_t(patch.size());
        for (trust::ManifestFile& file : made.files) {
            if (file.path == "big") {
                const QByteArray& older = old[u"big"_s];
                file.patches = {{std::uint64_t(older.size()), trust::Blake2b256::of(viewOf(older)),
                                 0, std::uint64_t(patch.size()),
                                 trust::Blake2b256::of(viewOf(patch))}};
            }
        }
        manifest = trust::manifestText(made);
        sign("file:desk.zip.manifest\trelease:4.3.0");
    }
    /** Replaces a part of the manifest by a lie, which is signed. */
    void lie(const std::string& truth, const std::string& text)
    {
        const auto at = manifest.find(truth);
        QVERIFY2(at != std::string::npos, truth.c_str());
        manifest.replace(at, truth.size(), text);
        sign("file:desk.zip.manifest\trelease:4.3.0");
    }
    void start()
    {
        writeTree(installed, old);
        server.answer("/desk.zip.manifest", http(200, QByteArray::fromStdString(manifest)));
        server.answer("/desk.zip.manifest.minisig", http(200, signature));
        origin.serveAt(server, "/desk.zip");
        patches.serveAt(server, "/desk.zip.patches");
        DifferentialUpdate::Source source{{},
                                          server.url("/desk.zip"),
                                          publicKeys,
                                          product,
                                          {u"Win32"_s, u"Win64"_s},
                                          installed,
                                          {},
                                          cache,
                                          [] { return QNetworkProxy(QNetworkProxy::NoProxy); }};
        source.package.url = source.url;
        source.package.release = u"4.3"_s;
        source.package.fileSize = quint32(origin.body.size());
        source.policy.retries = retries;
        source.policy.firstPause = std::chrono::milliseconds(1);
        source.policy.stallTimeout = std::chrono::milliseconds(300);
        update.reset(); // it has the staging folder
        update = std::make_unique<DifferentialUpdate>(source);
        end.clear();
        QObject::connect(update.get(), &DifferentialUpdate::progressed, update.get(),
                         [this](qint64 received) { fetched = received; });
        QObject::connect(update.get(), &DifferentialUpdate::ready, update.get(),
                         [this] { end += u"ready"_s; });
        QObject::connect(update.get(), &DifferentialUpdate::unusable, update.get(),
                         [this](const QString& reason) { end += u"unusable: "_s + reason; });
        QObject::connect(update.get(), &DifferentialUpdate::failed, update.get(),
                         [this](int code) { end += u"failed %1"_s.arg(code); });
        update->start();
    }
    QString run()
    {
        start();
        (void)QTest::qWaitFor([this] { return !end.isEmpty(); }, 20'000);
        return end;
    }
    QString staging() const
    {
        QDirIterator it(cache.folder(), {u"staging-*"_s}, QDir::Dirs);
        return it.hasNext() ? it.next() : QString();
    }
    /** What is ready is the new version and its manifest, nothing else. */
    bool isNew() const
    {
        Files expected = fresh;
        expected.insert(u".softwareupdate-manifest"_s, QByteArray::fromStdString(manifest));
        return update->tree() && update->tree()->isIntact() &&
               readTree(update->tree()->folder()) == expected;
    }
    /** No file of the tree has other contents than it should have. */
    bool isHonest() const
    {
        const Files made = readTree(staging() + u"/tree"_s);
        for (auto file = made.cbegin(); file != made.cend(); ++file) {
            if (file.key() != u".softwareupdate-manifest"_s &&
                fresh.value(file.key()) != file.value()) {
                return false;
            }
        }
        return true;
    }
};

using Act = void (*)(Rig&);

} // namespace

Q_DECLARE_METATYPE(Act)

class tst_DifferentialUpdate : public QObject
{
    Q_OBJECT

private slots:
    void fetchesWhatChanged()
    {
        Rig rig;
        rig.fresh.remove(u"lib/1"_s);
        rig.fresh.insert(u"moved/one"_s, rig.old[u"lib/1"_s]);
        rig.fresh.insert(u"lib/8"_s, noise(77));
        rig.publish();
        QCOMPARE(rig.run(), u"ready"_s);
        QVERIFY(rig.isNew());
        QCOMPARE(rig.origin.asked.size(), 2); // desk comes first, lib/8 is far behind
        QVERIFY2(rig.fetched < 2 * fileSize + 2000, qPrintable(QString::number(rig.fetched)));

        // Everything is there now: once more, nothing is fetched, and what is wrong is mended.
        rig.origin.asked.clear();
        const QString tree = rig.update->tree()->folder();
        writeFile(tree + u"/lib/2"_s, noise(5, fileSize));
        writeFile(tree + u"/foreign"_s, "x");
        QFile::remove(tree + u"/lib/3"_s);
        QVERIFY(!rig.update->tree()->isIntact());
        QCOMPARE(rig.run(), u"ready"_s);
        QVERIFY(rig.isNew());
        QCOMPARE(rig.origin.asked, QStringList());
    }

    void ends_data()
    {
        columns<Act, QString>("act", "end");
        const auto wrong = [](const char* name, Act act, const QString& reason) {
            row(name, act, u"unusable: .*"_s + reason);
        };
        wrong(
            "no manifest", [](Rig& r) { r.manifest.clear(); }, u"not the one that was signed"_s);
        wrong(
            "another key",
            [](Rig& r) {
                r.publicKeys[0] = QString::fromLatin1(publisher::SecretKey::generate().publicKey());
            },
            u"unknown key"_s);
        wrong(
            "no key", [](Rig& r) { r.publicKeys.clear(); }, u"unknown key"_s);
        wrong(
            "a manifest that is not signed", [](Rig& r) { r.manifest += "x\n"; },
            u"not the one that was signed"_s);
        wrong(
            "the signature of the package", [](Rig& r) { r.sign("file:desk.zip\trelease:4.3.0"); },
            u"does not name the file"_s);
        wrong(
            "a signature without release", [](Rig& r) { r.sign("file:desk.zip.manifest"); },
            u"does not name release"_s);
        wrong(
            "an older manifest",
            [](Rig& r) {
                r.lie("release 4.3.0", "release 4.2.0");
                r.sign("file:desk.zip.manifest\trelease:4.2.0");
            },
            u"release '4.2.0'"_s);
        wrong(
            "another product", [](Rig& r) { r.product = u"Camera Viewer"_s; },
            u"product 'Camera Desk'"_s);
        wrong(
            "another platform", [](Rig& r) { r.lie("platform Win64", "platform Linux"); },
            u"another platform"_s);
        wrong(
            "another archive", [](Rig& r) { r.lie(" desk.zip\n", " disk.zip\n"); }, u"disk.zip"_s);
        wrong(
            "names that differ in case", [](Rig& r) { r.lie("lib/2\n", "LIB/1\n"); }, u"case"_s);
        wrong(
            "a manifest as large as the package",
            [](Rig& r) {
                r.manifest += "later " + std::string(std::size_t(r.origin.body.size()), 'x');
                r.sign("file:desk.zip.manifest\trelease:4.3.0");
            },
            u"too large"_s);
        wrong(
            "nothing left of the old version", [](Rig& r) { r.old.clear(); }, u"have changed"_s);
        wrong(
            "a server without ranges", [](Rig& r) { r.origin.script = QStringList{u"plain"_s}; },
            u"ranges"_s);
        wrong(
            "a range that is refused",
            [](Rig& r) { r.origin.script = QStringList{u"status 416"_s}; }, u"ranges"_s);
        wrong(
            "another range", [](Rig& r) { r.origin.script = QStringList{u"range bytes 1-2/3"_s}; },
            u"ranges"_s);
        wrong(
            "a file of another size", [](Rig& r) { r.origin.body += "x"; }, u"ranges"_s);
        wrong(
            "a compressed range", [](Rig& r) { r.origin.script = QStringList{u"gzip"_s}; },
            u"ranges"_s);
        wrong(
            "other bytes, twice", [](Rig& r) { r.origin.script = QStringList{u"damage"_s}; },
            u"not the one of the manifest"_s);
        wrong(
            "contents of another size", [](Rig& r) { r.lie(" 30000 ", " 29999 "); },
            u"not the one of the manifest"_s);
        wrong(
            "contents that inflate to more",
            [](Rig& r) {
                r.fresh[u"desk"_s] = QByteArray(3'000'000, 'x');
                r.publish();
                r.lie(" 3000000 ", " 1000 ");
            },
            u"not the one of the manifest|too large"_s);
        row("other bytes, once", Act([](Rig& r) {
                r.origin.script = QStringList{u"damage"_s, u"ok"_s};
            }),
            u"ready"_s);
        row("a cut, and a page of the network", Act([](Rig& r) {
                r.retries = 2;
                r.origin.script = QStringList{u"cut"_s, u"page"_s, u"ok"_s};
            }),
            u"ready"_s);
        row("a server that is busy for too long", Act([](Rig& r) {
                r.retries = 1;
                r.origin.script = QStringList{u"status 503"_s};
            }),
            u"failed 403"_s);
        row("silence", Act([](Rig& r) { r.origin.script = QStringList{u"stall"_s}; }),
            u"failed 4"_s);
    }
    void ends()
    {
        QFETCH(Act, act);
        QFETCH(QString, end);
        Rig rig;
        rig.publish();
        act(rig);
        const QString actual = rig.run();
        QVERIFY2(QRegularExpression(u"^(%1)"_s.arg(end)).match(actual).hasMatch(),
                 qPrintable(actual));
        QVERIFY(actual != u"ready"_s || rig.isNew());
        QVERIFY(rig.isHonest());
    }

    void appliesPatches_data()
    {
        columns<Act, int, int>("act", "patchRequests", "requests");
        row("one patch", Act([](Rig&) {}), 1, 0);
        row("bytes that are not the patch",
            Act([](Rig& r) { r.patches.script = QStringList{u"damage"_s}; }), 1, 1);
        row("no file of patches",
            Act([](Rig& r) { r.patches.script = QStringList{u"status 404"_s}; }), 1, 1);
        row("no ranges of it", Act([](Rig& r) { r.patches.script = QStringList{u"plain"_s}; }), 1,
            1);
        row("a patch that makes another file", Act([](Rig& r) { r.addPatch(noise(5), noise(6)); }),
            1, 1);
        row("a patch that makes a larger file",
            Act([](Rig& r) { r.addPatch(noise(5), QByteArray(2'000'000, 'x')); }), 1, 1);
        row("bytes that are no patch", Act([](Rig& r) { r.addPatch(noise(5), QByteArray()); }), 1,
            1);
        row("another old file", Act([](Rig& r) { r.old[u"big"_s][7] = 'x'; }), 0, 1);
    }
    void appliesPatches()
    {
        QFETCH(Act, act);
        Rig rig;
        rig.old.insert(u"big"_s, noise(20, 200'000));
        rig.fresh.insert(u"big"_s, noise(20, 100'000) + "news" + noise(20, 200'000).mid(100'000));
        rig.fresh.insert(u"desk"_s, rig.old[u"desk"_s]);
        rig.publish();
        rig.addPatch(rig.old[u"big"_s], rig.fresh[u"big"_s]);
        act(rig);
        QCOMPARE(rig.run(), u"ready"_s);
        QVERIFY(rig.isNew());
        QTEST(int(rig.patches.asked.size()), "patchRequests");
        QTEST(int(rig.origin.asked.size()), "requests");
        QVERIFY(!rig.origin.asked.isEmpty() || rig.fetched < 1000);
    }

    void goesOnAfterAnEnd()
    {
        Rig rig;
        for (unsigned i = 5; i < 8; ++i) {
            rig.fresh.insert(u"lib/%1"_s.arg(i), noise(100 + i, 60'000));
        }
        rig.publish();
        rig.origin.script = QStringList{u"ok"_s, u"stall"_s};
        rig.start();
        QTRY_COMPARE(rig.origin.asked.size(), 2);
        QTRY_VERIFY(QFileInfo(rig.staging() + u"/section"_s).size() > 10'000);
        rig.update.reset(); // as a cancel does, or a restart of the host
        const QString broken = rig.origin.asked[1];
        rig.origin.script = QStringList{u"ok"_s};
        rig.origin.asked.clear();
        QCOMPARE(rig.run(), u"ready"_s);
        QVERIFY(rig.isNew());
        QCOMPARE(rig.origin.asked.size(), 1);
        QCOMPARE(rig.origin.asked[0].section(u'-', 1), broken.section(u'-', 1));
        QVERIFY(rig.origin.asked[0].section(u'-', 0, 0).toInt() >
                broken.section(u'-', 0, 0).toInt() + 10'000);
    }

    void isFetchedByOneHostAtATime()
    {
        Rig rig;
        rig.publish();
        QDir().mkpath(rig.installed);
        const auto lock = rig.cache.staging(rig.installed);
        QCOMPARE(rig.run(), u"unusable: the staging folder is in use, or cannot be"_s);
    }

    void followsNoLinks()
    {
#ifdef Q_OS_UNIX
        Rig rig;
        rig.publish();
        writeTree(rig.installed, rig.old);
        const QString elsewhere = rig.temporary.filePath(u"elsewhere"_s);
        QDir().rename(rig.installed + u"/lib"_s, elsewhere);
        rig.old = Files{{u"desk"_s, noise(1)}, {u"other"_s, rig.fresh[u"lib/4"_s]}};
        QVERIFY(QFile::link(elsewhere, rig.installed + u"/lib"_s));
        QVERIFY(QFile::link(elsewhere + u"/5"_s, rig.installed + u"/five"_s));
        QVERIFY(rig.run().contains(u"have changed"_s));
        // In the new tree they are replaced, not followed.
        const QString tree = rig.staging() + u"/tree"_s;
        QVERIFY(QDir(tree).removeRecursively() && QDir().mkpath(tree));
        QVERIFY(QFile::link(elsewhere, tree + u"/lib"_s));
        rig.old = filesOf(1);
        QVERIFY(QFile::remove(rig.installed + u"/lib"_s));
        QCOMPARE(rig.run(), u"ready"_s);
        QVERIFY(rig.isNew());
        QVERIFY(!QFileInfo(tree + u"/lib"_s).isSymLink());
        QCOMPARE(readTree(elsewhere).size(), 9);
#endif
    }

    void plansFewRequests()
    {
        std::vector<WantedBytes> wanted;
        const auto planned = [&wanted] {
            QStringList text;
            for (const FetchedSection& section : planSections(wanted)) {
                text << u"%1+%2(%3)"_s.arg(section.first)
                            .arg(section.size)
                            .arg(section.parts.size());
            }
            return text.join(u' ');
        };
        QCOMPARE(planned(), QString());
        wanted = {{0, 100, 0}, {65636, 100, 1}, {131273, 100, 2}}; // gaps of 64 KiB, and one more
        QCOMPARE(planned(), u"0+65736(2) 131273+100(1)"_s);

        constexpr qint64 mebi = 1 << 20;
        // The last is larger than a section may be, but one file.
        wanted = {{0, 60 * mebi, 0}, {60 * mebi, 5 * mebi, 1}, {65 * mebi, 100 * mebi, 2}};
        QCOMPARE(planned(), u"0+62914560(1) 62914560+5242880(1) 68157440+104857600(1)"_s);

        // A hundred far apart: the smallest gaps are fetched until not too many are left.
        wanted.clear();
        for (qint64 i = 0; i < 100; ++i) {
            wanted.push_back({i * mebi - (i % 2 == 1 ? mebi / 2 : 0), 1000, 0});
        }
        QCOMPARE(planSections(wanted).size(), std::size_t(50));
    }
};

QTEST_GUILESS_MAIN(tst_DifferentialUpdate)
#include "tst_DifferentialUpdate.moc"
