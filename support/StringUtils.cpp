#include "support/StringUtils.h"

#include <algorithm>

namespace zk {

// Not a QStringLiteral: Qt's cache of expressions keeps the pattern for longer than an unloaded
// library keeps its literals, and crashed at the end of the process.
const QRegExp StringUtils::splitWords(QLatin1String("[\\s,;|]+"));

QSet<QString> StringUtils::splitStringSet(const QString& text, const QRegExp& separator,
                                          QString::SplitBehavior behavior)
{
    QSet<QString> parts;
    const QVector<QStringRef> found = text.splitRef(separator, Qt::SplitBehavior(int(behavior)));
    for (const QStringRef& part : found) {
        parts.insert(part.toString());
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
