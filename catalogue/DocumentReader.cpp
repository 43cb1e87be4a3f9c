#include "catalogue/DocumentReader.h"

#include "catalogue/DocumentSource.h"
#include "catalogue/DocumentValues.h"
#include "catalogue/MemoryEstimate.h"
#include "catalogue/OpenLevel.h"
#include "catalogue/RecentTexts.h"

#include <QXmlSimpleReader>

#include <algorithm>

// The SAX classes are deprecated in Qt 5.15, but what they accept is what documents rely on.
QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

namespace zk::UpdateDocument {

namespace {

/** Takes from Qt's reader what the vocabulary knows; everything else passes without a trace. */
class Handler : public QXmlDefaultHandler
{
public:
    Handler(DocumentSource& source, const DocumentLimits& limits)
        : m_source(source)
        , m_limits(limits)
    {
    }

    bool startElement(const QString& uri, const QString& localName, const QString& name,
                      const QXmlAttributes& attributes) override;
    bool endElement(const QString& uri, const QString& localName, const QString& name) override;
    bool characters(const QString& text) override
    {
        if (m_isTextKept) {
            m_text += text;
        }
        if (m_isRootTextKept) {
            m_rootText += text;
        }
        return true;
    }
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
    bool fatalError(const QXmlParseException& exception) override
    {
        const Position position = m_source.position();
        error = {exception.message(), position.line, position.column};
        return false;
    }
    [[nodiscard]] QString errorString() const override
    {
        return m_refusal.isEmpty() ? QXmlDefaultHandler::errorString() : m_refusal;
    }

    DocumentRecord record;
    ParseError error;

private:
    bool refuse(const QString& reason)
    {
        m_refusal = reason;
        return false;
    }
    bool refuseEntity() { return refuse(QStringLiteral("entity declarations are not allowed")); }
    [[nodiscard]] bool isWithinLimits(int attributes);
    [[nodiscard]] bool isAffordable();
    quint32 numberOf(Key key, const QString& text);
    TextRecord keep(Key key, const QString& text);
    void open(Key key, const QXmlAttributes& attributes);
    void openLevel(Key key, const QXmlAttributes& attributes);
    void closeLevel();
    void closeLevel(OpenLevel& level, OpenLevel& parent);
    void closeRoot(OpenLevel& root);
    void tellSource() { m_source.tagPassed(m_isTextKept || m_isRootTextKept || m_depth == 0); }

