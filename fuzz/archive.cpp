// Reads an arbitrary zip archive and unpacks it into a folder; no file may be written outside.

#include "support/Exception.h"
#include "support/ZipReader.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const QTemporaryDir place(QStringLiteral("/dev/shm/fuzz-archive-XXXXXX"));
    const QString zipFile = place.filePath(QStringLiteral("a.zip"));
    const QString target = place.filePath(QStringLiteral("out"));
    QFile file(zipFile);
    if (!file.open(QIODevice::WriteOnly)) {
        return 0;
    }
    file.write(reinterpret_cast<const char*>(data), qint64(size));
    file.close();
    try {
        zk::ZipReader reader(zipFile);
        reader.open(QIODevice::NotOpen);
        // A valid zip bomb takes long and shows no fault of our code.
        constexpr qint64 mostBytes = 8LL * 1024 * 1024;
        if (reader.uncompressedSize(reader.fileList()) < mostBytes) {
            reader.extractFiles(target, QRegExp(), QString(), true, reader.fileList());
        }
    } catch (const zk::IOException& error) {
        // Refused: no file is left, and the message names the archive.
        if (QDir(target).exists() || !error.message().contains(QStringLiteral("a.zip"))) {
            std::abort();
        }
    }
    const QStringList outside =
        QDir(place.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    if (outside.size() > 2) {
        std::abort();
    }
    QDir(target).removeRecursively();
    return 0;
}
