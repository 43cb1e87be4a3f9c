#include "publisher/PatchWriter.h"

#include "publisher/ManifestWriter.h"
#include "publisher/PatchFile.h"
#include "publisher/PatchMaker.h"

#include "download/FileHash.h"
#include "install/RangePlan.h"
#include "support/ZipArchive.h"
#include "support/ZipEntryNames.h"

#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>
#include <map>
#include <memory>
#include <numeric>
#include <set>

namespace publisher {

namespace {

using trust::Blake2b256;
using trust::ManifestFile;

/** An open package, and its files by path. */
class Package
{
public:
    /** Throws IOException. */
    explicit Package(const QString& path)
        : m_archive(path)
    {
        const QString some = QStringLiteral("-");
        auto manifest = manifestOf(path, {some, {some}, some}, Patches::eIgnored);
        if (const auto* const error = std::get_if<QString>(&manifest)) {
            throw zk::IOException(*error);
        }
        m_manifest = std::move(std::get<trust::PackageManifest>(manifest));
        const std::string top = topFolder();
        for (const ManifestFile& file : m_manifest.files) {
            m_files.emplace(file.path.substr(top.size()), &file);
            m_hashes.insert(file.hash);
        }
        for (std::size_t i = 0; i < m_archive.entries().size(); ++i) {
            const QString name = zk::withoutDotPrefix(m_archive.entries()[i].name);
            m_entries[name.toStdString()] = i;
        }
    }

    [[nodiscard]] const trust::PackageManifest& manifest() const { return m_manifest; }
    /** By their paths below the one top folder, which may be named after the release. */
    [[nodiscard]] const std::map<std::string, const ManifestFile*>& files() const
    {
        return m_files;
    }
    [[nodiscard]] bool has(const Blake2b256::Digest& hash) const
    {
        return m_hashes.count(hash) > 0;
    }

    [[nodiscard]] QByteArray contents(const ManifestFile& file) const
    {
        if (file.size > trust::maximumPatchMemory) {
            return QByteArray();
        }
        auto stream = m_archive.stream(m_entries.at(file.path), zk::ZipArchive::Form::Inflated);
        QByteArray bytes(int(file.size), Qt::Uninitialized);
        stream.readFully(bytes.data(), bytes.size());
        return bytes;
    }

private:
    zk::ZipArchive m_archive;
    trust::PackageManifest m_manifest;
    std::map<std::string, const ManifestFile*> m_files;
    std::set<Blake2b256::Digest> m_hashes;
    std::map<std::string, std::size_t> m_entries;

    [[nodiscard]] std::string topFolder() const
    {
        const std::string& first =
            m_manifest.files.empty() ? std::string() : m_manifest.files.front().path;
        const std::string top = first.substr(0, first.find('/') + 1);
        const bool isCommon =
            std::all_of(m_manifest.files.begin(), m_manifest.files.end(),
                        [&top](const ManifestFile& file) { return file.path.rfind(top, 0) == 0; });
        return isCommon ? top : std::string();
    }
};

/** The patches of one new package. */
class Writer
{
public:
    Writer(const QString& newPackage, int level, PatchProgress progress)
        : m_fresh(newPackage)
        , m_level(level)
        , m_progress(std::move(progress))
        , m_file(newPackage +
                 QString::fromLatin1(trust::patchesSuffix.data(), int(trust::patchesSuffix.size())))
    {
        if (!m_file.open(QIODevice::WriteOnly)) {
            fail();
        }
    }

    UpdateCost add(const QString& oldPackage)
    {
        const Package old(oldPackage);
        UpdateCost cost;
        cost.oldPackage = QFileInfo(oldPackage).fileName();
        cost.archive = qint64(m_fresh.manifest().archiveSize);
        std::vector<zk::WantedBytes> entries;
        std::vector<zk::WantedBytes> rest;
        std::vector<zk::WantedBytes> patches;
        for (const auto& [path, file] : m_fresh.files()) {
            if (old.has(file->hash)) {
                continue;
            }
            const zk::WantedBytes entry{qint64(file->offset), qint64(file->packedSize), 0};
            entries.push_back(entry);
            const auto older = old.files().find(path);
            const PatchRecord* const record =
                older != old.files().end() ? patchFor(old, *older->second, *file) : nullptr;
            if (record) {
                patches.push_back({qint64(record->patch.offset), qint64(record->patch.size), 0});
            } else {
                rest.push_back(entry);
            }
        }
        int ignored = 0;
        cost.changed = sizeOf(entries, ignored);
        cost.patches = int(patches.size());
        cost.patched = sizeOf(rest, cost.requests) + sizeOf(patches, cost.requests);
        return cost;
    }

    void commit()
    {
        if (!m_file.commit()) {
            fail();
        }
    }

private:
    using Pair = std::pair<Blake2b256::Digest, Blake2b256::Digest>;

    const Package m_fresh;
    const int m_level;
    const PatchProgress m_progress;
    QSaveFile m_file;
    /** By the hashes of the older and the newer file; without a patch if none is worth it. */
    std::map<Pair, std::unique_ptr<PatchRecord>> m_records;

    [[noreturn]] void fail() const
    {
        throw zk::IOException(
            QStringLiteral("%1: %2").arg(m_file.fileName(), m_file.errorString()));
    }

    static qint64 sizeOf(std::vector<zk::WantedBytes>& wanted, int& requests)
    {
        std::sort(wanted.begin(), wanted.end(),
                  [](const auto& left, const auto& right) { return left.first < right.first; });
        const auto sections = zk::planSections(wanted);
        requests += int(sections.size());
        return std::accumulate(
            sections.begin(), sections.end(), qint64(0),
            [](qint64 sum, const zk::FetchedSection& section) { return sum + section.size; });
    }

    const PatchRecord* patchFor(const Package& old, const ManifestFile& older,
                                const ManifestFile& file)
    {
        const auto [known, isNew] = m_records.try_emplace(Pair(older.hash, file.hash));
        if (isNew) {
            known->second = make(old, older, file);
        }
        return known->second.get();
    }

    std::unique_ptr<PatchRecord> make(const Package& old, const ManifestFile& older,
                                      const ManifestFile& file)
    {
        constexpr quint64 percent = 100;
        constexpr quint64 mostPercent = 80;
        m_progress(QString::fromStdString(file.path));
        if (!trust::patchWindowLog(older.size, file.size)) {
            return nullptr;
        }
        const auto patch = makePatch(old.contents(older), m_fresh.contents(file), m_level);
        if (!patch || quint64(patch->size()) * percent >= file.packedSize * mostPercent) {
            return nullptr;
        }
        auto record = std::make_unique<PatchRecord>();
        record->newHash = file.hash;
        record->patch.oldSize = older.size;
        record->patch.oldHash = older.hash;
        record->patch.size = quint64(patch->size());
        const QByteArray header = patchHeader(*record);
        record->patch.offset = quint64(m_file.pos() + header.size());
        if (m_file.write(header + *patch) < 0) {
            fail();
        }
        return record;
    }
};

} // namespace

std::variant<std::vector<UpdateCost>, QString> writePatches(const QStringList& oldPackages,
                                                            const QString& newPackage, int level,
                                                            const PatchProgress& progress)
{
    try {
        Writer writer(newPackage, level, progress);
        std::vector<UpdateCost> costs;
        for (const QString& oldPackage : oldPackages) {
            costs.push_back(writer.add(oldPackage));
        }
        writer.commit();
        return costs;
    } catch (const zk::IOException& error) {
        return error.message();
    }
}

} // namespace publisher
