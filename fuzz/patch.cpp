// Patches of hostile servers: whatever a patch is, its result is never larger than told, and never
// accepted with another hash.

#include "install/FilePatch.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const QTemporaryDir folder;
    static const QString oldPath = [] {
        QFile old(folder.filePath(QStringLiteral("old")));
        for (int i = 0; old.isOpen() || old.open(QIODevice::WriteOnly); ++i) {
            old.write(QByteArray::number(i) + ' ');
            if (i == 2000) {
                break;
            }
        }
        return old.fileName();
    }();
    constexpr std::uint64_t told = 20'000;
    const std::atomic<bool> isCancelled{false};
    trust::ManifestFile file;
    file.size = told;
    QFile target(folder.filePath(QStringLiteral("new")));
    const QByteArray patch(reinterpret_cast<const char*>(data), int(size));
    if (!target.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        zk::applyPatch(patch, oldPath, file, target, isCancelled) || target.size() > qint64(told)) {
        std::abort();
    }
    return 0;
}
