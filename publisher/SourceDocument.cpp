#include "publisher/SourceDocument.h"

#include "catalogue/Vocabulary.h"

#include <QTextCodec>
#include <QXmlStreamReader>

#include <algorithm>

namespace publisher {

namespace {

// Clients refuse deeper nesting, which would overflow the stack here.
constexpr std::size_t maximumDepth = 1000;

/** The position of the attribute @p name in the tag at @p offset. */
int attributeOffset(const QString& text, int offset, const QString& name)
{
    QChar quote;
    int wordStart = offset;
    for (int i = offset + 1; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (!quote.isNull()) {
            quote = c == quote ? QChar() : quote;
        } else if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
            quote = c;
        } else if (c == QLatin1Char('>')) {
            break;
        } else if (c.isSpace()) {
            wordStart = text.at(wordStart) == QLatin1Char('=') ? wordStart : i + 1;
        } else if (c == QLatin1Char('=')) {
            if (QStringView(text).mid(wordStart, i - wordStart).trimmed() == name) {
                return wordStart;
            }
        }
    }
    return offset;
}

/** The position of the first non-blank character between the two. */
int firstOffset(const QString& text, int begin, int end)
{
    while (begin < end && text.at(begin).isSpace()) {
        ++begin;
    }
    return begin;
}

bool isKnown(const QByteArray& encoding)
{
    return encoding.isEmpty() || QTextCodec::codecForName(encoding);
}

void collect(const SourceElement& set, std::vector<const SourceElement*>& packages)
{
    for (const SourceElement* child : set.children) {
        if (child->name == QLatin1String(zk::Vocabulary::package)) {
            packages.push_back(child);
        }
    }
    for (const SourceElement* child : set.children) {
        if (child->name == QLatin1String(zk::Vocabulary::packageSet)) {
            collect(*child, packages);
        }
    }
}

} // namespace

const SourceAttribute* SourceElement::attribute(const QString& key) const
{
    const auto found = std::find_if(attributes.cbegin(), attributes.cend(),
                                    [&key](const SourceAttribute& one) { return one.name == key; });
    return found == attributes.cend() ? nullptr : &*found;
}

const SourceElement* SourceElement::child(const QString& key) const
{
    const auto found = std::find_if(children.cbegin(), children.cend(),
                                    [&key](const SourceElement* one) { return one->name == key; });
    return found == children.cend() ? nullptr : *found;
}

SourceDocument::SourceDocument(const QByteArray& bytes)
{
    decode(bytes);
    m_lineStarts.push_back(0);
    for (int i = 0; i < m_text.size(); ++i) {
        const bool isPair = m_text.at(i) == QLatin1Char('\r') && i + 1 < m_text.size() &&
                            m_text.at(i + 1) == QLatin1Char('\n');
        if (m_text.at(i) == QLatin1Char('\n') || (m_text.at(i) == QLatin1Char('\r') && !isPair)) {
            m_lineStarts.push_back(i + 1);
        }
    }
    read();
}

void SourceDocument::decode(const QByteArray& bytes)
{
    QXmlStreamReader reader(bytes);
    reader.readNext();
    m_encoding = reader.documentEncoding().toLatin1();
    QTextCodec* codec = m_encoding.isEmpty() ? nullptr : QTextCodec::codecForName(m_encoding);
    codec = QTextCodec::codecForUtfText(bytes, codec ? codec : QTextCodec::codecForName("UTF-8"));
    m_encoding = codec->name();
    m_text = codec->toUnicode(bytes);
}

// The reader assigns the "<" of a tag to the text before it; a tag contains no other one.
int SourceDocument::tagOffset(int tokenEnd) const
{
    return m_text.lastIndexOf(QLatin1Char('<'), qMax(0, tokenEnd - 1));
}

void SourceDocument::read()
{
    QXmlStreamReader reader(m_text);
    reader.setNamespaceProcessing(false);
    std::vector<SourceElement*> open;
    int lastEnd = 0;
    while (!reader.atEnd() && !m_error) {
        const auto token = reader.readNext();
        const int tokenEnd = int(reader.characterOffset());
        if (token == QXmlStreamReader::StartDocument &&
            !isKnown(reader.documentEncoding().toLatin1())) {
            // Qt 5 reports this itself. Qt 6 ignores the declaration of decoded text, and would
            // refuse encodings of undecoded text that clients read.
            m_error = SyntaxError{
                tokenEnd,
                QStringLiteral("Encoding %1 is unsupported").arg(reader.documentEncoding())};
        } else if (token == QXmlStreamReader::StartElement) {
            openElement(reader, open);
        } else if (token == QXmlStreamReader::EndElement) {
            SourceElement& element = *open.back();
            element.isEmptyTag = tokenEnd == element.contentOffset;
            element.endOffset = element.isEmptyTag ? tokenEnd : tagOffset(tokenEnd);
            open.pop_back();
        } else if (token == QXmlStreamReader::Characters && !open.empty()) {
            SourceElement& element = *open.back();
            if (element.text.trimmed().isEmpty()) {
                element.textOffset = firstOffset(m_text, lastEnd, tokenEnd);
            }
            element.text += reader.text();
        } else if (token == QXmlStreamReader::DTD) {
            m_doctype = m_text.lastIndexOf(QLatin1String("<!DOCTYPE"), tokenEnd);
        }
        lastEnd = tokenEnd;
    }
    if (reader.hasError()) {
        m_error = SyntaxError{int(reader.characterOffset()), reader.errorString()};
    }
}

void SourceDocument::openElement(const QXmlStreamReader& reader, std::vector<SourceElement*>& open)
{
    const int end = int(reader.characterOffset());
    m_elements.emplace_back();
    SourceElement& element = m_elements.back();
    element.name = reader.qualifiedName().toString();
    element.offset = tagOffset(end);
    element.contentOffset = element.endOffset = end;
    const QXmlStreamAttributes attributes = reader.attributes();
    for (const QXmlStreamAttribute& attribute : attributes) {
        const QString name = attribute.qualifiedName().toString();
        element.attributes.push_back(
            {name, attribute.value().toString(), attributeOffset(m_text, element.offset, name)});
    }
    if (open.empty()) {
        m_root = &element;
    } else {
        element.parent = open.back();
        open.back()->children.push_back(&element);
    }
    open.push_back(&element);
    if (open.size() > maximumDepth) {
        m_error = SyntaxError{element.offset,
                              QStringLiteral("elements are nested deeper than 1,000 levels")};
    }
}

Position SourceDocument::position(int offset) const
{
    const auto next = std::upper_bound(m_lineStarts.cbegin(), m_lineStarts.cend(), offset);
    return {int(next - m_lineStarts.cbegin()), offset - *std::prev(next) + 1};
}

std::vector<const SourceElement*> SourceDocument::packages() const
{
    std::vector<const SourceElement*> packages;
    if (m_root) {
        collect(*m_root, packages);
    }
    return packages;
}

} // namespace publisher
