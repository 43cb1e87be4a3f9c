#pragma once

#include <QString>

struct zip_source;
struct zip_error;

namespace zk {

/**
 * The file @p path as libzip reads it, through Qt: one way for names beyond ASCII and long paths on
 * all platforms. Null with @p error set when the file cannot be opened. The caller owns the result
 * until zip_open_from_source() takes it.
 */
zip_source* makeZipFileSource(const QString& path, zip_error* error);

} // namespace zk
