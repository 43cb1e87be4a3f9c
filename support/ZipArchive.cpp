#include "support/ZipArchive.h"

#include "support/ZipEntryNames.h"
#include "support/ZipFileSource.h"

#include <QDir>

#include <zip.h>

#include <limits>
#include <utility>

namespace zk {

namespace {

constexpr quint32 UnixTypeMask = 0170000;
constexpr quint32 UnixRegular = 0100000;
constexpr quint32 UnixFolder = 0040000;
constexpr quint32 WindowsReparsePoint = 0x400;

QString textOf(zip_error_t* error)
{
    return QString::fromUtf8(zip_error_strerror(error));
}

struct ZipError
{
    ZipError() { zip_error_init(&value); }
    ~ZipError() { zip_error_fini(&value); }
    ZipError(const ZipError&) = delete;
    ZipError& operator=(const ZipError&) = delete;
    zip_error_t value{};
};

/**
 * The UTC time that Unix archivers add, -1 if missing. The directory's own time is local, with a
 * resolution of two seconds.
 */
qint64 preciseTime(zip* archive, quint64 index)
{
    constexpr zip_uint16_t extendedTimestamp = 0x5455;
    zip_uint16_t length = 0;
    const zip_uint8_t* field = zip_file_extra_field_get_by_id(archive, index, extendedTimestamp, 0,
                                                              &length, ZIP_FL_CENTRAL);
    if (!field || length < 5 || (field[0] & 1) == 0) {
        return -1;
    }
    const quint32 seconds = quint32(field[1]) | quint32(field[2]) << 8 | quint32(field[3]) << 16 |
                            quint32(field[4]) << 24;
    return qint32(seconds);
}

bool hasControlByte(const char* name)
{
    for (; name && *name; ++name) {
        const auto byte = static_cast<unsigned char>(*name);
        if (byte < 0x20 || byte == 0x7f) {
            return true;
        }
    }
    return false;
}

QString kindComplaint(const ZipEntry& entry)
{
    const quint32 type = entry.unixMode & UnixTypeMask;
    if (type != 0 && type != UnixRegular && type != UnixFolder) {
        return QStringLiteral("is a link or another special file");
    }
    if (type == UnixFolder && !entry.isFolder()) {
        return QStringLiteral("is a folder by its mode but a file by its name");
    }
    return QString();
}

/** Detects impossible sizes before memory is allocated for them. */
QString sizeComplaint(const ZipEntry& entry, quint64 fileSize)
{
    constexpr quint64 maxDeflateRatio = 1032;
    const bool possible =
        entry.size <= quint64(std::numeric_limits<qint64>::max()) &&
        entry.compressedSize <= fileSize &&
        (entry.method == ZIP_CM_STORE ? entry.size == entry.compressedSize
                                      : entry.size / maxDeflateRatio <= entry.compressedSize) &&
        (!entry.isFolder() || entry.size == 0);
    return possible ? QString() : QStringLiteral("has an impossible size");
}

} // namespace

bool ZipEntry::isDeflated() const
{
    return method == ZIP_CM_DEFLATE;
}

void ZipEntry::checkCrc(quint32 found) const
{
    if (found != crc) {
        throw IOException(QStringLiteral("is damaged: its checksum is wrong"));
    }
}

IOException ZipEntry::wrongSize()
{
    return IOException(QStringLiteral("is damaged: its size differs from the declared one"));
}

void ZipArchive::Closer::operator()(zip* archive) const
{
    zip_discard(archive);
}

void ZipArchive::Stream::Closer::operator()(zip_file* file) const
{
    zip_fclose(file);
}

ZipArchive::Stream::Stream(zip_file* file)
    : m_file(file)
{
}

qint64 ZipArchive::Stream::read(char* data, qint64 size)
{
    const qint64 got = zip_fread(m_file.get(), data, zip_uint64_t(size));
    if (got < 0) {
        throw IOException(
            QStringLiteral("cannot be read: %1").arg(textOf(zip_file_get_error(m_file.get()))));
    }
    return got;
}

void ZipArchive::Stream::readFully(char* data, qint64 size)
{
    for (qint64 done = 0; done < size;) {
        const qint64 got = read(data + done, size - done);
        if (got == 0) {
            throw IOException(QStringLiteral("is truncated"));
        }
        done += got;
    }
}

ZipArchive::ZipArchive(QString path)
    : m_path(std::move(path))
{
    open();
    readDirectory();
    checkNames();
}

ZipArchive::~ZipArchive() = default;

void ZipArchive::open()
{
    ZipError error;
    // libzip keeps the whole directory in memory, several times its size.
    constexpr quint64 maxDirectorySize = 32ULL * 1024 * 1024;
    const auto mayRead = std::make_shared<quint64>(maxDirectorySize);
    zip_source_t* source = makeZipFileSource(m_path, mayRead, &error.value);
    if (!source) {
        throw refusal(textOf(&error.value));
    }
    m_zip.reset(zip_open_from_source(source, ZIP_RDONLY, &error.value));
    if (!m_zip) {
        zip_source_free(source);
        throw refusal(*mayRead == 0 ? QStringLiteral("its directory is too large")
                                    : textOf(&error.value));
    }
    m_source = source;
    *mayRead = std::numeric_limits<quint64>::max();
    zip_stat_t stat;
    zip_stat_init(&stat);
    if (zip_source_stat(source, &stat) != 0) {
        throw refusal(textOf(zip_source_error(source)));
    }
    m_fileSize = stat.size;
    if (m_fileSize == 0) {
        // To libzip this is an archive without entries; in fact it is a download that never began.
        throw refusal(QStringLiteral("the file is empty"));
    }
}

void ZipArchive::readDirectory()
{
    constexpr zip_int64_t maxEntries = 200'000;
    const zip_int64_t count = zip_get_num_entries(m_zip.get(), 0);
    if (count > maxEntries) {
        throw refusal(QStringLiteral("it has more than %1 entries").arg(maxEntries));
    }
    m_entries.reserve(std::size_t(count));
    quint64 compressed = 0;
    for (zip_int64_t i = 0; i < count; ++i) {
        m_entries.push_back(readEntry(quint64(i)));
        const ZipEntry& entry = m_entries.back();
        for (const QString& complaint : {kindComplaint(entry), sizeComplaint(entry, m_fileSize)}) {
            if (!complaint.isEmpty()) {
                throw refusal(entry.name, complaint);
            }
        }
        // Each is at most the file's size here, so this does not overflow.
        compressed += entry.compressedSize;
        if (compressed > m_fileSize) {
            throw refusal(entry.name, QStringLiteral("shares its bytes with another entry"));
        }
    }
}

ZipEntry ZipArchive::readEntry(quint64 index) const
{
    zip_stat_t stat;
    constexpr zip_uint64_t needed = ZIP_STAT_NAME | ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE |
                                    ZIP_STAT_CRC | ZIP_STAT_COMP_METHOD |
                                    ZIP_STAT_ENCRYPTION_METHOD;
    if (zip_stat_index(m_zip.get(), index, ZIP_FL_ENC_GUESS, &stat) != 0 ||
        (stat.valid & needed) != needed) {
        throw refusal(QStringLiteral("the entry number %1 cannot be read").arg(index + 1));
    }
    ZipEntry entry;
    entry.name = QString::fromUtf8(stat.name);
    entry.size = stat.size;
    entry.compressedSize = stat.comp_size;
    entry.crc = stat.crc;
    entry.method = stat.comp_method;
    const qint64 precise = preciseTime(m_zip.get(), index);
    entry.modified = precise >= 0 ? precise : qint64(stat.mtime);
    if (stat.encryption_method != ZIP_EM_NONE) {
        throw refusal(entry.name, QStringLiteral("is encrypted"));
    }
    if (entry.method != ZIP_CM_STORE && entry.method != ZIP_CM_DEFLATE) {
        throw refusal(entry.name,
                      QStringLiteral("is packed with the unknown method %1").arg(entry.method));
    }
    zip_uint8_t system = 0;
    zip_uint32_t attributes = 0;
    if (zip_file_get_external_attributes(m_zip.get(), index, 0, &system, &attributes) == 0) {
        // Whatever the host system field says: several archivers write the Unix mode with Windows'
        // flag too.
        entry.unixMode = attributes >> 16;
        const bool fromWindows = system == ZIP_OPSYS_DOS || system == ZIP_OPSYS_WINDOWS_NTFS;
        if (fromWindows && (attributes & WindowsReparsePoint) != 0) {
            throw refusal(entry.name, QStringLiteral("is a link or another special file"));
        }
    }
    return entry;
}

void ZipArchive::checkNames() const
{
    ZipEntryNameSet names;
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        const QString& name = m_entries[i].name;
        // libzip converts control bytes to the symbols of code page 437.
        if (hasControlByte(zip_get_name(m_zip.get(), i, ZIP_FL_ENC_RAW))) {
            throw refusal(name, QStringLiteral("has a control character in its name"));
        }
        const QString target = withoutDotPrefix(name);
        if (target.isEmpty() && !name.isEmpty()) {
            continue;
        }
        QString complaint = entryNameComplaint(target);
        if (complaint.isEmpty()) {
            complaint = names.add(target);
        }
        if (!complaint.isEmpty()) {
            throw refusal(name, complaint);
        }
    }
}

