#pragma once

#include <QDateTime>
#include <QSet>
#include <QString>

namespace zk::UpdateDocument {

/**
 * Bytes of "4096", "20kB" or "1.5MB" (ignoring case); 0 for anything else, the low 32 bits of
 * larger values.
 */
quint32 parseFileSize(const QString& text);

/** Local time of "yyyy-MM-dd hh:mm:ss" or "yyyy-MM-dd"; a null date for anything else. */
QDateTime parseReleaseDate(const QString& text);

/**
 * The package format at the end of @p url: "exe", "tar.gz", "mpkg" for "mpkg.zip" ... Logs
 * suspicious ones.
 */
QString parsePackageSuffix(const QString& url);

/** Adds the words of a list as it is written. */
void addWords(QSet<QString>& words, const QString& text);

} // namespace zk::UpdateDocument
