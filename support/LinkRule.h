#pragma once

#include <QNetworkReply>
#include <QUrl>

namespace zk {

/** Hops of one check or download; more are taken for an endless loop. */
constexpr int maximumRedirects = 50;

/**
 * Whether a link that a server wrote may be opened: http, https, ftp, or a file on this machine. A
 * file URL that names a host would send the user's credentials there; anything else may start a
 * program.
 */
bool isOpenableLink(const QUrl& url);

/**
 * Why a redirect of @p from must not be followed to @p to; NoError when it may be. A file of this
 * machine is none of a server's business (a device such as /dev/stdin would block), and what began
 * encrypted stays encrypted.
 */
QNetworkReply::NetworkError redirectError(const QUrl& from, const QUrl& to);

/** The text of @p url for a log line, without user and password. */
QString logText(const QUrl& url);

/** @p text without the user and password of @p url, whose address may occur in it. */
QString withoutCredentials(QString text, const QUrl& url);

} // namespace zk
