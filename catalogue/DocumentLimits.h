#pragma once

#include <QString>

namespace zk::UpdateDocument {

/** Bytes of the largest document that is read; larger answers need not be downloaded. */
inline constexpr qint64 maximumDocumentSize = 64LL * 1024 * 1024;

/** What a document may ask for before it is taken for an attack. */
struct DocumentLimits
{
    int depth = 1000;
    int elementsAndAttributes = 2000000;
    qint64 bytes = maximumDocumentSize;
    /** Characters of one address: parsing it takes several copies. */
    int addressCharacters = 1000000;
    /** Estimated bytes of all that is kept of the document, inherited values included. */
    qint64 memory = 150LL * 1024 * 1024;
    /** Words and links that are stored once more because a level adds its own to inherited ones. */
    qint64 inheritedValues = 2000000;
};

/** Why a document yields no packages, and where (0 when it is not about a place). */
struct ParseError
{
    QString message;
    int line = 0;
    int column = 0;
};

} // namespace zk::UpdateDocument
