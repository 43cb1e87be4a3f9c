#include "download/RetryRule.h"

#include <QLocale>

#include <algorithm>

namespace zk::RetryRule {

using std::chrono::milliseconds;

bool isTemporary(QNetworkReply::NetworkError error, int httpStatus)
{
    switch (httpStatus) {
    case 408:
    case 429:
    case 500:
    case 502:
    case 503:
    case 504:
        return true;
    default:
        break;
    }
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::TimeoutError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::UnknownNetworkError:
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyConnectionClosedError:
    case QNetworkReply::ProxyNotFoundError:
    case QNetworkReply::ProxyTimeoutError:
    case QNetworkReply::UnknownProxyError:
    case QNetworkReply::ProtocolFailure: // a cut among the lines of chunks is one, too
        return true;
    default:
        return false;
    }
}

milliseconds pauseBefore(int retry, const DownloadPolicy& policy, double draw)
{
    constexpr milliseconds longest = std::chrono::minutes(1);
    milliseconds pause = std::clamp(policy.firstPause, milliseconds(0), longest);
    for (int i = 1; i < retry && pause < longest && pause.count() > 0; ++i) {
        pause = std::min(pause * 2, longest);
    }
    return milliseconds(qint64(double(pause.count()) * (0.75 + draw / 2)));
}

std::optional<QDateTime> parseHttpDate(const QByteArray& header)
{
    QDateTime date = QLocale::c().toDateTime(QString::fromLatin1(header.trimmed()),
                                             QStringLiteral("ddd, dd MMM yyyy hh:mm:ss 'GMT'"));
    date.setTimeSpec(Qt::UTC);
    return date.isValid() ? std::optional(date) : std::nullopt;
}

milliseconds retryAfter(const QByteArray& header, const QDateTime& now)
{
    bool isNumber = false;
    const qint64 seconds = header.trimmed().toLongLong(&isNumber);
    if (isNumber) {
        // More than a day is as good as a day, and does not overflow.
        return std::chrono::seconds(qBound(qint64(0), seconds, qint64(24 * 3600)));
    }
    const auto date = parseHttpDate(header);
    return milliseconds(date ? std::max(qint64(0), now.msecsTo(*date)) : 0);
}

bool isWebPage(const QByteArray& contentType, const QByteArray& firstBytes)
{
    // Whatever the server calls it, this is a program, an archive or a script.
    for (const char* const program : {"MZ", "PK", "\177ELF", "#!"}) {
        if (firstBytes.startsWith(program)) {
            return false;
        }
    }
    return contentType.trimmed().toLower().startsWith("text/html") || firstBytes.startsWith('<');
}

} // namespace zk::RetryRule
