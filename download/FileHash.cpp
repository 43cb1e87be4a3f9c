#include "download/FileHash.h"

#include <QIODevice>

namespace zk {

template <typename Hash>
std::optional<typename Hash::Digest> hashOf(QIODevice& device, const HashProgress& progress)
{
    constexpr qint64 pieceSize = 1024LL * 1024;
    QByteArray piece(int(pieceSize), Qt::Uninitialized);
    Hash hash;
    qint64 size = 0;
    qint64 done = 0;
    while ((size = device.read(piece.data(), pieceSize)) > 0) {
        hash.add({piece.constData(), std::size_t(size)});
        done += size;
        if (progress && !progress(done)) {
            return std::nullopt;
        }
    }
    return size == 0 ? std::optional(hash.result()) : std::nullopt;
}

template std::optional<trust::Blake2b256::Digest> hashOf<trust::Blake2b256>(QIODevice&,
                                                                            const HashProgress&);
template std::optional<trust::Blake2b512::Digest> hashOf<trust::Blake2b512>(QIODevice&,
                                                                            const HashProgress&);

} // namespace zk
