#include "publisher/ZipWriter.h"

#include "support/FilePlacement.h"
#include "support/ZipArchive.h"

#include <QDir>
#include <QFile>

#include <zip.h>

#include <memory>

namespace publisher {

namespace {

constexpr int earliestYear = 1980;
constexpr int latestYear = 2107;
constexpr int best = 9;
constexpr quint32 executableMode = 0100755;
constexpr quint32 fileMode = 0100644;
constexpr quint32 folderMode = 0040755;

struct Discarder
{
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
using Archive = std::unique_ptr<zip_t, Discarder>;

/** The file @p path, to read from or to write to; null without memory. */
zip_source_t* sourceOf(const QString& path)
{
#ifdef Q_OS_WIN
    const std::wstring name = QDir::toNativeSeparators(path).toStdWString();
    return zip_source_win32w_create(name.c_str(), 0, -1, nullptr);
#else
    return zip_source_file_create(QFile::encodeName(path).constData(), 0, -1, nullptr);
#endif
}

zip_uint16_t dosDate(const QDate& date)
{
    constexpr int yearUnit = 512;
    constexpr int monthUnit = 32;
    return zip_uint16_t((date.year() - earliestYear) * yearUnit + date.month() * monthUnit +
                        date.day());
}

zip_uint16_t dosTime(const QTime& time)
{
    constexpr int hourUnit = 2048;
    constexpr int minuteUnit = 32;
    return zip_uint16_t(time.hour() * hourUnit + time.minute() * minuteUnit + time.second() / 2);
}

/** Creates the archive; null and @p error set if that is not possible. */
Archive createArchive(const QString& path, QString& error)
{
    zip_source_t* const source = sourceOf(path);
    zip_error_t reason;
    zip_error_init(&reason);
    Archive archive(source ? zip_open_from_source(source, ZIP_CREATE | ZIP_TRUNCATE, &reason)
                           : nullptr);
    if (!archive) {
        error = QString::fromUtf8(zip_error_strerror(&reason));
        zip_source_free(source);
    }
    zip_error_fini(&reason);
    return archive;
}

/** Adds an entry, whose file is read when the archive is closed. */
bool addEntry(zip_t* archive, const TreeEntry& entry, const QDateTime& utc)
{
    zip_int64_t index = -1;
    if (entry.isFolder()) {
        index = zip_dir_add(archive, entry.name.c_str(), ZIP_FL_ENC_UTF_8);
    } else if (zip_source_t* const source = sourceOf(entry.path)) {
        index = zip_file_add(archive, entry.name.c_str(), source, ZIP_FL_ENC_UTF_8);
        if (index < 0) {
            zip_source_free(source);
        }
    }
    if (index < 0) {
        return false;
    }
    const auto added = zip_uint64_t(index);
    const quint32 mode = entry.isFolder()     ? folderMode
                         : entry.isExecutable ? executableMode
                                              : fileMode;
    // The time in full: libzip would take that of the file, in the time zone of this machine.
    return zip_file_set_dostime(archive, added, dosTime(utc.time()), dosDate(utc.date()), 0) == 0 &&
           zip_file_set_external_attributes(archive, added, 0, ZIP_OPSYS_UNIX, mode << 16U) == 0 &&
           (entry.isFolder() ||
            zip_set_file_compression(archive, added, ZIP_CM_DEFAULT, best) == 0);
}

void reportProgress(zip_t* /*archive*/, double done, void* progress)
{
    (*static_cast<const PackProgress*>(progress))(done);
}

QString pack(const QString& path, const PackageTree& tree, const QDateTime& utc,
             PackProgress progress)
{
    constexpr double precision = 0.01;
    QString error;
    Archive archive = createArchive(path, error);
    if (!archive) {
        return error;
    }
    for (const TreeEntry& entry : tree) {
        if (!addEntry(archive.get(), entry, utc)) {
            return QStringLiteral("%1: %2").arg(entry.path,
                                                QString::fromUtf8(zip_strerror(archive.get())));
        }
    }
    zip_register_progress_callback_with_state(archive.get(), precision, reportProgress, nullptr,
                                              &progress);
    if (zip_close(archive.get()) != 0) {
        return QString::fromUtf8(zip_strerror(archive.get()));
    }
    (void)archive.release(); // closed
    return QString();
}

/** Why clients would refuse the archive; empty if they would not. */
QString refusal(const QString& path)
{
    try {
        const zk::ZipArchive archive(path);
    } catch (const zk::IOException& error) {
        return error.message();
    }
    return QString();
}

} // namespace

bool isZipTime(const QDateTime& utc)
{
    return utc.isValid() && utc.date().year() >= earliestYear && utc.date().year() <= latestYear;
}

QString writeZip(const QString& path, const PackageTree& tree, const QDateTime& utc,
                 const PackProgress& progress)
{
    const QString partial = path + QStringLiteral(".partial");
    QString error = pack(partial, tree, utc, progress);
    if (error.isEmpty()) {
        error = refusal(partial);
    }
    if (error.isEmpty() && !zk::renameInPlace(partial, path)) {
        error = QStringLiteral("it cannot be replaced");
    }
    if (!error.isEmpty()) {
        (void)QFile::remove(partial); // there may be none
        return QStringLiteral("%1: %2").arg(path, error);
    }
    return QString();
}

} // namespace publisher
