#pragma once

#include "InstallFixture.h"
#include "RangeOrigin.h"
#include "ZipBuilder.h"

#include "download/DownloadCache.h"
#include "download/FileHash.h"
#include "publisher/ManifestWriter.h"
#include "publisher/SecretKey.h"

namespace zk::test {

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
        quint32 square = 0;
        for (char& c : same) {
            square = square * 69069 + 1; // bytes that cannot be compressed
            c = char(square >> 24);
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
        robot.press(u"Please restart"_s, u"Restart later"_s);
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
        server.answer("/" + name + ".minisig", http(200, signatureOf(name, bytes)));
    }
    QByteArray signatureOf(const QByteArray& name, const QByteArray& bytes) const
    {
        const QByteArray hash = bytesOf(trust::Blake2b512::of(viewOf(bytes)));
        return key.sign(hash, "file:" + name + "\trelease:4.3");
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
    int restarts() const { return robot.seen().filter(u"Please restart"_s).size(); }
};

} // namespace zk::test