ZipArchive::Stream ZipArchive::stream(std::size_t index, Form form) const
{
    const zip_flags_t flags = form == Form::Raw ? ZIP_FL_COMPRESSED : 0;
    zip_file_t* const file = zip_fopen_index(m_zip.get(), index, flags);
    if (!file) {
        throw IOException(
            QStringLiteral("cannot be read: %1").arg(textOf(zip_get_error(m_zip.get()))));
    }
    return Stream(file);
}

quint64 ZipArchive::dataOffset(std::size_t index) const
{
    if (m_entries[index].compressedSize == 0) {
        return 0;
    }
    // libzip does not tell the offset, but it reads the first byte from there.
    Stream packed = stream(index, Form::Raw);
    char first = 0;
    packed.readFully(&first, 1);
    const zip_int64_t end = zip_source_tell(m_source);
    if (end <= 0) {
        throw IOException(
            QStringLiteral("cannot be read: %1").arg(textOf(zip_source_error(m_source))));
    }
    return quint64(end - 1);
}

IOException ZipArchive::refusal(const QString& reason) const
{
    return IOException(QStringLiteral("The archive '%1' cannot be unpacked: %2.")
                           .arg(QDir::toNativeSeparators(m_path), reason));
}

IOException ZipArchive::refusal(const QString& entryName, const QString& complaint) const
{
    return refusal(QStringLiteral("the entry '%1' %2").arg(displayName(entryName), complaint));
}

} // namespace zk
