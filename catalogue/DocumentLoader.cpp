#include "catalogue/DocumentLoader.h"

#include <QDomDocument>
#include <QIODevice>
#include <QXmlSimpleReader>

// The SAX classes are deprecated in Qt 5.15 and gone from Qt 6, but nothing else can stand between
// the reader and the document that it builds.
QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

namespace zk::UpdateDocument {

namespace {

/** Passes everything on to the content handler below it, until a limit is met. */
class Guard : public QXmlDefaultHandler
{
public:
    Guard(QXmlContentHandler* content, const DocumentNames& names, const DocumentLimits& limits,
          LoadListener& listener, bool& inProlog)
        : m_content(content)
        , m_names(names)
        , m_limits(limits)
        , m_listener(listener)
        , m_inProlog(inProlog)
    {
    }

    void setDocumentLocator(QXmlLocator* locator) override
    {
        m_content->setDocumentLocator(locator);
    }
    bool startDocument() override { return m_content->startDocument(); }
    bool endDocument() override { return m_content->endDocument(); }
    bool startPrefixMapping(const QString& prefix, const QString& uri) override
    {
        return m_content->startPrefixMapping(prefix, uri);
    }
    bool endPrefixMapping(const QString& prefix) override
    {
        return m_content->endPrefixMapping(prefix);
    }
    bool startElement(const QString& uri, const QString& localName, const QString& qualifiedName,
                      const QXmlAttributes& attributes) override
    {
        m_inProlog = false;
        if (++m_depth > m_limits.depth) {
            return refuse(QStringLiteral("elements are nested too deeply"));
        }
        m_count += 1 + attributes.count();
        if (m_count > m_limits.elementsAndAttributes) {
            return refuse(QStringLiteral("too many elements and attributes"));
        }
        if (m_valueDepth > 0 || (m_depth > 1 && !m_names.structure.contains(qualifiedName))) {
            ++m_valueDepth;
        }
        if (!m_content->startElement(uri, localName, qualifiedName, known(attributes))) {
            return false;
        }
        m_listener.elementOpened(qualifiedName);
        return true;
    }
    bool endElement(const QString& uri, const QString& localName,
                    const QString& qualifiedName) override
    {
        --m_depth;
        m_valueDepth = qMax(0, m_valueDepth - 1);
        if (!m_content->endElement(uri, localName, qualifiedName)) {
            return false;
        }
        m_listener.elementClosed();
        return true;
    }
    bool characters(const QString& text) override
    {
        return m_valueDepth == 0 || m_content->characters(text);
    }
    bool ignorableWhitespace(const QString& text) override
    {
        return m_content->ignorableWhitespace(text);
    }
    bool processingInstruction(const QString& target, const QString& data) override
    {
        return m_content->processingInstruction(target, data);
    }
    bool skippedEntity(const QString& name) override { return m_content->skippedEntity(name); }

    bool internalEntityDecl(const QString& /*name*/, const QString& /*value*/) override
    {
        return refuseEntity();
    }
    bool externalEntityDecl(const QString& /*name*/, const QString& /*publicId*/,
                            const QString& /*systemId*/) override
    {
        return refuseEntity();
    }
    bool unparsedEntityDecl(const QString& /*name*/, const QString& /*publicId*/,
                            const QString& /*systemId*/, const QString& /*notation*/) override
    {
        return refuseEntity();
    }

    QString errorString() const override
    {
        return m_refusal.isEmpty() ? m_content->errorString() : m_refusal;
    }

private:
    [[nodiscard]] bool isKnown(const QXmlAttributes& attributes, int index) const
    {
        return m_names.attributes.contains(attributes.qName(index));
    }
    [[nodiscard]] QXmlAttributes known(const QXmlAttributes& attributes) const
    {
        int index = 0;
        while (index < attributes.count() && isKnown(attributes, index)) {
            ++index;
        }
        if (index == attributes.count()) {
            return attributes;
        }
        QXmlAttributes result;
        for (index = 0; index < attributes.count(); ++index) {
            if (isKnown(attributes, index)) {
                result.append(attributes.qName(index), attributes.uri(index),
                              attributes.localName(index), attributes.value(index));
            }
        }
        return result;
    }
    bool refuse(const QString& reason)
    {
        m_refusal = reason;
        return false;
    }
    bool refuseEntity() { return refuse(QStringLiteral("entity declarations are not allowed")); }

