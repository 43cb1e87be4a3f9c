#pragma once

#include <QUrl>

namespace zk {

/**
 * Whether a link that a server wrote may be opened: http, https, ftp, or a file on this machine. A
 * file URL that names a host would send the user's credentials there; anything else may start a
 * program.
 */
bool isOpenableLink(const QUrl& url);

/** The text of @p url for a log line: a password in it stays out. */
QString logText(const QUrl& url);

} // namespace zk
