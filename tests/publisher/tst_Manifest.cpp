// What `sign` publishes beside a ZIP package.

#include "Files.h"
#include "Rows.h"
#include "ToolRun.h"
#include "ZipBuilder.h"

#include "publisher/Commands.h"
#include "publisher/ManifestWriter.h"
#include "publisher/PackageSource.h"
#include "publisher/SecretKey.h"
#include "publisher/SigningPlan.h"

#include "download/FileHash.h"
#include "support/ZipReader.h"

#include <QDir>
#include <QDirIterator>
#include <QRegExp>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <zlib.h>

using namespace publisher;
using namespace zk::test;
using Z = ZipItem;

namespace {

const PackageIdentity identity{u"Camera Desk"_s, {u"Win64"_s, u"Win32"_s}, u"4.3.0"_s};

QString errorOf(const std::variant<trust::PackageManifest, QString>& manifest)
{
    const auto* const error = std::get_if<QString>(&manifest);
    return error ? *error : QString();
}

QByteArray inflated(QByteArray packed, quint64 size)
{
    QByteArray contents(int(size) + 1, '?');
    z_stream stream{};
    stream.next_in = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_in = uInt(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(contents.data());
    stream.avail_out = uInt(contents.size());
    inflateInit2(&stream, -MAX_WBITS);
    const bool isWhole = inflate(&stream, Z_FINISH) == Z_STREAM_END && stream.avail_in == 0;
    contents.truncate(int(stream.total_out));
    inflateEnd(&stream);
    return isWhole ? contents : QByteArray("damaged");
}

trust::Blake2b256::Digest hashOf(const QByteArray& bytes)
{
    return trust::Blake2b256::of(zk::viewOf(bytes));
}

} // namespace

class tst_Manifest : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_temp;
    QString m_zip;
    QString m_out;

    QStringList published() const
    {
        return QDir(m_temp->path()).entryList({u"desk*"_s}, QDir::Files, QDir::Name);
    }

    /** Compares the manifest of m_zip with what is unpacked from it, byte by byte. */
    void compareWithUnpacked()
    {
        const auto result = manifestOf(m_zip, identity);
        QCOMPARE(errorOf(result), QString());
        const auto& manifest = std::get<trust::PackageManifest>(result);
        const QByteArray archive = readFile(m_zip);
        QCOMPARE(manifest.archiveSize, quint64(archive.size()));
        QCOMPARE(manifest.archiveHash, hashOf(archive));

        zk::ZipReader zip(m_zip);
        zip.open(QIODevice::NotOpen);
        zip.extractFiles(m_out, QRegExp(), QString(), false, zip.fileList());
        QStringList unpacked;
        QDirIterator files(m_out, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            unpacked << QDir(m_out).relativeFilePath(files.next());
        }
        for (const trust::ManifestFile& file : manifest.files) {
            const QString path = QString::fromStdString(file.path);
            QVERIFY2(unpacked.removeOne(path), qPrintable(path));
            const QByteArray contents = readFile(m_out + u'/' + path);
            QCOMPARE(file.size, quint64(contents.size()));
            QCOMPARE(file.hash, hashOf(contents));
            const QByteArray packed = archive.mid(int(file.offset), int(file.packedSize));
            QCOMPARE(file.packedHash, hashOf(packed));
            const bool isDeflated = file.method == trust::ManifestFile::eDeflated;
            QCOMPARE(isDeflated ? inflated(packed, file.size) : packed, contents);
        }
        QCOMPARE(unpacked, QStringList());
        for (const std::string& folder : manifest.folders) {
            QVERIFY(QDir(m_out + u'/' + QString::fromStdString(folder)).exists());
        }
    }

private slots:
    void init()
    {
        m_temp = std::make_unique<QTemporaryDir>();
        m_zip = m_temp->filePath(u"desk 4.3.zip"_s);
        m_out = m_temp->filePath(u"out"_s);
    }

