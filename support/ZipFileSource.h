#pragma once

#include <QString>

#include <memory>

struct zip_source;
struct zip_error;

namespace zk {

/**
 * The file @p path as libzip reads it, through Qt: one way for names beyond ASCII and long paths on
 * all platforms. Null with @p error set when the file cannot be opened. The caller owns the result
 * until zip_open_from_source() takes it.
 *
 * @p mayRead is how many bytes may be read, and counted down; what goes beyond fails.
 */
zip_source* makeZipFileSource(const QString& path, std::shared_ptr<quint64> mayRead,
                              zip_error* error);

} // namespace zk
