#pragma once

#include <QString>

#include <memory>

struct zip_source;
struct zip_error;

namespace zk {

/**
 * Lets libzip read the file @p path through Qt, which handles non-ASCII names and long paths on all
 * platforms. Returns null and sets @p error if the file cannot be opened. The caller owns the
 * result until zip_open_from_source() takes it.
 *
 * @p mayRead is the number of bytes that may still be read; reading more fails.
 */
zip_source* makeZipFileSource(const QString& path, std::shared_ptr<quint64> mayRead,
                              zip_error* error);

} // namespace zk
