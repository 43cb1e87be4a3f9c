#pragma once

#include <QSet>
#include <QString>

#include <variant>

class QDomDocument;
class QIODevice;

namespace zk::UpdateDocument {

/** What a document may ask for before it is taken for an attack. */
struct DocumentLimits
{
    int depth = 1000;
    int elementsAndAttributes = 2000000;
    qint64 bytes = 64LL * 1024 * 1024;
    /** List values and links that packages take over from the levels above them, copies counted. */
    int inheritedValues = 1000000;
    /** Characters of addresses parsed again for having been inherited, beyond the document's own
     * size. */
    qint64 inheritedUrlCharacters = 4LL * 1024 * 1024;
};

/** Why a document yields no packages, and where (0 when it is not about a place). */
struct ParseError
{
    QString message;
    int line = 0;
    int column = 0;
};

/** What of a document is worth keeping; the rest takes a hundred times its size in memory. */
struct DocumentNames
{
    /** Attributes that are read; others are dropped. */
    QSet<QString> attributes;
    /** Elements besides the root that only hold others; text directly below them is dropped. */
    QSet<QString> structure;
};

/** Is told of the elements of a document as they are added to it. */
class LoadListener
{
public:
    /** The last element of the document so far is open and called @p name. */
    virtual void elementOpened(const QString& name) = 0;
    /**
     * The innermost open element has got all that belongs to it; its parent still is open.
     *
     * The listener may remove it from the document.
     */
    virtual void elementClosed() = 0;

protected:
    LoadListener() = default;
    ~LoadListener() = default;
    LoadListener(const LoadListener&) = default;
    LoadListener& operator=(const LoadListener&) = default;
};

/** Bytes that a document took. */
struct DocumentSize
{
    qint64 bytes = 0;
};

/**
 * Loads of what @p device holds all that @p names tell into @p document, telling @p listener; gives
 * its size, or what is wrong with it.
 *
 * A document that declares an entity or passes @p limits is refused while it is being read: one 100
 * kB entity used 20,000 times would end in bad_alloc, 100,000 nested elements overflow the stack
 * inside QDom, as many parentheses in an element declaration that of the reader.
 */
[[nodiscard]] std::variant<DocumentSize, ParseError>
loadDocument(QDomDocument& document, QIODevice& device, const DocumentNames& names,
             const DocumentLimits& limits, LoadListener& listener);

} // namespace zk::UpdateDocument
