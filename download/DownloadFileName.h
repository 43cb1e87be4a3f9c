#pragma once

#include <QString>
#include <QUrl>

namespace zk {

/** @p name reduced to one that every file system takes, from its right end; may be empty. */
QString safeFileName(QString name);

/**
 * The name of the file that a package is downloaded to: the last non-empty part of the URL's text,
 * reduced to one component that every file system takes. What is left of nothing is "package." plus
 * @p suffix.
 */
QString downloadFileName(const QUrl& url, const QString& suffix);

} // namespace zk
