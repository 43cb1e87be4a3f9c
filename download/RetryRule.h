#pragma once

#include "download/DownloadPolicy.h"

#include <QByteArray>
#include <QDateTime>
#include <QNetworkReply>

#include <chrono>
#include <optional>

/** When a download that has failed is worth another try, and how soon. */
namespace zk::RetryRule {

/** So many more bytes than ever before make a try a success that needs no counting. */
constexpr qint64 progressSize = 64LL * 1024;

/** A server that asks for more patience than this is taken for one that has failed. */
constexpr std::chrono::milliseconds longestRetryAfter = std::chrono::minutes(10);

/** Whether the same request may succeed later: the network failed, or the status says so (408, 429,
 * 500, 502, 503, 504). */
[[nodiscard]] bool isTemporary(QNetworkReply::NetworkError error, int httpStatus);

/** The pause before retry number @p retry in a row, from 1; @p draw from 0 to 1 is the jitter. */
[[nodiscard]] std::chrono::milliseconds pauseBefore(int retry, const DownloadPolicy& policy,
                                                    double draw);

/** How long a Retry-After header (RFC 9110, seconds or a date) asks to wait; zero for nonsense, and
 * for what lies in the past. */
[[nodiscard]] std::chrono::milliseconds retryAfter(const QByteArray& header, const QDateTime& now);

/**
 * Whether a package with this Content-Type and these first bytes is really a web page, as the
 * log-in page of a public network that answers in the server's place.
 */
[[nodiscard]] bool isWebPage(const QByteArray& contentType, const QByteArray& firstBytes);

/** An HTTP date in the form that RFC 9110 prefers; nothing for anything else. */
[[nodiscard]] std::optional<QDateTime> parseHttpDate(const QByteArray& header);

} // namespace zk::RetryRule
