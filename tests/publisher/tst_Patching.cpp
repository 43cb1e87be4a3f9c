// Patches that `patch` makes, and what becomes of them in the manifest.

#include "Files.h"
#include "Rows.h"
#include "ZipBuilder.h"

#include "publisher/ManifestWriter.h"
#include "publisher/PatchFile.h"
#include "publisher/PatchMaker.h"
#include "publisher/PatchWriter.h"

#include "download/FileHash.h"
#include "install/FilePatch.h"

#include <QTemporaryDir>

#include <random>

using namespace publisher;
using namespace zk::test;

namespace {

QByteArray noise(unsigned seed, int size = 50'000)
{
    std::mt19937 random(seed);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char& c : bytes) {
        c = char(random());
    }
    return bytes;
}

trust::Blake2b256::Digest hashOf(const QByteArray& bytes)
{
    return trust::Blake2b256::of(zk::viewOf(bytes));
}

} // namespace

class tst_Patching : public QObject
{
    Q_OBJECT

    QTemporaryDir m_temp;
    const PackageIdentity m_identity{u"Camera Desk"_s, {u"Win64"_s}, u"4.3"_s};

    QString pack(const QString& name, const QMap<QByteArray, QByteArray>& files)
    {
        ZipBuilder zip;
        for (auto file = files.cbegin(); file != files.cend(); ++file) {
            zip.add(file.key(), file.value());
        }
        zip.write(m_temp.filePath(name));
        return m_temp.filePath(name);
    }

private slots:
    void makesPatchesOfChangedFiles()
    {
        const QByteArray program = noise(1);
        const QByteArray fresh = noise(1).mid(100) + "new";
        const QByteArray older = noise(1).mid(3000);
        // The one folder is named after the release.
        const QString first =
            pack(u"1.zip"_s, {{"desk-1/program", older}, {"desk-1/same", noise(3)}});
        const QString second =
            pack(u"2.zip"_s, {{"desk-2/program", program}, {"desk-2/other", noise(4)}});
        const QString third = pack(u"3.zip"_s, {{"desk-3/program", fresh},
                                                {"desk-3/copy", fresh},
                                                {"desk-3/other", noise(5)},
                                                {"desk-3/same", noise(3)}});
        QCOMPARE(manifestOf(third, m_identity).index(), std::size_t(0));
        const auto result =
            writePatches({first, second}, third, defaultPatchLevel, [](const QString&) {});
        QVERIFY2(result.index() == 0,
                 qPrintable(result.index() ? std::get<QString>(result) : QString()));
        const auto& costs = std::get<std::vector<UpdateCost>>(result);
        QCOMPARE(costs[0].patches, 1);
        QCOMPARE(costs[1].patches, 1); // that of "other" would be as large as the file
        QVERIFY(costs[0].patched > 100'000 && costs[0].patched < 104'000); // "copy" and "other"
        QVERIFY(costs[0].changed > 149'000);

        const auto manifest = std::get<trust::PackageManifest>(manifestOf(third, m_identity));
        const QByteArray patches = readFile(third + u".patches"_s);
        QCOMPARE(manifest.patchesSize, std::uint64_t(patches.size()));
        QStringList made;
        for (const trust::ManifestFile& file : manifest.files) {
            for (const trust::ManifestPatch& patch : file.patches) {
                const QByteArray bytes = patches.mid(int(patch.offset), int(patch.size));
                const QByteArray& old = patch.oldHash == hashOf(older) ? older : program;
                QVERIFY(patch.oldHash == hashOf(old) && patch.oldSize == quint64(old.size()));
                QVERIFY(patch.hash == hashOf(bytes));
                writeFile(m_temp.filePath(u"old"_s), old);
                QFile target(m_temp.filePath(u"new"_s));
                QVERIFY(target.open(QIODevice::WriteOnly));
                QVERIFY(zk::applyPatch(bytes, m_temp.filePath(u"old"_s), file, target, {false}));
                made << QString::fromStdString(file.path);
            }
        }
        // Both files with these contents can be made by them: the first one is.
        QCOMPARE(made.size(), 2);

        // Whatever is behind the patches was not made for this package.
        pack(u"3.zip"_s, {{"desk-3/program", noise(9)}});
        QVERIFY(std::get<QString>(manifestOf(third, m_identity)).contains(u"another package"_s));
        writeFile(third + u".patches"_s, patches.chopped(1));
        QVERIFY(std::get<QString>(manifestOf(third, m_identity)).contains(u"damaged"_s));
    }

    void keepsToTheMemoryOfClients()
    {
        constexpr std::uint64_t mebi = 1 << 20;
        QCOMPARE(trust::patchWindowLog(0, 0), std::optional(10));
        QCOMPARE(trust::patchWindowLog(5, 1025), std::optional(11));
        QCOMPARE(trust::patchWindowLog(256 * mebi, 256 * mebi), std::optional(28));
        QCOMPARE(trust::patchWindowLog(256 * mebi + 1, 256 * mebi), std::nullopt);
        QCOMPARE(trust::patchWindowLog(1, 256 * mebi + 1), std::nullopt);
        QCOMPARE(trust::patchWindowLog(1, ~std::uint64_t(0)), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(tst_Patching)
#include "tst_Patching.moc"
