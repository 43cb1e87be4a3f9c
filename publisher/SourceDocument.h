#pragma once

#include <QByteArray>
#include <QString>

#include <deque>
#include <optional>
#include <vector>

class QXmlStreamReader;

namespace publisher {

/** A place in a text, both numbers counted from 1; columns in characters as editors count them. */
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

/** An element as it is written, and where. */
struct SourceElement
{
    QString name;
    const SourceElement* parent = nullptr;
    std::vector<SourceAttribute> attributes;
    std::vector<const SourceElement*> children;
    /** All characters directly in it. */
    QString text;
    int textOffset = 0;      //!< of the first of them that is not blank
    int offset = 0;          //!< of its "<"
    int contentOffset = 0;   //!< behind the ">" of its opening tag
    int endOffset = 0;       //!< of its closing tag; contentOffset where there is none
    bool isEmptyTag = false; //!< there is no closing tag: "<package/>"

    /** The first attribute or child of that name; null if there is none. */
    [[nodiscard]] const SourceAttribute* attribute(const QString& key) const;
    [[nodiscard]] const SourceElement* child(const QString& key) const;
};

/** What is wrong with a text as XML. */
struct SyntaxError
{
    int offset = 0;
    QString text;
};

/**
 * An update document as its author wrote it: all elements, known or not, with their places.
 *
 * The library's own parser decides what a client reads; this one is for telling people where.
 */
class SourceDocument
{
public:
    explicit SourceDocument(const QByteArray& bytes);
    SourceDocument(const SourceDocument&) = delete;
    SourceDocument& operator=(const SourceDocument&) = delete;

    /** Null when the text ends before there is one. */
    [[nodiscard]] const SourceElement* root() const { return m_root; }
    [[nodiscard]] const std::optional<SyntaxError>& error() const { return m_error; }
    /** The whole text; line ends as they are written. */
    [[nodiscard]] const QString& text() const { return m_text; }
    /** The name of the encoding to write it in. */
    [[nodiscard]] const QByteArray& encoding() const { return m_encoding; }
    /** Where a document type declaration begins; nowhere in documents that clients accept. */
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
