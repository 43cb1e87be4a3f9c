#pragma once

#include "catalogue/MemoryBudget.h"

#include <QHash>
#include <QPair>
#include <QSet>
#include <QString>

namespace zk::UpdateDocument {

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
     * A list that is not known yet is paid for: by its length before it is split, by its words,
     * and by those it had if they are a copy of another level's (@p isInherited).
     */
    void add(Words& words, const QString& text, bool isInherited, MemoryBudget& budget);

private:
    QHash<QPair<int, QString>, Words> m_known;
    int m_lastId = 0;
};

} // namespace zk::UpdateDocument
