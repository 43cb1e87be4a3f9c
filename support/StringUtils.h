#pragma once

#include "support/Export.h"

#include <QRegExp>
#include <QSet>
#include <QString>

namespace zk {

/** What to do with empty parts of a text that is split. */
#if QT_VERSION_MAJOR >= 6
using SplitBehavior = Qt::SplitBehavior; // the other one, deprecated in Qt 5, is gone
#else
using SplitBehavior = QString::SplitBehavior;
#endif

/** Operations on texts and sets of texts. Reentrant. */
class SOFTWAREUPDATE_EXPORT StringUtils
{
public:
    /**
     * Separators in a list of words: runs of white space, comma, semicolon or vertical bar. Hyphen
     * and underscore are none, so "de_DE" and "zh-Hans" stay whole.
     */
    static const QRegExp splitWords;

    /** The parts of @p text between matches of @p separator, each once. */
    static QSet<QString> splitStringSet(const QString& text, const QRegExp& separator,
                                        SplitBehavior behavior);

    /**
     * Adds @p source to @p target and returns @p target. @p context, a translation context, is
     * ignored.
     */
    static QSet<QString>& appendAll(QSet<QString>& target, const QSet<QString>& source,
                                    const QString& context);

    /** Whether the sets share an element. */
    static bool intersectsWith(const QSet<QString>& a, const QSet<QString>& b);

    /** Whether an element of one set begins with an element of the other, in either direction. */
    static bool intersectsOnBeginning(const QSet<QString>& a, const QSet<QString>& b);
};

} // namespace zk
