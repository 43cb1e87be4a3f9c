#include "install/FilePatch.h"

#include "support/FilePlacement.h"
#include "support/FolderWalk.h"

#include <QFile>

#include <zstd.h>

#include <memory>
#include <optional>

namespace zk {

namespace {

struct DecoderCloser
{
    void operator()(ZSTD_DCtx* decoder) const { ZSTD_freeDCtx(decoder); }
};
using Decoder = std::unique_ptr<ZSTD_DCtx, DecoderCloser>;

/** Not mapped: if another process truncates the file, a signal would end this one. */
std::optional<QByteArray> readPlainFile(const QString& path, qint64 largest)
{
    QFile file(path);
    if (!isPlainFile(QFileInfo(path)) || !file.open(QIODevice::ReadOnly) || file.size() > largest) {
        return std::nullopt;
    }
    return file.read(largest);
}

Decoder makeDecoder(const QByteArray& old, int windowLog)
{
    Decoder decoder(ZSTD_createDCtx());
    // Set explicitly: the default refuses files above 128 MiB, and no limit would let the patch
    // choose.
    const bool isFine =
        decoder &&
        !ZSTD_isError(ZSTD_DCtx_setParameter(decoder.get(), ZSTD_d_windowLogMax, windowLog)) &&
        !ZSTD_isError(ZSTD_DCtx_refPrefix(decoder.get(), old.constData(), std::size_t(old.size())));
    return isFine ? std::move(decoder) : nullptr;
}

} // namespace

bool applyPatch(const QByteArray& patch, const QString& oldPath, const trust::ManifestFile& file,
                QFile& target, const std::atomic<bool>& isCancelled)
{
    const auto old = readPlainFile(oldPath, qint64(trust::maximumPatchMemory));
    const auto windowLog =
        old ? trust::patchWindowLog(quint64(old->size()), file.size) : std::nullopt;
    const Decoder decoder = windowLog ? makeDecoder(*old, *windowLog) : nullptr;
    if (!decoder) {
        return false;
    }
    QByteArray piece(int(ZSTD_DStreamOutSize()), Qt::Uninitialized);
    ZSTD_inBuffer input{patch.constData(), std::size_t(patch.size()), 0};
    trust::Blake2b256 hash;
    quint64 written = 0;
    for (std::size_t hint = 1; hint != 0;) {
        ZSTD_outBuffer output{piece.data(), std::size_t(piece.size()), 0};
        const std::size_t before = input.pos;
        hint = ZSTD_decompressStream(decoder.get(), &output, &input);
        written += output.pos;
        const bool isStuck = output.pos == 0 && input.pos == before;
        if (ZSTD_isError(hint) || isStuck || written > file.size || isCancelled ||
            !writeAll(target, piece.constData(), qint64(output.pos))) {
            return false;
        }
        hash.add({piece.constData(), output.pos});
    }
    return input.pos == input.size && written == file.size && hash.result() == file.hash;
}

} // namespace zk