    void describesEachByte_data()
    {
        columns<QByteArray>("archive");
        const QByteArray large = QByteArray(300'000, 'l') + QByteArray("end");
        ZipBuilder usual;
        usual.add(entry("./", {}, false).with(&Z::unixMode, 040755))
            .add("./bin/")
            .add(entry("./bin/desk.exe", large).with(&Z::unixMode, 0100755))
            .add(entry("stored", large, false))
            .add(entry("empty", {}, false))
            .add(entry("empty but deflated", {}))
            .add(entry("\xc3\xa6\xe5\x8c\x85.txt"));
        row("all kinds of entries", usual.bytes());
        row("no entries", ZipBuilder().bytes());
        row("a name in code page 437", ZipBuilder().add(entry("\x84").with(&Z::flags, 0)).bytes());
        row("local headers with fields of their own",
            ZipBuilder().add(entry("a").with(&Z::extra, QByteArray("\xfe\xca\3\0abc", 7))).bytes());
        ZipBuilder wide;
        wide.add(entry("wide", large).with(&Z::zip64, true)).add("narrow").zip64End = true;
        row("zip64", wide.bytes());
    }
    void describesEachByte()
    {
        QFETCH(QByteArray, archive);
        writeFile(m_zip, archive);
        compareWithUnpacked();
    }

    void describesArchivesOfOtherPrograms_data()
    {
        columns<QString>("command");
        row("cmake", u"cmake -E tar cf ../desk.zip --format=zip ."_s);
        row("bsdtar, which writes sizes after the data", u"bsdtar -a -cf ../desk.zip ."_s);
        row("zip", u"zip -qr ../desk.zip ."_s);
        row("7z", u"7z a -tzip ../desk.zip ."_s);
    }
    void describesArchivesOfOtherPrograms()
    {
        QFETCH(QString, command);
        QStringList arguments = command.split(u' ');
        const QString program = QStandardPaths::findExecutable(arguments.takeFirst());
        if (program.isEmpty()) {
            QSKIP("it is not installed");
        }
        const QString folder = m_temp->filePath(u"in"_s);
        QDir().mkpath(folder + u"/plug ins/empty"_s);
        writeFile(folder + u"/desk"_s, QByteArray(70'000, 'd'));
        writeFile(folder + u"/plug ins/small"_s, "x");
        writeFile(folder + u"/plug ins/nothing"_s, {});
        QFile::setPermissions(folder + u"/desk"_s, QFile::Permissions(0x7755));
        runTool(program, folder, arguments);
        m_zip = m_temp->filePath(u"desk.zip"_s);
        compareWithUnpacked();
#ifdef Q_OS_UNIX
        const auto manifest = std::get<trust::PackageManifest>(manifestOf(m_zip, identity));
        for (const trust::ManifestFile& file : manifest.files) {
            QCOMPARE(file.mode.value_or(0) & 0111U, file.path == "desk" ? 0111U : 0U);
        }
#endif
    }

    void refuses_data()
    {
        columns<QByteArray, QString, QString>("archive", "release", "complaint");
        const auto bad = [](const char* name, const ZipItem& item, const QString& complaint) {
            row(name, ZipBuilder().add("first").add(item).bytes(), u"4.3.0"_s, complaint);
        };
        bad("a wrong checksum", entry("a").with(&Z::crc, 1), u"'a' is damaged: its checksum"_s);
        bad("a wrong checksum of a stored one", entry("a", "x", false).with(&Z::crc, 1),
            u"'a' is damaged: its checksum"_s);
        bad("too large a size", entry("a").with(&Z::size, 5), u"its size differs"_s);
        bad("too small a size", entry("a", QByteArray(100'000, 'a')).with(&Z::size, 99'999),
            u"its size differs"_s);
        bad("bytes after the packed ones", entry("a").with(&Z::junk, "j"), u"its size differs"_s);
        bad("what is not deflated",
            entry("a", QByteArray(100, '\xff'), false).with(&Z::method, quint16(8)),
            u"cannot be inflated"_s);
        bad("what clients do not unpack", entry("../a"), u"leads out"_s);
        bad("the name of the installed manifest", entry(".softwareupdate-manifest"),
            u"installed manifest"_s);
        const QByteArray good = ZipBuilder().add("first").bytes();
        row("a cut archive", good.chopped(30), u"4.3.0"_s, u"cannot be unpacked"_s);
        row("a release of two lines", good, u"4.3\nplatform Win32"_s, u"a line break"_s);
        row("no release", good, QString(), u"cannot be read"_s);
    }
    void refuses()
    {
        QFETCH(QByteArray, archive);
        QFETCH(QString, release);
        QFETCH(QString, complaint);
        writeFile(m_zip, archive);
        const QString error =
            errorOf(manifestOf(m_zip, {identity.product, identity.platforms, release}));
        QVERIFY2(error.contains(complaint) && error.contains(u"desk 4.3.zip"_s), qPrintable(error));
    }

    void takesProductAndPlatformsFromTheDocument_data()
    {
        columns<QByteArray, QString>("packages", "plan");
        const auto package = [](const QByteArray& name, const QByteArray& platform,
                                const QByteArray& more = {}) -> QByteArray {
            return "<package url=\"sub/desk%204.3.zip\" name=\"" + name + "\" platform=\"" +
                   platform + "\" " + (more.isEmpty() ? "type=\"Application\"" : more) + "/>";
        };
        row("two packages with one file", package("Desk", "B A") + package("Desk", "C B"),
            u"Desk|A B C|4.3|"_s);
        row("firmware", package("Desk", "A", "type=\"Camera Firmware\""),
            u"|||the document does not have it as an application"_s);
        row("two products", package("Desk", "A") + package("Viewer", "A"),
            u"|||the document has it for several products"_s);
        row("no platform", package("Desk", ""),
            u"|||the document names no platform or no release for it"_s);
        row("another file", package("Desk", "A").replace("4.3.zip", "4.4.zip"),
            u"desk 4.3.zip is not in the document"_s);
        row("two releases",
            package("Desk", "A") + package("Desk", "B", "type=\"Application\" release=\"5\""),
            u"desk 4.3.zip has several releases in the document"_s);
    }
    void takesProductAndPlatformsFromTheDocument()
    {
        QFETCH(QByteArray, packages);
        QFETCH(QString, plan);
        const QByteArray document =
            "<softwareList release=\"4.3\" baseurl=\"http://h/\">" + packages + "</softwareList>";
        const auto result = planFor({u"desk 4.3.zip"_s}, parsePackages(document));
        if (const auto* const error = std::get_if<QString>(&result)) {
            QCOMPARE(*error, plan);
            return;
        }
        SigningJob job = std::get<SigningPlan>(result).at(0);
        job.identity.platforms.sort();
        QCOMPARE(job.isWithManifest, job.noManifest.isEmpty());
        const PackageIdentity& its = job.identity;
        QCOMPARE((job.isWithManifest
                      ? its.product + u'|' + its.platforms.join(u' ') + u'|' + its.release + u'|'
                      : u"|||"_s + job.noManifest),
                 plan);
    }

    void signsWhatOnlyTheKeyCanSign()
    {
        const SecretKey key = SecretKey::generate();
        writeFile(m_temp->filePath(u"key"_s), key.encode({}));
        ZipBuilder().add("desk.exe").write(m_zip);
        const QStringList sign{u"sign"_s,      u"--key"_s,      m_temp->filePath(u"key"_s),
                               m_zip,          u"--release"_s,  identity.release,
                               u"--product"_s, identity.product};
        Console console;
        QCOMPARE(signCommand(sign, console), int(eFine));
        QCOMPARE(published(), (QStringList{u"desk 4.3.zip"_s, u"desk 4.3.zip.minisig"_s}));

        const QStringList more{u"--platform"_s, u"Win32"_s, u"--platform"_s, u"Win64"_s};
        QCOMPARE(signCommand(sign + more, console), int(eFine));
        const QByteArray text = readFile(m_zip + u".manifest"_s);
        const QByteArray signature = readFile(m_zip + u".manifest.minisig"_s);
        QVERIFY(text.contains("\nplatform Win32\nplatform Win64\n"));
        const auto refusal = [](const QByteArray& manifest, const QByteArray& proof,
                                const char* archive, const SecretKey& its) {
            const auto publicKey = trust::parsePublicKey(zk::viewOf(its.publicKey()));
            const auto result = trust::acceptManifest(zk::viewOf(manifest), zk::viewOf(proof),
                                                      archive, {publicKey.value()});
            const auto* const error = std::get_if<std::string>(&result);
            return error ? QByteArray::fromStdString(*error) : QByteArray();
        };
        constexpr char name[] = "desk 4.3.zip";
        QCOMPARE(refusal(text, signature, name, key), QByteArray());
        QVERIFY(refusal(text, signature, name, SecretKey::generate()).contains("unknown key"));
        QVERIFY(refusal(text + '\n', signature, name, key).contains("not the one"));
        QVERIFY(refusal(text, signature, "desk 4.4.zip", key).contains("does not name the file"));
        const QByteArray hash = zk::bytesOf(trust::Blake2b512::of(zk::viewOf(text)));
        for (const char* const comment : {"file:desk 4.3.zip.manifest", "release:4.3.0",
                                          "file:desk 4.3.zip.manifest\trelease:4.4"}) {
            QVERIFY(refusal(text, key.sign(hash, comment), name, key).contains("does not name"));
        }
    }

    void writesNothingForABadPackage_data()
    {
        columns<bool, QString>("isDamaged", "release");
        row("a damaged archive", true, u"4.3.0"_s);
        row("a release that no signature can name", false, u"4.3\t0"_s);
    }
    void writesNothingForABadPackage()
    {
        QFETCH(bool, isDamaged);
        QFETCH(QString, release);
        writeFile(m_temp->filePath(u"key"_s), SecretKey::generate().encode({}));
        const ZipItem item = entry("desk.exe");
        ZipBuilder().add(isDamaged ? item.with(&Z::crc, 1) : item).write(m_zip);
        Console console;
        QCOMPARE(
            signCommand({u"sign"_s, u"--key"_s, m_temp->filePath(u"key"_s), m_zip, u"--release"_s,
                         release, u"--product"_s, u"Desk"_s, u"--platform"_s, u"Win64"_s},
                        console),
            int(eFailed));
        QCOMPARE(published(), QStringList{u"desk 4.3.zip"_s});
    }
};

QTEST_GUILESS_MAIN(tst_Manifest)
#include "tst_Manifest.moc"
