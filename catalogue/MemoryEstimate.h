#pragma once

#include "catalogue/Vocabulary.h"

#include <QString>

/** Bytes that what is kept of a document takes, as measured with Qt 5 on 64 bits. */
namespace zk::UpdateDocument::MemoryEstimate {

/** A word or link that is inherited. */
inline constexpr qint64 inheritedValue = 64;
/** A list of words, and a word that is added to it. */
inline constexpr qint64 wordList = 224;
inline constexpr qint64 word = 96;
/** An address without its characters. */
inline constexpr qint64 url = 100;
inline constexpr qint64 schemeAndHost = 100;
/** An element for a link, or an attribute. */
inline constexpr qint64 link = 220;

/** An element of @p key whose values are kept. */
inline qint64 ofLevel(Vocabulary::Key key)
{
    constexpr qint64 package = 290;
    constexpr qint64 set = 100;
    if (Vocabulary::isKindOf(key, Vocabulary::Kind::Links)) {
        return link;
    }
    return key == Vocabulary::packageKey ? package : key == Vocabulary::packageSetKey ? set : 0;
}

/** A text of its own. */
inline qint64 ofText(const QString& text)
{
    constexpr qint64 overhead = 42; // header, terminator and allocation
    return overhead + qint64(sizeof(QChar)) * text.size();
}

} // namespace zk::UpdateDocument::MemoryEstimate
