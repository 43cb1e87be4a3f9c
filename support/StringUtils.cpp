#include "support/StringUtils.h"

#include "support/QtCompatibility.h"

#include <algorithm>

namespace zk {

namespace {

// Whether splitWords matches this character.
bool separatesWords(QChar c)
{
    return c.isSpace() || c == QLatin1Char(',') || c == QLatin1Char(';') || c == QLatin1Char('|');
}

void splitWordsInto(QSet<QString>& words, const QString& text)
{
    int first = 0;
    for (int i = 0; i <= text.size(); ++i) {
        if (i == text.size() || separatesWords(text.at(i))) {
            if (i > first) {
                words.insert(text.mid(first, i - first));
            }
            first = i + 1;
        }
    }
}

} // namespace

// Not a QStringLiteral: Qt caches the pattern beyond the unloading of the library, which takes its
// literals along; the process crashed at its end.
const QRegExp StringUtils::splitWords(QLatin1String("[\\s,;|]+"));

QSet<QString> StringUtils::splitStringSet(const QString& text, const QRegExp& separator,
                                          SplitBehavior behavior)
{
    QSet<QString> parts;
    if (behavior == SplitBehavior(Qt::SkipEmptyParts) && separator == splitWords) {
        // Documents consist largely of word lists, and a regular expression takes ten times as
        // long.
        splitWordsInto(parts, text);
        return parts;
    }
    const QStringList found =
        QtCompatibility::split(text, separator, Qt::SplitBehavior(int(behavior)));
    for (const QString& part : found) {
        parts.insert(part);
    }
    return parts;
}

QSet<QString>& StringUtils::appendAll(QSet<QString>& target, const QSet<QString>& source,
                                      const QString& /*context*/)
{
    return target.unite(source);
}

bool StringUtils::intersectsWith(const QSet<QString>& a, const QSet<QString>& b)
{
    return a.intersects(b);
}

bool StringUtils::intersectsOnBeginning(const QSet<QString>& a, const QSet<QString>& b)
{
    return std::any_of(a.cbegin(), a.cend(), [&b](const QString& left) {
        return std::any_of(b.cbegin(), b.cend(), [&left](const QString& right) {
            return left.startsWith(right) || right.startsWith(left);
        });
    });
}

} // namespace zk
