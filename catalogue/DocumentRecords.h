#pragma once

#include "catalogue/DateTable.h"
#include "catalogue/Vocabulary.h"

#include <QString>

#include <list>
#include <vector>

namespace zk::UpdateDocument {

using Vocabulary::Key;
using Vocabulary::Kind;

/** One value of a key. */
struct TextRecord
{
    Key key = Vocabulary::KeyCount;
    /** The bytes of a file size, or the number of a release date; these have no text. */
    quint32 number = 0;
    QString text;
};

/** One link of a key; a part that is null is that of the levels above its level. */
struct LinkRecord
{
    Key key = Vocabulary::KeyCount;
    /** Whether the address is written in the link, and not that of its level. */
    bool hasOwnAddress = false;
    QString address;
    QString language;
};

/**
 * What a set says, or a package with its file element.
 *
 * Holds all texts of a list; of a key with a single value the first text counts.
 */
struct LevelRecord
{
    std::vector<TextRecord> texts;
    std::vector<LinkRecord> links;
};

/** A set with its packages and the sets in it that hold any, each in document order. */
struct SetRecord
{
    LevelRecord own;
    // Lists: they neither double while they grow nor take memory while they are empty.
    std::list<LevelRecord> packages;
    std::list<SetRecord> sets;
};

/** A whole document: what is said above its root (by a root named like a value), and the root. */
struct DocumentRecord
{
    LevelRecord top;
    SetRecord root;
    DateTable dates;
    int packages = 0;
    /** Estimated bytes of the records and of the packages made of them. */
    qint64 memory = 0;
    /** Characters of all addresses, as they are written. */
    qint64 addressCharacters = 0;
};

} // namespace zk::UpdateDocument
