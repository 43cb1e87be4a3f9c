#pragma once

#include <QHash>
#include <QPair>
#include <QSet>
#include <QString>

namespace zk::UpdateDocument {

/** What is left of the limits on what levels take over from those above. */
struct InheritanceBudget
{
    qint64 values = 0;
    qint64 urlCharacters = 0;

    [[nodiscard]] bool isSpent() const { return values < 0 || urlCharacters < 0; }
    /** What there was too much of. */
    [[nodiscard]] QString excess() const
    {
        return values < 0 ? QStringLiteral("packages inherit too many words and links")
                          : QStringLiteral("addresses that packages inherit are too long");
    }
};

/** The words of a list, and a number that is the same for sets that are equal by origin. */
struct Words
{
    QSet<QString> set;
    int id = 0;
};

/**
 * Builds the lists of words of one document, and lets equal ones share their memory.
 *
 * Most packages name one of a few platforms: a list is known again by what it adds to and its text.
 */
class WordLists
{
public:
    /**
     * Adds the words of @p text to @p words, unless @p budget gets spent by it.
     *
     * A list that is not known yet is paid for: with the words it had if those are a copy of
     * another level's (@p isInherited), and by its length before it is split.
     */
    void add(Words& words, const QString& text, bool isInherited, InheritanceBudget& budget);

private:
    QHash<QPair<int, QString>, Words> m_known;
    int m_lastId = 0;
};

} // namespace zk::UpdateDocument
