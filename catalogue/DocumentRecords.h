#pragma once

#include "catalogue/Vocabulary.h"

#include <QString>

#include <list>
#include <optional>
#include <vector>

namespace zk::UpdateDocument {

using Vocabulary::Key;
using Vocabulary::Kind;

/** One text value of a key. */
struct TextRecord
{
    Key key = Vocabulary::KeyCount;
    QString text;
};

/** One link of a key; missing parts are inherited. */
struct LinkRecord
{
    Key key = Vocabulary::KeyCount;
    std::optional<QString> address;
    std::optional<QString> language;
};

/**
 * What one level of the document says.
 *
 * Holds one text for a key with a single value and all texts for a list; the first text of a key is
 * its value.
 */
struct LevelRecord
{
    std::vector<TextRecord> texts;
    std::vector<LinkRecord> links;
};

/** A package and its file element; without one `file` is empty. */
struct PackageRecord
{
    LevelRecord own;
    LevelRecord file;
};

/** A set with its packages and the sets in it that hold any, each in document order. */
struct SetRecord
{
    LevelRecord own;
    // Lists: they neither double while they grow nor take memory while they are empty.
    std::list<PackageRecord> packages;
    std::list<SetRecord> sets;
};

/** A whole document: what is said above its root (by a root named like a value), and the root. */
struct DocumentRecord
{
    LevelRecord top;
    SetRecord root;
    /** Estimated bytes of the records and of the packages made of them. */
    qint64 memory = 0;
    /** Characters of all addresses, as they are written. */
    qint64 addressCharacters = 0;
};

} // namespace zk::UpdateDocument
