#include "catalogue/DocumentRecords.h"

#include "catalogue/DocumentLevel.h"
#include "catalogue/UpdateDocument.h"

#include <QDomDocument>

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
    LinkRecord record{key, level[0].text(), level[1].text()};
    if (!level[2].elements.empty()) {
        const Level file(level[2].elements.front(), linkKeys());
        record.address = file[0].count() > 0 ? file[0].text() : record.address;
        record.language = file[1].count() > 0 ? file[1].text() : record.language;
    }
    return record;
}

void recordTexts(const Level& level, std::vector<TextRecord>& texts)
{
    for (int i = 0; i <= PlatformKey; ++i) {
        const Key key = Key(i);
        const bool isList = key == PlatformKey || key == LanguageKey;
        if (!isList) {
            if (std::optional<QString> text = level[key].text()) {
                texts.push_back({key, std::move(*text)});
            }
            continue;
        }
        for (const QDomElement& element : level[key].elements) {
            texts.push_back({key, element.text()});
        }
        if (level[key].attribute) {
            texts.push_back({key, *level[key].attribute});
        }
    }
}

void recordLinks(const Level& level, std::vector<LinkRecord>& links)
{
    for (const Key key : {ReleaseNotesKey, ReadmeKey}) {
        for (const QDomElement& link : level[key].elements) {
            links.push_back(recordLink(key, link));
        }
        if (!level[key].attribute) {
            continue;
        }
        // The search for the language of a link begins below this level where it has a file
        // element.
        std::optional<QString> language;
        if (!level[FileKey].elements.empty()) {
            language = Level(level[FileKey].elements.front(), linkKeys())[1].text();
        }
        links.push_back({key, level[key].attribute, language});
    }
}

LevelRecord record(const Level& level)
{
    LevelRecord result;
    recordTexts(level, result.texts);
    recordLinks(level, result.links);
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
    PackageRecord result{record(level), {}};
    if (!level[FileKey].elements.empty()) {
        result.file = recordLevel(level[FileKey].elements.front());
    }
    return result;
}

SetRecord recordSet(const QDomElement& set)
{
    const Level level(set, documentKeys());
    SetRecord result{record(level), {}, {}};
    for (const QDomElement& package : level[PackageKey].elements) {
        result.packages.push_back(recordPackage(package));
    }
    for (const QDomElement& nested : level[PackageSetKey].elements) {
        result.sets.push_back(recordSet(nested));
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
