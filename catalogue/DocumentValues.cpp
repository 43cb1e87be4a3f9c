#include "catalogue/DocumentValues.h"

#include "support/Log.h"
#include "support/StringUtils.h"

#include <array>
#include <cctype>
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

// The numbers of a text written like the pattern's beginning, by position: QDateTime::fromString()
// with a format takes as long as loading the whole package. Like Qt's own parser it accepts a plus
// sign as the first digit of a number.
std::optional<std::array<int, 6>> parseNumbers(const QString& text)
{
    constexpr char pattern[] = "yyyy-MM-dd hh:mm:ss";
    std::array<int, 6> numbers{};
    std::size_t number = 0;
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const bool isFirst = i == 0 || std::isalpha(pattern[i - 1]) == 0;
        if (std::isalpha(pattern[i]) == 0) {
            ++number;
            if (c != QLatin1Char(pattern[i])) {
                return std::nullopt;
            }
        } else if (c >= QLatin1Char('0') && c <= QLatin1Char('9')) {
            numbers[number] = 10 * numbers[number] + (c.unicode() - '0');
        } else if (!isFirst || c != QLatin1Char('+')) {
            return std::nullopt;
        }
    }
    return numbers;
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
    const auto number = [&text] { return QStringView(text).chopped(2).toDouble(); };
    if (!text.isEmpty() && text.back().isDigit()) {
        return text.toUInt(nullptr, 10);
    }
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
    const auto numbers = parseNumbers(text);
    if (!numbers) {
        return QDateTime();
    }
    const auto [year, month, day, hour, minute, second] = *numbers;
    const QDate date(year, month, day);
    const QTime time(hour, minute, second);
    const QDateTime result(date, time);
    // A date alone stays one whose midnight the time zone may skip; a time that is skipped does
    // not.
    return date.isValid() && time.isValid() && (text.size() == 10 || result.isValid())
               ? result
               : QDateTime();
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
    const auto skipsEmpty = SplitBehavior(Qt::SkipEmptyParts);
    StringUtils::appendAll(
        words, StringUtils::splitStringSet(text, StringUtils::splitWords, skipsEmpty), QString());
}

} // namespace zk::UpdateDocument
