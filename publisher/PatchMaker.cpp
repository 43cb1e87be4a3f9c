#include "publisher/PatchMaker.h"

#include "trust/PackageManifest.h"

#include <zstd.h>

#include <memory>

namespace publisher {

namespace {

struct EncoderCloser
{
    void operator()(ZSTD_CCtx* encoder) const { ZSTD_freeCCtx(encoder); }
};

} // namespace

std::optional<QByteArray> makePatch(const QByteArray& old, const QByteArray& fresh, int level)
{
    const auto windowLog = trust::patchWindowLog(quint64(old.size()), quint64(fresh.size()));
    const std::unique_ptr<ZSTD_CCtx, EncoderCloser> encoder(ZSTD_createCCtx());
    if (!windowLog || !encoder) {
        return std::nullopt;
    }
    const auto set = [&encoder](ZSTD_cParameter parameter, int value) {
        return !ZSTD_isError(ZSTD_CCtx_setParameter(encoder.get(), parameter, value));
    };
    QByteArray patch(int(ZSTD_compressBound(std::size_t(fresh.size()))), Qt::Uninitialized);
    const bool isFine =
        set(ZSTD_c_compressionLevel, level) && set(ZSTD_c_windowLog, *windowLog) &&
        set(ZSTD_c_enableLongDistanceMatching, 1) &&
        !ZSTD_isError(ZSTD_CCtx_refPrefix(encoder.get(), old.constData(), std::size_t(old.size())));
    const std::size_t size =
        isFine ? ZSTD_compress2(encoder.get(), patch.data(), std::size_t(patch.size()),
                                fresh.constData(), std::size_t(fresh.size()))
               : std::size_t(-1);
    if (ZSTD_isError(size) || size > trust::maximumPatchSize) {
        return std::nullopt;
    }
    patch.truncate(int(size));
    return patch;
}

} // namespace publisher
