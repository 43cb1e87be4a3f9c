#include "catalogue/DocumentScope.h"

#include "catalogue/DocumentLevel.h"
#include "catalogue/DocumentValues.h"
#include "catalogue/UpdateDocument.h"

#include <algorithm>

namespace zk::UpdateDocument {

namespace {

// Adds the links of the levels above behind those of a level: what comes last is found first.
void addAbove(QMap<QString, QUrl>& links, const QMap<QString, QUrl>& above)
{
    if (above.isEmpty()) {
        return;
    }
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    links.unite(above);
    QT_WARNING_POP
}

} // namespace

Scope::Scope(DocumentState& document)
    : m_document(&document)
{
    static const QString none;
    m_texts.fill(&none);
}

void Scope::enter(const LevelRecord& level)
{
    takeTexts(level);
    takeWords(m_platforms, level, PlatformKey);
    takeWords(m_languages, level, LanguageKey);
    takeLinks(m_releaseNotes, level, ReleaseNotesKey);
    takeLinks(m_readme, level, ReadmeKey);
}

void Scope::takeTexts(const LevelRecord& level)
{
    // Backwards: of several texts the first one counts.
    for (auto value = level.texts.rbegin(); value != level.texts.rend(); ++value) {
        if (value->key < TextKeyCount) {
            m_texts[value->key] = &value->text;
        }
        if (value->key == ReleaseDateKey) {
            m_releaseDate = parseReleaseDate(value->text);
        } else if (value->key == FileSizeKey) {
            m_fileSize = parseFileSize(value->text);
        }
    }
}

void Scope::takeWords(QSet<QString>& words, const LevelRecord& level, Key key)
{
    bool isFirst = true;
    for (const TextRecord& value : level.texts) {
        if (value.key != key) {
            continue;
        }
        if (isFirst) {
            m_document->inheritedValues -= words.size();
        }
        isFirst = false;
        if (words.isEmpty()) {
            words = wordsOf(value.text);
        } else {
            addWords(words, value.text);
        }
    }
}

QSet<QString> Scope::wordsOf(const QString& text) const
{
    constexpr int longestKept = 64;
    constexpr int mostKept = 256;
    const auto known = m_document->wordLists.constFind(text);
    if (known != m_document->wordLists.constEnd()) {
        return *known;
    }
    QSet<QString> words;
    addWords(words, text);
    if (text.size() <= longestKept && m_document->wordLists.size() < mostKept) {
        m_document->wordLists.insert(text, words);
    }
    return words;
}

void Scope::takeLinks(QMap<QString, QUrl>& links, const LevelRecord& level, Key key)
{
    const auto isOfKey = [key](const LinkRecord& link) { return link.key == key; };
    if (std::none_of(level.links.begin(), level.links.end(), isOfKey)) {
        return;
    }
    m_document->inheritedValues -= links.size();
    if (m_document->isBudgetSpent()) {
        return;
    }
    QMap<QString, QUrl> own;
    for (const LinkRecord& link : level.links) {
        if (isOfKey(link)) {
            addTo(own, link);
        }
    }
    addAbove(own, links);
    links = own;
}

void Scope::addTo(QMap<QString, QUrl>& links, const LinkRecord& link) const
{
    static const QString defaultLanguage = QLatin1String(Vocabulary::defaultLanguage);
    const QString& language = link.language ? *link.language : text(LanguageKey);
    addLink(links, language.isEmpty() ? defaultLanguage : language,
            link.address ? QUrl(*link.address, QUrl::TolerantMode) : inheritedUrl(text(UrlKey)));
}

QUrl Scope::inheritedUrl(const QString& address) const
{
    m_document->inheritedUrlCharacters -= address.size();
    return m_document->isBudgetSpent() ? QUrl() : QUrl(address, QUrl::TolerantMode);
}

void Scope::fill(PackageInfo& info) const
{
    info.type = text(TypeKey);
    info.name = text(NameKey);
    info.publicName = text(NamePublicKey);
    info.platforms = m_platforms;
    info.release = text(ReleaseVersionKey);
    info.publicRelease = text(ReleaseVersionPublicKey);
    info.status = text(ReleaseStatusKey);
    info.releaseDate = m_releaseDate;
    info.url = inheritedUrl(text(BaseUrlKey) + text(UrlKey));
    info.languages = m_languages;
    info.releaseNotes = m_releaseNotes;
    info.readme = m_readme;
    info.fileSize = m_fileSize;
    info.suffix = parsePackageSuffix(info.url.toString());
    info.comment = text(CommentKey);
}

} // namespace zk::UpdateDocument
