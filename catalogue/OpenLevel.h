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
    /** What the level says as a link of @p linkKey. */
    [[nodiscard]] LinkRecord link(Key linkKey) const;
    /** Moves out what the level says, of a package with its file; it is closed then. */
    [[nodiscard]] LevelRecord take();

    static_assert(Vocabulary::KeyCount <= 32);
    Key key;
    quint32 taken = 0;
    Texts elements;
    Texts attributes;
    QVarLengthArray<LinkRecord, 4> links;
    LevelRecord file;
    SetRecord set;

private:
    [[nodiscard]] QString nearestText(Key textKey) const;
    void takeAttributes();
    void complete(LinkRecord& link) const;
};

} // namespace zk::UpdateDocument
