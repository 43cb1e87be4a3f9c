#include "download/HttpRange.h"

#include "download/RetryRule.h"

#include <QNetworkReply>
#include <QRegularExpression>

namespace zk::HttpRange {

namespace {

constexpr int longestValidator = 1000;

bool isStrongTag(const QByteArray& tag)
{
    return tag.size() >= 2 && tag.size() <= longestValidator && tag.startsWith('"') &&
           tag.endsWith('"');
}

// Nothing above 2^62, so that sums do not overflow.
qint64 number(const QString& digits)
{
    bool isFine = false;
    const qint64 value = digits.toLongLong(&isFine);
    return isFine && value < (qint64(1) << 62) ? value : -1;
}

} // namespace

std::optional<ContentRange> parseContentRange(const QByteArray& header)
{
    static const QRegularExpression form(
        QStringLiteral("^bytes +(?:([0-9]{1,19})-([0-9]{1,19})|\\*)/([0-9]{1,19}|\\*)$"));
    const auto match = form.match(QString::fromLatin1(header.trimmed()));
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    const ContentRange range{number(match.captured(1)), number(match.captured(2)),
                             number(match.captured(3))};
    if (match.capturedLength(1) == 0) {
        return range.total >= 0 ? std::optional(range) : std::nullopt;
    }
    const bool isPossible = range.first >= 0 && range.last >= range.first &&
                            (range.total > range.last || match.captured(3) == QLatin1String("*"));
    return isPossible ? std::optional(range) : std::nullopt;
}

QByteArray validatorOf(const QNetworkReply& reply)
{
    QByteArray tag = reply.rawHeader("ETag").trimmed();
    if (isStrongTag(tag)) {
        return tag;
    }
    const QByteArray modified = reply.rawHeader("Last-Modified").trimmed();
    const auto changed = RetryRule::parseHttpDate(modified);
    const auto answered = RetryRule::parseHttpDate(reply.rawHeader("Date"));
    constexpr qint64 safeAge = 60; // a file may change twice in the second that a date can tell
    return changed && answered && changed->secsTo(*answered) >= safeAge ? modified : QByteArray();
}

bool isSameFile(const QNetworkReply& reply, const QByteArray& validator)
{
    if (validator.startsWith('"')) {
        return reply.rawHeader("ETag").trimmed() == validator;
    }
    const QByteArray modified = reply.rawHeader("Last-Modified").trimmed();
    return !validator.isEmpty() && (modified.isEmpty() || modified == validator);
}

} // namespace zk::HttpRange
