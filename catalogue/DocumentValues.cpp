#include "catalogue/DocumentValues.h"

#include "support/Log.h"
#include "support/StringUtils.h"

#include <cmath>
#include <optional>

namespace zk::UpdateDocument {

namespace {

// Truncates toward zero; a value beyond 64 bits (such as "1e300MB") counts as unknown.
quint32 lowBits(double bytes)
{
    constexpr double limit = 9223372036854775808.0; // 2^63
    if (!std::isfinite(bytes) || bytes >= limit || bytes <= -limit) {
        return 0;
    }
    return quint32(quint64(qint64(bytes)));
}

// The digits of text from at on as a number; nothing if there are other characters. Like Qt's own
// parser it accepts a plus sign as the first one.
std::optional<int> digits(const QString& text, int at, int count)
{
    int value = 0;
    for (int i = text.at(at) == QLatin1Char('+') ? at + 1 : at; i < at + count; ++i) {
        const ushort c = text.at(i).unicode();
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        value = 10 * value + (c - '0');
    }
    return value;
}

// By position: QDateTime::fromString() with a format takes as long as loading the whole package.
std::optional<QDate> parseDate(const QString& text)
{
    const auto year = digits(text, 0, 4);
    const auto month = digits(text, 5, 2);
    const auto day = digits(text, 8, 2);
    if (text.at(4) != QLatin1Char('-') || text.at(7) != QLatin1Char('-') || !year || !month ||
        !day) {
        return std::nullopt;
    }
    const QDate date(*year, *month, *day);
    return date.isValid() ? std::make_optional(date) : std::nullopt;
}

std::optional<QTime> parseTime(const QString& text)
{
    const auto hour = digits(text, 11, 2);
    const auto minute = digits(text, 14, 2);
    const auto second = digits(text, 17, 2);
    if (text.at(10) != QLatin1Char(' ') || text.at(13) != QLatin1Char(':') ||
        text.at(16) != QLatin1Char(':') || !hour || !minute || !second) {
        return std::nullopt;
    }
    const QTime time(*hour, *minute, *second);
    return time.isValid() ? std::make_optional(time) : std::nullopt;
}

// Returns the last non-empty section between dots before end, and moves end to its beginning.
QString takeLastSection(const QString& text, int& end)
{
    while (end > 0 && text.at(end - 1) == QLatin1Char('.')) {
        --end;
    }
    const int last = end;
    while (end > 0 && text.at(end - 1) != QLatin1Char('.')) {
        --end;
    }
    return text.mid(end, last - end);
}

} // namespace

quint32 parseFileSize(const QString& text)
{
    const auto number = [&text] { return text.leftRef(text.size() - 2).toDouble(); };
    if (text.endsWith(QLatin1String("MB"), Qt::CaseInsensitive)) {
        return lowBits(number() * 1024.0 * 1024.0);
    }
    if (text.endsWith(QLatin1String("kB"), Qt::CaseInsensitive)) {
        return lowBits(number() * 1024.0);
    }
    return text.toUInt(nullptr, 10);
}

QDateTime parseReleaseDate(const QString& text)
{
    if (text.size() != 10 && text.size() != 19) {
        return QDateTime();
    }
    const std::optional<QDate> date = parseDate(text);
    if (!date) {
        return QDateTime();
    }
    if (text.size() == 10) {
        return QDateTime(*date, QTime(0, 0));
    }
    const std::optional<QTime> time = parseTime(text);
    const QDateTime result = time ? QDateTime(*date, *time) : QDateTime();
    // Also invalid for the hour that is skipped when daylight saving time begins.
    return result.isValid() ? result : QDateTime();
}

QString parsePackageSuffix(const QString& url)
{
    int end = url.size();
    QString suffix = takeLastSection(url, end);
    if (suffix == QLatin1String("zip") && takeLastSection(url, end) == QLatin1String("mpkg")) {
        suffix = QStringLiteral("mpkg");
    } else if (suffix == QLatin1String("gz") && takeLastSection(url, end) == QLatin1String("tar")) {
        suffix = QStringLiteral("tar.gz");
    } else if (suffix == QLatin1String("bz2") &&
               takeLastSection(url, end) == QLatin1String("tar")) {
        suffix = QStringLiteral("tar.bz2");
    }
    if (suffix.size() < 3 || suffix.size() > 7) {
        SOFTWAREUPDATE_LOG(
            Log::eError, "zk::DownloadManager::parsePackageSuffix",
            "DownloadManager::parsePackageType() -> parsed suspicious package suffix '", suffix,
            "' in ", url);
    }
    return suffix;
}

void addWords(QSet<QString>& words, const QString& text)
{
    const auto skipsEmpty = QString::SplitBehavior(Qt::SkipEmptyParts);
    StringUtils::appendAll(
        words, StringUtils::splitStringSet(text, StringUtils::splitWords, skipsEmpty), QString());
}

void addLink(QMap<QString, QUrl>& urls, const QString& language, const QUrl& url)
{
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    // A QMap with several entries per key is the record's published form.
    urls.insertMulti(language, url);
    QT_WARNING_POP
}

} // namespace zk::UpdateDocument
