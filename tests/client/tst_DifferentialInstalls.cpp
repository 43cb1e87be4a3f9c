#include "InstallFixture.h"
#include "RangeOrigin.h"
#include "ZipBuilder.h"

#include "download/DownloadCache.h"
#include "download/FileHash.h"
#include "publisher/ManifestWriter.h"
#include "publisher/SecretKey.h"

#include <QProgressBar>

using namespace zk;
using namespace zk::test;

namespace {

const auto restart = u"Please restart"_s;

/** A signed ZIP package, most of which is installed already: here, beside this program. */
struct DifferentialFixture : InstallFixture
{
    ScopedVariable cacheVariable{"XDG_CACHE_HOME", temporary.path()};
    QDir cache{DownloadCache(u"Viewer"_s).folder()};
    publisher::SecretKey key = publisher::SecretKey::generate();
    RangeOrigin archive;
    QByteArray changed = RangeOrigin(50'000).body;
    QByteArray manifest;
    QString installed = QCoreApplication::applicationDirPath() + u"/tst_DifferentialInstalls.bin"_s;

    DifferentialFixture()
        : InstallFixture("update.zip")
    {
        cache.removeRecursively(); // which tests share where no variable moves it
        QByteArray same(300'000, Qt::Uninitialized);
        for (int i = 0; i < same.size(); ++i) {
            same[i] = char(i * i >> 7);
        }
        writeFile(installed, same);
        ZipBuilder zip;
        zip.add(entry("a program", changed, false)).add(entry("data", same, false));
        archive.body = zip.bytes();
        archive.serveAt(server, "/update.zip");
        const QString path = temporary.filePath(u"update.zip"_s);
        zip.write(path);
        const auto made = publisher::manifestOf(path, {u"Viewer"_s, {u"Win64"_s}, u"4.3"_s});
        manifest =
            QByteArray::fromStdString(trust::manifestText(std::get<trust::PackageManifest>(made)));
        publish("update.zip.manifest", manifest);
        publish("update.zip", archive.body);
        client->setPackagePublicKeys({QString::fromLatin1(key.publicKey())});
        UpdateOptions options;
        options.differentialUpdates = true;
        client->setOptions(options);
        robot.press(restart, u"Restart later"_s);
        robot.press(u"Installation process"_s, u"OK"_s);
    }
    ~DifferentialFixture()
    {
        SoftwareUpdateClient::deleteInstance();
        cache.removeRecursively();
        QFile::remove(installed);
    }

    /** What the server has under this name, and its signature; the package has ranges. */
    void publish(const QByteArray& name, const QByteArray& bytes)
    {
        if (name != "update.zip") {
            server.answer("/" + name, http(200, bytes));
        }
        const QByteArray hash = bytesOf(trust::Blake2b512::of(viewOf(bytes)));
        server.answer("/" + name + ".minisig",
                      http(200, key.sign(hash, "file:" + name + "\trelease:4.3")));
    }
    QStringList asked() const
    {
        QStringList paths;
        for (const Request& request : server.requests()) {
            paths << QString::fromLatin1(request.path);
        }
        return paths.filter(u"update.zip"_s);
    }
    /** The new version that has been put together. */
    QDir tree() const
    {
        QDirIterator it(cache.path(), {u"tree"_s}, QDir::Dirs, QDirIterator::Subdirectories);
        return it.hasNext() ? QDir(it.next()) : QDir(u"/nowhere"_s);
    }
    QByteArray made(const char* name) const
    {
        return readFile(tree().filePath(QLatin1String(name)));
    }
    int restarts() const { return robot.seen().filter(restart).size(); }
};

} // namespace

/** Installations that fetch what changed, from the button to the question for the restart. */
class tst_DifferentialInstalls : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { dropOffscreenSizeHintLine(); }

    void fetchesWhatChanged()
    {
        DifferentialFixture f;
        f.server.forgetRequests();
        f.install();
        QTRY_COMPARE(f.restarts(), 1);
        QCOMPARE(f.asked(), (QStringList{u"/update.zip.manifest"_s,
                                         u"/update.zip.manifest.minisig"_s, u"/update.zip"_s}));
        QVERIFY(f.made("a program") == f.changed);
        QVERIFY(f.made("data") == readFile(f.installed));
        QCOMPARE(f.made(".softwareupdate-manifest"), f.manifest);
        QCOMPARE(f.leftovers(), QStringList());
        QCOMPARE(f.log.lines(Log::eInfo).filter(u"fetching 50000 of "_s).size(), 1);

        // Later the same again, without the package; and what is left of the old version does not
        // matter any more.
        QVERIFY(QFile::remove(f.installed));
        f.archive.asked.clear();
        f.checkFor(packageElement("4.3", "update.zip"));
        f.install();
        QTRY_COMPARE(f.restarts(), 2);
        QCOMPARE(f.archive.asked, QStringList());

        // Somebody tidies up before the hand-over.
        QVERIFY(QFile::remove(f.tree().filePath(u"data"_s)));
        QMetaObject::invokeMethod(f.client, "startZipInstall");
        QCOMPARE(f.robot.seen().filter(u"Installation failed"_s).size(), 1);
    }

    void fetchesTheWholeWithoutManifest()
    {
        DifferentialFixture f;
        f.server.answer("/update.zip.manifest", http(404));
        f.install();
        QTRY_COMPARE(f.restarts(), 1);
        QCOMPARE(f.asked().last(), u"/update.zip"_s);
        QCOMPARE(f.archive.asked, QStringList{u"-"_s});
        QCOMPARE(
            f.log.lines(Log::eInfo).filter(u"is fetched: .manifest cannot be fetched"_s).size(), 1);
        QTRY_COMPARE(f.leftovers().size(), 2);
    }

    // The whole package is signed, too.
    void refusesWhatIsNotSigned()
    {
        DifferentialFixture f;
        f.archive.script = QStringList{u"plain"_s};
        f.archive.body[10] = 'x';
        f.install();
        QTRY_COMPARE(f.robot.seen().filter(u"Installation failed"_s).size(), 1);
        QCOMPARE(f.archive.asked.size(), 2);
        QCOMPARE(f.restarts(), 0);
        QCOMPARE(f.leftovers(), QStringList());
    }

    void continuesAfterACancel()
    {
        DifferentialFixture f;
        f.archive.script = QStringList{u"stall"_s, u"ok"_s};
        f.install();
        const auto bar = [&f] {
            const auto* const shown =
                f.progress() ? f.progress()->findChild<QProgressBar*>() : nullptr;
            return shown ? shown->text() : QString();
        };
        QTRY_COMPARE(f.archive.asked.size(), 1);
        QTRY_VERIFY2(bar().endsWith(u"/ 48.8 kB"_s), qPrintable(bar())); // bytes of the update
        QMetaObject::invokeMethod(f.progress(), "canceled");
        QTest::qWait(0);
        QCOMPARE(f.end(), u"window"_s);
        f.install();
        QTRY_COMPARE(f.restarts(), 1);
        QVERIFY(f.made("a program") == f.changed);
        QCOMPARE(f.archive.asked, (QStringList{u"39-50038"_s, u"25039-50038"_s}));
    }
};

QTEST_MAIN(tst_DifferentialInstalls)
#include "tst_DifferentialInstalls.moc"
