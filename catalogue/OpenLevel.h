#pragma once

#include "catalogue/DocumentRecords.h"

#include <QVarLengthArray>

namespace zk::UpdateDocument {

/** An element that is open and whose values are kept. */
struct OpenLevel
{
    using Texts = QVarLengthArray<TextRecord, 12>;

    explicit OpenLevel(Key levelKey)
        : key(levelKey)
    {
    }

    [[nodiscard]] bool isSet() const { return key == Vocabulary::packageSetKey; }
    /** Whether a value of @p value counts: elements come before attributes, of a text the first. */
    [[nodiscard]] bool wants(Key value);
    /** Moves out what the level says; it is closed then. */
    [[nodiscard]] LevelRecord take();

    static_assert(Vocabulary::KeyCount <= 32);
    Key key;
    quint32 taken = 0;
    Texts elements;
    Texts attributes;
    std::vector<LinkRecord> links;
    LevelRecord file;
    SetRecord set;
};

/** The text of @p key that @p level holds first. */
[[nodiscard]] std::optional<QString> firstText(const LevelRecord& level, Key key);

/** The text of @p key that @p nearest holds first, otherwise that of @p next. */
[[nodiscard]] std::optional<QString> firstText(const LevelRecord& nearest, const LevelRecord& next,
                                               Key key);

} // namespace zk::UpdateDocument
