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
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    links.unite(above);
    QT_WARNING_POP
}

} // namespace

Scope::Scope(InheritanceBudget& budget)
    : m_budget(&budget)
{
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
            m_texts[value->key] = value->text;
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
            m_budget->values -= words.size();
        }
        isFirst = false;
        addWords(words, value.text);
    }
}

void Scope::takeLinks(QMap<QString, QUrl>& links, const LevelRecord& level, Key key)
{
    const auto isOfKey = [key](const LinkRecord& link) { return link.key == key; };
    if (std::none_of(level.links.begin(), level.links.end(), isOfKey)) {
        return;
    }
    m_budget->values -= links.size();
    if (m_budget->isSpent()) {
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
    const QString& language = link.language ? *link.language : m_texts[LanguageKey];
    addLink(links,
            language.isEmpty() ? QString(QLatin1String(Vocabulary::defaultLanguage)) : language,
            link.address ? QUrl(*link.address, QUrl::TolerantMode) : inheritedUrl(m_texts[UrlKey]));
}

QUrl Scope::inheritedUrl(const QString& text) const
{
    m_budget->urlCharacters -= text.size();
    return m_budget->isSpent() ? QUrl() : QUrl(text, QUrl::TolerantMode);
}

void Scope::fill(PackageInfo& info) const
{
    info.type = m_texts[TypeKey];
    info.name = m_texts[NameKey];
    info.publicName = m_texts[NamePublicKey];
    info.platforms = m_platforms;
    info.release = m_texts[ReleaseVersionKey];
    info.publicRelease = m_texts[ReleaseVersionPublicKey];
    info.status = m_texts[ReleaseStatusKey];
    info.releaseDate = m_releaseDate;
    info.url = inheritedUrl(m_texts[BaseUrlKey] + m_texts[UrlKey]);
    info.languages = m_languages;
    info.releaseNotes = m_releaseNotes;
    info.readme = m_readme;
    info.fileSize = m_fileSize;
    info.suffix = parsePackageSuffix(info.url.toString());
    info.comment = m_texts[CommentKey];
}

} // namespace zk::UpdateDocument
