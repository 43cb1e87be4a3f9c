#pragma once

#include <QByteArray>
#include <QString>

#include <deque>
#include <optional>
#include <vector>

class QXmlStreamReader;

namespace publisher {

/** A position in a text, counted from 1; columns are characters, as in editors. */
struct Position
{
    int line = 1;
    int column = 1;
};

struct SourceAttribute
{
    QString name;
    QString value;
    int offset = 0; //!< of its name in the text
};

/** An element and its position in the text. */
struct SourceElement
{
    QString name;
    const SourceElement* parent = nullptr;
    std::vector<SourceAttribute> attributes;
    std::vector<const SourceElement*> children;
    /** All characters directly in it. */
    QString text;
    int textOffset = 0;      //!< of the first non-blank character
    int offset = 0;          //!< of its "<"
    int contentOffset = 0;   //!< after the ">" of its opening tag
    int endOffset = 0;       //!< of its closing tag; contentOffset if there is none
    bool isEmptyTag = false; //!< there is no closing tag: "<package/>"

    /** The first attribute or child with this name; null if there is none. */
    [[nodiscard]] const SourceAttribute* attribute(const QString& key) const;
    [[nodiscard]] const SourceElement* child(const QString& key) const;
};

/** An XML syntax error. */
struct SyntaxError
{
    int offset = 0;
    QString text;
};

/**
 * An update document with all elements, known or not, and their positions in the text.
 *
 * The library's parser decides what a client reads; this one finds the positions.
 */
class SourceDocument
{
public:
    explicit SourceDocument(const QByteArray& bytes);
    SourceDocument(const SourceDocument&) = delete;
    SourceDocument& operator=(const SourceDocument&) = delete;

    /** Null if the text has none. */
    [[nodiscard]] const SourceElement* root() const { return m_root; }
    [[nodiscard]] const std::optional<SyntaxError>& error() const { return m_error; }
    /** The whole text with its original line ends. */
    [[nodiscard]] const QString& text() const { return m_text; }
    /** The name of the encoding to write it with. */
    [[nodiscard]] const QByteArray& encoding() const { return m_encoding; }
    /**
     * The offset of a document type declaration, which clients refuse; nothing if there is none.
     */
    [[nodiscard]] std::optional<int> doctype() const { return m_doctype; }

    [[nodiscard]] Position position(int offset) const;

    /** The packages in the order in which clients list them: those of a set before its sets. */
    [[nodiscard]] std::vector<const SourceElement*> packages() const;

private:
    QString m_text;
    QByteArray m_encoding;
    std::vector<int> m_lineStarts;
    std::deque<SourceElement> m_elements;
    const SourceElement* m_root = nullptr;
    std::optional<SyntaxError> m_error;
    std::optional<int> m_doctype;

    void decode(const QByteArray& bytes);
    void read();
    void openElement(const QXmlStreamReader& reader, std::vector<SourceElement*>& open);
    [[nodiscard]] int tagOffset(int tokenEnd) const;
};

} // namespace publisher
