#include "catalogue/DocumentRecords.h"

#include "catalogue/DocumentLevel.h"
#include "catalogue/UpdateDocument.h"

#include <QDomDocument>

#include <iterator>

namespace zk::UpdateDocument {

namespace {

const QStringList& linkKeys()
{
    static const QStringList keys{QLatin1String(Vocabulary::url),
                                  QLatin1String(Vocabulary::language),
                                  QLatin1String(Vocabulary::file)};
    return keys;
}

LinkRecord recordLink(Key key, const QDomElement& link)
{
    const Level level(link, linkKeys());
    LinkRecord record{key, level.text(0), level.text(1)};
    const QDomElement file = level.firstElement(2);
    if (!file.isNull()) {
        const Level fileLevel(file, linkKeys());
        record.address = fileLevel.text(0) ? fileLevel.text(0) : record.address;
        record.language = fileLevel.text(1) ? fileLevel.text(1) : record.language;
    }
    return record;
}

// The search for the language of a link attribute begins below its level where that has a file
// element.
LinkRecord recordLink(Key key, const QString& address, const Level& level)
{
    const QDomElement file = level.firstElement(FileKey);
    return {key, address, file.isNull() ? std::nullopt : Level(file, linkKeys()).text(1)};
}

bool isLink(int key)
{
    return key == ReleaseNotesKey || key == ReadmeKey;
}

/** Tells which texts of a level are needed: all of a list, else the first. */
class TextChoice
{
public:
    bool take(int key)
    {
        if (key > PlatformKey) {
            return false;
        }
        const quint32 bit = 1U << quint32(key);
        const bool isFirst = (m_taken & bit) == 0;
        m_taken |= bit;
        return isFirst || key == PlatformKey || key == LanguageKey;
    }

private:
    quint32 m_taken = 0;
};

LevelRecord record(const Level& level)
{
    QVarLengthArray<TextRecord, 16> texts;
    LevelRecord result;
    TextChoice choice;
    for (const Level::Element& value : level.elements()) {
        if (isLink(value.key)) {
            result.links.push_back(recordLink(Key(value.key), value.element));
        } else if (choice.take(value.key)) {
            texts.append({Key(value.key), value.element.text()});
        }
    }
    for (const Level::Attribute& value : level.attributes()) {
        if (isLink(value.key)) {
            result.links.push_back(recordLink(Key(value.key), value.text, level));
        } else if (choice.take(value.key)) {
            texts.append({Key(value.key), value.text});
        }
    }
    result.texts.assign(std::make_move_iterator(texts.begin()),
                        std::make_move_iterator(texts.end()));
    return result;
}

} // namespace

const QStringList& documentKeys()
{
    static const QStringList keys{QLatin1String(Vocabulary::type),
                                  QLatin1String(Vocabulary::name),
                                  QLatin1String(Vocabulary::namePublic),
                                  QLatin1String(Vocabulary::releaseVersion),
                                  QLatin1String(Vocabulary::releaseVersionPublic),
                                  QLatin1String(Vocabulary::releaseStatus),
                                  QLatin1String(Vocabulary::releaseDate),
                                  QLatin1String(Vocabulary::baseUrl),
                                  QLatin1String(Vocabulary::url),
                                  QLatin1String(Vocabulary::fileSize),
                                  QLatin1String(Vocabulary::language),
                                  QLatin1String(Vocabulary::comment),
                                  QLatin1String(Vocabulary::platform),
                                  QLatin1String(Vocabulary::releaseNotes),
                                  QLatin1String(Vocabulary::readme),
                                  QLatin1String(Vocabulary::file),
                                  QLatin1String(Vocabulary::package),
                                  QLatin1String(Vocabulary::packageSet)};
    return keys;
}

LevelRecord recordLevel(const QDomNode& node)
{
    return record(Level(node, documentKeys()));
}

PackageRecord recordPackage(const QDomElement& package)
{
    const Level level(package, documentKeys());
    const QDomElement file = level.firstElement(FileKey);
    return {record(level), file.isNull() ? LevelRecord() : recordLevel(file)};
}

SetRecord recordSet(const QDomElement& set)
{
    const Level level(set, documentKeys());
    SetRecord result{record(level), {}, {}};
    for (const Level::Element& child : level.elements()) {
        if (child.key == PackageKey) {
            result.packages.push_back(recordPackage(child.element));
        } else if (child.key == PackageSetKey) {
            result.sets.push_back(recordSet(child.element));
        }
    }
    return result;
}

Recorder::Recorder(QDomDocument& document)
    : m_document(document)
{
}

void Recorder::elementOpened(const QString& name)
{
    if (m_isPostponed) {
        return;
    }
    if (m_sets.empty()) {
        openRoot(name);
    } else if (m_depthBelowSet == 0 && name == QLatin1String(Vocabulary::packageSet)) {
        m_sets.push_back({m_sets.back().element.lastChild().toElement(), {}});
    } else {
        m_isPackageOpen =
            m_depthBelowSet == 0 ? name == QLatin1String(Vocabulary::package) : m_isPackageOpen;
        ++m_depthBelowSet;
    }
}

void Recorder::elementClosed()
{
    if (m_isPostponed) {
        return;
    }
    if (m_depthBelowSet == 0) {
        closeSet();
        return;
    }
    --m_depthBelowSet;
    if (m_depthBelowSet == 0 && m_isPackageOpen) {
        OpenSet& set = m_sets.back();
        const QDomNode package = set.element.lastChild();
        set.record.packages.push_back(recordPackage(package.toElement()));
        set.element.removeChild(package);
    }
}

void Recorder::openRoot(const QString& name)
{
    // A root that is called like a value has all the text in the document for one.
    m_isPostponed = documentKeys().mid(0, FileKey).contains(name);
    m_sets.push_back({m_document.documentElement(), {}});
}

void Recorder::closeSet()
{
    OpenSet closed = std::move(m_sets.back());
    m_sets.pop_back();
    closed.record.own = recordLevel(closed.element);
    if (m_sets.empty()) {
        m_root = std::move(closed.record);
        return;
    }
    m_sets.back().record.sets.push_back(std::move(closed.record));
    m_sets.back().element.removeChild(closed.element);
}

SetRecord Recorder::takeRoot()
{
    return m_isPostponed ? recordSet(m_document.documentElement()) : std::move(m_root);
}

} // namespace zk::UpdateDocument