    DocumentSource& m_source;
    const DocumentLimits& m_limits;
    RecentTexts m_recent;
    std::vector<OpenLevel> m_levels;
    int m_depth = 0;
    qint64 m_count = 0;
    qint64 m_memory = 0;
    int m_longestAddress = 0;
    /** Open elements below the innermost level, and the key whose value the outermost of them is.
     */
    int m_depthBelowLevel = 0;
    Key m_valueKey = Vocabulary::KeyCount;
    Key m_rootKey = Vocabulary::KeyCount;
    bool m_isTextKept = false;
    bool m_isRootTextKept = false;
    QString m_text;
    QString m_rootText;
    QString m_refusal;
};

bool Handler::startElement(const QString& /*uri*/, const QString& /*localName*/,
                           const QString& name, const QXmlAttributes& attributes)
{
    m_source.inProlog = false;
    if (!isWithinLimits(attributes.count())) {
        return false;
    }
    // Names are looked at as they are written: following prefixes is quadratic in their number.
    const QStringView localName = Vocabulary::localName(name);
    if (localName.isEmpty()) {
        return false;
    }
    if (m_depthBelowLevel > 0) {
        ++m_depthBelowLevel;
    } else {
        open(Vocabulary::keyOf(localName), attributes);
    }
    tellSource();
    return true;
}

bool Handler::isWithinLimits(int attributes)
{
    m_count += 1 + attributes;
    if (++m_depth > m_limits.depth) {
        return refuse(QStringLiteral("elements are nested too deeply"));
    }
    if (m_count > m_limits.elementsAndAttributes) {
        return refuse(QStringLiteral("too many elements and attributes"));
    }
    return isAffordable();
}

bool Handler::isAffordable()
{
    if (m_longestAddress > m_limits.addressCharacters) {
        return refuse(QStringLiteral("an address is too long"));
    }
    record.memory = m_memory + m_recent.bytes();
    return record.memory + m_source.remaining() <= m_limits.memory ||
           refuse(QStringLiteral("the packages take too much memory"));
}

quint32 Handler::numberOf(Key key, const QString& text)
{
    return key == Vocabulary::releaseDateKey ? record.dates.numberOf(text)
           : key == Vocabulary::fileSizeKey  ? parseFileSize(text)
                                             : 0;
}

TextRecord Handler::keep(Key key, const QString& text)
{
    m_memory += qint64(sizeof(TextRecord));
    if (key == Vocabulary::releaseDateKey || key == Vocabulary::fileSizeKey) {
        return {key, numberOf(key, text), QString()};
    }
    if (key == Vocabulary::urlKey || key == Vocabulary::baseUrlKey ||
        Vocabulary::isKindOf(key, Kind::Links)) {
        m_memory += text.contains(QLatin1Char(':')) ? MemoryEstimate::schemeAndHost : 0;
        m_memory += Vocabulary::isKindOf(key, Kind::Links) ? MemoryEstimate::link : 0;
        record.addressCharacters += text.size();
        m_longestAddress = qMax(m_longestAddress, int(text.size()));
    }
    return {key, 0, m_recent.share(text)};
}

void Handler::open(Key key, const QXmlAttributes& attributes)
{
    if (m_levels.empty()) {
        m_rootKey = key;
        m_isRootTextKept =
            Vocabulary::isKindOf(key, Kind::Text) || Vocabulary::isKindOf(key, Kind::Words);
        openLevel(Vocabulary::packageSetKey, attributes);
        return;
    }
    OpenLevel& parent = m_levels.back();
    const bool isPlaced =
        parent.isSet() || (key != Vocabulary::packageKey && key != Vocabulary::packageSetKey);
    const bool isWanted = isPlaced && parent.wants(key);
    const bool isText =
        Vocabulary::isKindOf(key, Kind::Text) || Vocabulary::isKindOf(key, Kind::Words);
    if (isWanted && !isText) {
        openLevel(key, attributes);
        return;
    }
    m_depthBelowLevel = 1;
    m_isTextKept = isWanted;
    m_valueKey = key;
}

void Handler::openLevel(Key key, const QXmlAttributes& attributes)
{
    m_memory += MemoryEstimate::ofLevel(key);
    m_levels.emplace_back(key);
    OpenLevel::Texts& texts = m_levels.back().attributes;
    for (int i = 0; i < attributes.count(); ++i) {
        const QString name = attributes.qName(i);
        const QStringView localName = Vocabulary::localName(name);
        const Key attribute = Vocabulary::keyOf(localName);
        if (attribute == Vocabulary::KeyCount || Vocabulary::kindOf(attribute) == Kind::Structure ||
            (localName.size() < name.size() && name.startsWith(QLatin1String("xmlns:")))) {
            continue;
        }
        // Of several that differ only in their prefix the last one counts.
        auto same = std::find_if(texts.begin(), texts.end(), [attribute](const TextRecord& text) {
            return text.key == attribute;
        });
        TextRecord text = keep(attribute, attributes.value(i));
        if (same == texts.end()) {
            texts.append(std::move(text));
        } else {
            *same = std::move(text);
        }
    }
}

bool Handler::endElement(const QString& /*uri*/, const QString& /*localName*/,
                         const QString& /*name*/)
{
    --m_depth;
    if (m_depthBelowLevel == 0) {
        closeLevel();
    } else if (--m_depthBelowLevel == 0 && m_isTextKept) {
        m_levels.back().elements.append(keep(m_valueKey, m_text));
        m_text = QString();
        m_isTextKept = false;
    }
    tellSource();
    return isAffordable();
}

void Handler::closeLevel()
{
    OpenLevel& level = m_levels.back();
    if (m_levels.size() == 1) {
        closeRoot(level);
    } else {
        closeLevel(level, m_levels[m_levels.size() - 2]);
    }
    m_levels.pop_back();
}

void Handler::closeLevel(OpenLevel& level, OpenLevel& parent)
{
    if (level.key == Vocabulary::packageKey) {
        parent.set.packages.push_back(level.take());
        ++record.packages;
    } else if (level.key == Vocabulary::fileKey) {
        parent.file = level.take();
    } else if (!level.isSet()) {
        parent.links.append(level.link(level.key));
    } else if (!level.set.packages.empty() || !level.set.sets.empty()) {
        level.set.own = level.take();
        parent.set.sets.push_back(std::move(level.set));
    }
}

// The document itself is a level as well, whose only element is the root.
void Handler::closeRoot(OpenLevel& root)
{
    if (m_isRootTextKept) {
        record.top.texts.push_back({m_rootKey, numberOf(m_rootKey, m_rootText), m_rootText});
    } else if (Vocabulary::isKindOf(m_rootKey, Kind::Links)) {
        record.top.links.push_back(root.link(m_rootKey));
    }
    record.root = std::move(root.set);
    record.root.own = root.take();
}

} // namespace

std::variant<DocumentRecord, ParseError> readDocument(QIODevice& device,
                                                      const DocumentLimits& limits)
{
    DocumentSource source(device, limits);
    Handler handler(source, limits);
    QXmlSimpleReader reader;
    reader.setFeature(QStringLiteral("http://xml.org/sax/features/namespaces"), false);
    reader.setFeature(QStringLiteral("http://xml.org/sax/features/namespace-prefixes"), true);
    reader.setContentHandler(&handler);
    reader.setErrorHandler(&handler);
    reader.setDeclHandler(&handler);
    reader.setDTDHandler(&handler);
    const bool isAccepted = reader.parse(source);
    if (source.isTooLarge()) { // maybe by no more than blanks behind the root
        const Position end = source.position();
        return ParseError{QStringLiteral("the document is too large"), end.line, end.column};
    }
    if (!isAccepted) {
        return handler.error;
    }
    return std::move(handler.record);
}

QT_WARNING_POP

} // namespace zk::UpdateDocument
