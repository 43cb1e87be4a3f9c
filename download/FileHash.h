#pragma once

#include "trust/Blake2b.h"

#include <QByteArray>

#include <functional>
#include <optional>
#include <string_view>

class QIODevice;

namespace zk {

/** Called after each megabyte with the number of bytes read; return false to cancel. */
using HashProgress = std::function<bool(qint64)>;

/** @{ The hash of the rest of @p device; nothing if reading fails or is cancelled. */
template <typename Hash>
std::optional<typename Hash::Digest> hashOf(QIODevice& device, const HashProgress& progress = {});
extern template std::optional<trust::Blake2b256::Digest>
hashOf<trust::Blake2b256>(QIODevice&, const HashProgress&);
extern template std::optional<trust::Blake2b512::Digest>
hashOf<trust::Blake2b512>(QIODevice&, const HashProgress&);
/** @} */

/** The bytes of @p bytes, which must outlive the result. */
inline std::string_view viewOf(const QByteArray& bytes)
{
    return {bytes.constData(), std::size_t(bytes.size())};
}

template <typename Digest>
QByteArray bytesOf(const Digest& digest)
{
    return QByteArray(reinterpret_cast<const char*>(digest.data()), int(digest.size()));
}

} // namespace zk