    QXmlContentHandler* m_content;
    const DocumentNames& m_names;
    DocumentLimits m_limits;
    LoadListener& m_listener;
    bool& m_inProlog;
    int m_depth = 0;
    /** How many of the open elements lie in one whose text is a value, itself included. */
    int m_valueDepth = 0;
    qint64 m_count = 0;
    QString m_refusal;
};

/** Qt's reader with a Guard between it and the handlers that were set on it. */
class GuardedReader : public QXmlSimpleReader
{
public:
    GuardedReader(const DocumentNames& names, const DocumentLimits& limits, LoadListener& listener,
                  bool& inProlog)
        : m_names(names)
        , m_limits(limits)
        , m_listener(listener)
        , m_inProlog(inProlog)
    {
        // The vocabulary has no namespaces, and keeping track of prefixes is quadratic in their
        // number.
        setFeature(QStringLiteral("http://xml.org/sax/features/namespaces"), false);
        setFeature(QStringLiteral("http://xml.org/sax/features/namespace-prefixes"), true);
    }

    using QXmlSimpleReader::parse;
    bool parse(const QXmlInputSource* input) override
    {
        Guard guard(contentHandler(), m_names, m_limits, m_listener, m_inProlog);
        setContentHandler(&guard);
        setDeclHandler(&guard);
        setDTDHandler(&guard);
        return QXmlSimpleReader::parse(input);
    }

private:
    const DocumentNames& m_names;
    DocumentLimits m_limits;
    LoadListener& m_listener;
    bool& m_inProlog;
};

/** Ends the document where it is too large, or its prolog nests parentheses deeper than the limit.
 */
class GuardedSource : public QXmlInputSource
{
public:
    GuardedSource(QIODevice& device, const DocumentLimits& limits)
        : m_device(device)
        , m_limits(limits)
    {
    }

    // In pieces: the whole text at once would take three times the size of the document. In small
    // ones: a block of 1 KiB or more makes the allocator put together all that the reader has freed
    // since the last, which doubles the time. The first piece holds the encoding declaration.
    void fetchData() override
    {
        constexpr int pieceSize = 448;
        if (m_at == m_filled) {
            m_at = 0;
            m_filled = int(qMax(qint64(0), m_device.read(m_buffer.data(), m_buffer.size())));
        }
        const int length = size == 0 ? m_filled : qMin(pieceSize, m_filled - m_at);
        const QByteArray piece = QByteArray::fromRawData(m_buffer.constData() + m_at, length);
        const bool isFirst = size == 0;
        m_at += length;
        size += length;
        setData(isTooLarge() ? QString() : fromRawData(piece, isFirst));
    }

    QChar next() override
    {
        const QChar c = QXmlInputSource::next();
        if (!inProlog) {
            return c;
        }
        m_depth += c == QLatin1Char('(') ? 1 : (c == QLatin1Char(')') ? -1 : 0);
        return m_depth > m_limits.depth ? QChar(EndOfDocument) : c;
    }

    [[nodiscard]] bool isTooLarge() const { return size > m_limits.bytes; }

    bool inProlog = true;
    qint64 size = 0;

private:
    QIODevice& m_device;
    DocumentLimits m_limits;
    QByteArray m_buffer = QByteArray(64 * 1024, Qt::Uninitialized);
    int m_filled = 0;
    int m_at = 0;
    int m_depth = 0;
};

} // namespace

std::variant<DocumentSize, ParseError> loadDocument(QDomDocument& document, QIODevice& device,
                                                    const DocumentNames& names,
                                                    const DocumentLimits& limits,
                                                    LoadListener& listener)
{
    GuardedSource source(device, limits);
    GuardedReader reader(names, limits, listener, source.inProlog);
    ParseError error;
    if (document.setContent(&source, &reader, &error.message, &error.line, &error.column)) {
        return DocumentSize{source.size};
    }
    if (source.isTooLarge()) {
        error.message = QStringLiteral("the document is too large");
    }
    return error;
}

QT_WARNING_POP

} // namespace zk::UpdateDocument
