#include "support/ZipFileSource.h"

#include <QFile>
#include <QFileInfo>

#include <zip.h>

#include <cerrno>
#include <memory>
#include <utility>

namespace zk {

namespace {

struct FileSource
{
    FileSource(const QString& path, std::shared_ptr<quint64> bytes)
        : file(path)
        , mayRead(std::move(bytes))
    {
        zip_error_init(&error);
    }
    ~FileSource() { zip_error_fini(&error); }
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;

    zip_int64_t fail(int code)
    {
        zip_error_set(&error, code, EIO);
        return -1;
    }

    // Not mapped into memory: if another process truncates the file, a signal would end this one.
    QFile file;
    std::shared_ptr<quint64> mayRead;
    zip_error_t error{};
};

zip_int64_t seek(FileSource& source, void* data, zip_uint64_t length)
{
    const zip_int64_t target = zip_source_seek_compute_offset(zip_uint64_t(source.file.pos()),
                                                              zip_uint64_t(source.file.size()),
                                                              data, length, &source.error);
    if (target < 0) {
        return -1;
    }
    return source.file.seek(target) ? 0 : source.fail(ZIP_ER_SEEK);
}

zip_int64_t describe(FileSource& source, void* data, zip_uint64_t length)
{
    if (length < sizeof(zip_stat_t)) {
        return source.fail(ZIP_ER_INVAL);
    }
    auto* stat = static_cast<zip_stat_t*>(data);
    zip_stat_init(stat);
    stat->size = zip_uint64_t(source.file.size());
    stat->valid = ZIP_STAT_SIZE;
    return sizeof(zip_stat_t);
}

zip_int64_t readFile(FileSource& source, void* data, zip_uint64_t length)
{
    if (length > *source.mayRead) {
        *source.mayRead = 0;
        return source.fail(ZIP_ER_READ);
    }
    const qint64 got = source.file.read(static_cast<char*>(data), qint64(length));
    *source.mayRead -= quint64(qMax<qint64>(got, 0));
    return got < 0 ? source.fail(ZIP_ER_READ) : got;
}

zip_int64_t answer(void* context, void* data, zip_uint64_t length, zip_source_cmd_t command)
{
    auto& source = *static_cast<FileSource*>(context);
    switch (command) {
    case ZIP_SOURCE_OPEN:
        return source.file.seek(0) ? 0 : source.fail(ZIP_ER_SEEK);
    case ZIP_SOURCE_READ:
        return readFile(source, data, length);
    case ZIP_SOURCE_CLOSE:
        return 0;
    case ZIP_SOURCE_STAT:
        return describe(source, data, length);
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&source.error, data, length);
    case ZIP_SOURCE_FREE:
        delete &source;
        return 0;
    case ZIP_SOURCE_SEEK:
        return seek(source, data, length);
    case ZIP_SOURCE_TELL:
        return source.file.pos();
    case ZIP_SOURCE_SUPPORTS:
        return ZIP_SOURCE_SUPPORTS_SEEKABLE;
    default:
        return source.fail(ZIP_ER_OPNOTSUPP);
    }
}

} // namespace

zip_source* makeZipFileSource(const QString& path, std::shared_ptr<quint64> mayRead,
                              zip_error* error)
{
    auto source = std::make_unique<FileSource>(path, std::move(mayRead));
    // isFile() first: opening a pipe would block until its other end is opened.
    if (!QFileInfo(path).isFile() || !source->file.open(QIODevice::ReadOnly)) {
        zip_error_set(error, QFileInfo::exists(path) ? ZIP_ER_OPEN : ZIP_ER_NOENT, 0);
        return nullptr;
    }
    zip_source_t* result = zip_source_function_create(answer, source.get(), error);
    if (result) {
        (void)source.release(); // libzip frees it with ZIP_SOURCE_FREE
    }
    return result;
}

} // namespace zk
