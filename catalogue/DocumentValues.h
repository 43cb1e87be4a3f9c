#pragma once

#include <QDateTime>
#include <QString>

namespace zk::UpdateDocument {

/** Bytes of "4096", "20kB" or "1.5MB" (in any case); 0 for anything else, the low 32 bits of more.
 */
quint32 parseFileSize(const QString& text);

/** Local time of "yyyy-MM-dd hh:mm:ss" or "yyyy-MM-dd"; a null date for anything else. */
QDateTime parseReleaseDate(const QString& text);

/** The package format that ends @p url: "exe", "tar.gz", "mpkg" for "mpkg.zip" ... Logs odd ones.
 */
QString parsePackageSuffix(const QString& url);

} // namespace zk::UpdateDocument
