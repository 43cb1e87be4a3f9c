// Folders that are what a manifest says, and others.

#include "Files.h"
#include "Rows.h"
#include "ZipBuilder.h"

#include "publisher/Commands.h"
#include "publisher/ManifestWriter.h"
#include "publisher/SecretKey.h"
#include "publisher/TreeComparison.h"

#include "download/FileHash.h"
#include "support/ZipReader.h"

#include <QDir>
#include <QRegExp>
#include <QTemporaryDir>

#include <functional>

using namespace publisher;
using namespace zk::test;
using Z = ZipItem;

namespace {

using Change = std::function<bool(const QDir&)>;

bool write(const QDir& folder, const QString& path, const QByteArray& bytes)
{
    writeFile(folder.filePath(path), bytes);
    return true;
}

} // namespace

Q_DECLARE_METATYPE(Change)

class tst_Verifying : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_temp;
    QDir m_folder;
    trust::PackageManifest m_manifest;

private slots:
    void init()
    {
        m_temp = std::make_unique<QTemporaryDir>();
        m_folder = QDir(m_temp->filePath(u"Camera Desk"_s));
        const QString path = m_temp->filePath(u"desk.zip"_s);
        ZipBuilder()
            .add(entry("desk", "program").with(&Z::unixMode, 0100755))
            .add(entry("plugins/one", "plugin"))
            .add("plugins/empty/")
            .add(entry("read me.txt", {}))
            .write(path);
        zk::ZipReader zip(path);
        zip.open(QIODevice::NotOpen);
        zip.extractFiles(m_folder.path(), QRegExp(), QString(), false, zip.fileList());
        const auto made = manifestOf(path, {u"Camera Desk"_s, {u"Win64"_s}, u"4.3.0"_s});
        m_manifest = std::get<trust::PackageManifest>(made);
    }

    void tellsEachDifference_data()
    {
        columns<Change, QStringList>("change", "lines");
        const auto when = [](const char* name, const Change& change, const QStringList& lines) {
            row(name, change, lines);
        };
        when("as it was unpacked", [](const QDir&) { return true; }, {});
        when("the manifest and its signature",
             [](const QDir& folder) {
                 return write(folder, u".softwareupdate-manifest"_s, "m") &&
                        write(folder, u".softwareupdate-manifest.minisig"_s, "s");
             },
             {});
        when("a manifest further down",
             [](const QDir& folder) {
                 return write(folder, u"plugins/.softwareupdate-manifest"_s, "m");
             },
             {u"plugins/.softwareupdate-manifest: is not in the package"_s});
        when(
            "files of the same size, of another, and without any",
            [](const QDir& folder) {
                return write(folder, u"desk"_s, "PROGRAM") &&
                       write(folder, u"read me.txt"_s, "x") && write(folder, u"plugins/one"_s, {});
            },
            {u"desk: has changed"_s, u"plugins/one: has changed"_s, u"read me.txt: has changed"_s});
        when("a folder that is missing, with all in it",
             [](const QDir& folder) {
                 return QDir(folder.filePath(u"plugins"_s)).removeRecursively();
             },
             {u"plugins/: is missing"_s, u"plugins/empty/: is missing"_s,
              u"plugins/one: is missing"_s});
        when("additional files, hidden ones too, and folders",
             [](const QDir& folder) {
                 return folder.mkpath(u"cache/old"_s) && write(folder, u"cache/old/.x"_s, "") &&
                        write(folder, u".hidden"_s, "");
             },
             {u".hidden: is not in the package"_s, u"cache/: is not in the package"_s,
              u"cache/old/.x: is not in the package"_s, u"cache/old/: is not in the package"_s});
        when("a folder instead of a file",
             [](const QDir& folder) {
                 return QFile::remove(folder.filePath(u"desk"_s)) && folder.mkdir(u"desk"_s);
             },
             {u"desk/: is not in the package"_s, u"desk: is missing"_s});
#ifdef Q_OS_UNIX
        when("links to the same, to a folder, and to nothing",
             [](const QDir& folder) {
                 const QString plugins = folder.filePath(u"plugins"_s);
                 return QFile::rename(folder.filePath(u"desk"_s), folder.filePath(u"real"_s)) &&
                        QFile::link(u"real"_s, folder.filePath(u"desk"_s)) &&
                        QDir().rename(plugins, folder.filePath(u"../plugins"_s)) &&
                        QFile::link(u"../plugins"_s, plugins) &&
                        QFile::link(u"nothing"_s, folder.filePath(u"broken"_s));
             },
             {u"broken: is a link"_s, u"desk: is a link"_s, u"plugins: is a link"_s,
              u"plugins/empty/: is missing"_s, u"plugins/one: is missing"_s,
              u"real: is not in the package"_s});
        when("executable bits",
             [](const QDir& folder) {
                 const auto readable = QFile::ReadOwner | QFile::WriteOwner;
                 return QFile::setPermissions(folder.filePath(u"desk"_s), readable) &&
                        QFile::setPermissions(folder.filePath(u"plugins/one"_s),
                                              readable | QFile::ExeOwner);
             },
             {u"desk: is not executable"_s, u"plugins/one: is executable"_s});
#endif
    }
    void tellsEachDifference()
    {
        QFETCH(Change, change);
        QFETCH(QStringList, lines);
        QVERIFY(change(m_folder));
        lines.sort();
        QCOMPARE(differences(m_folder.path(), m_manifest), lines);
    }

    void findsTheOnlyFolderOfAPackage_data()
    {
        columns<QStringList, QStringList, QStringList>("files", "folders", "paths");
        row("one folder", QStringList{u"app/desk"_s, u"app/a/b"_s}, QStringList{u"app"_s},
            QStringList{u"desk"_s, u"a/b"_s});
        row("one folder with another", QStringList{u"app/desk"_s}, QStringList{u"app/empty"_s},
            QStringList{u"desk"_s, u"empty"_s});
        row("two folders", QStringList{u"app/desk"_s}, QStringList{u"empty"_s},
            QStringList{u"app/desk"_s, u"empty"_s});
        row("two folders that begin alike", QStringList{u"app/a"_s, u"apple/b"_s}, QStringList(),
            QStringList{u"app/a"_s, u"apple/b"_s});
        row("a file beside the folder", QStringList{u"app/desk"_s, u"readme"_s}, QStringList(),
            QStringList{u"app/desk"_s, u"readme"_s});
        row("a single file", QStringList{u"desk"_s}, QStringList(), QStringList{u"desk"_s});
    }
    void findsTheOnlyFolderOfAPackage()
    {
        QFETCH(QStringList, files);
        QFETCH(QStringList, folders);
        QFETCH(QStringList, paths);
        trust::PackageManifest manifest;
        for (const QString& file : files) {
            manifest.files.emplace_back().path = file.toStdString();
        }
        for (const QString& folder : folders) {
            manifest.folders.push_back(folder.toStdString());
        }
        QStringList found;
        manifest = belowOnlyFolder(manifest);
        for (const trust::ManifestFile& file : manifest.files) {
            found << QString::fromStdString(file.path);
        }
        for (const std::string& folder : manifest.folders) {
            found << QString::fromStdString(folder);
        }
        QCOMPARE(found, paths);
    }

    void takesAWholePackageOrItsOnlyFolder()
    {
        const QString path = m_temp->filePath(u"nested.zip"_s);
        ZipBuilder().add("app/desk", "program").add("app/plugins/one").write(path);
        zk::ZipReader zip(path);
        zip.open(QIODevice::NotOpen);
        const QString whole = m_temp->filePath(u"whole"_s);
        zip.extractFiles(whole, QRegExp(), QString(), false, zip.fileList());
        const auto made = manifestOf(path, {u"Camera Desk"_s, {u"Win64"_s}, u"4.3.0"_s});
        const QString manifest = m_temp->filePath(u"manifest"_s);
        writeFile(manifest, QByteArray::fromStdString(
                                trust::manifestText(std::get<trust::PackageManifest>(made))));
        Console console;
        const auto verify = [&](const QString& folder) {
            return verifyCommand({u"verify"_s, u"--manifest"_s, manifest, folder}, console);
        };
        QCOMPARE(verify(whole), int(eFine));
        QCOMPARE(verify(whole + u"/app"_s), int(eFine));
        QVERIFY(QFile::remove(whole + u"/app/desk"_s));
        QCOMPARE(verify(whole), int(eHasErrors));
        QCOMPARE(verify(whole + u"/app"_s), int(eHasErrors));
    }

    void trustsOnlyTheKey()
    {
        const SecretKey key = SecretKey::generate();
        const QByteArray text = QByteArray::fromStdString(trust::manifestText(m_manifest));
        const QString installed = m_folder.filePath(u".softwareupdate-manifest"_s);
        writeFile(installed, text);
        writeFile(installed + u".minisig"_s,
                  key.sign(zk::bytesOf(trust::Blake2b512::of(zk::viewOf(text))),
                           "file:desk.zip.manifest\trelease:4.3.0"));
        const QString keyFile = m_temp->filePath(u"key.pub"_s);
        writeFile(keyFile, key.publicKeyFile());
        Console console;
        const auto verify = [&](const QStringList& options) {
            return verifyCommand(QStringList{u"verify"_s, m_folder.path()} + options, console);
        };
        const QString line = QString::fromLatin1(key.publicKey());
        const QString other = QString::fromLatin1(SecretKey::generate().publicKey());
        QCOMPARE(verify({}), int(eFine));
        QCOMPARE(verify({u"--key"_s, keyFile}), int(eFine));
        QCOMPARE(verify({u"--key"_s, line}), int(eFine));
        QCOMPARE(verify({u"--key"_s, other}), int(eFailed));
        QCOMPARE(verify({u"--key"_s, QString()}), int(eFailed));
        QCOMPARE(verify({u"--key"_s, line, u"--manifest"_s, keyFile}), int(eFailed));

        writeFile(m_folder.filePath(u"desk"_s), "changed");
        QCOMPARE(verify({u"--key"_s, line}), int(eHasErrors));
        // Whoever changes a file could change its hash too.
        QByteArray forged = text;
        writeFile(installed,
                  forged.replace(trust::hexText(trust::Blake2b256::of("program")).c_str(),
                                 trust::hexText(trust::Blake2b256::of("changed")).c_str()));
        QCOMPARE(verify({}), int(eFine));
        QCOMPARE(verify({u"--key"_s, line}), int(eFailed));
    }
};

QTEST_GUILESS_MAIN(tst_Verifying)
#include "tst_Verifying.moc"
