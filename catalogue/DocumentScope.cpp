#include "catalogue/DocumentScope.h"

#include "catalogue/DocumentValues.h"
#include "catalogue/UpdateDocument.h"

namespace zk::UpdateDocument {

namespace {

const QStringList& linkKeys()
{
    static const QStringList keys{QLatin1String(Vocabulary::url),
                                  QLatin1String(Vocabulary::language),
                                  QLatin1String(Vocabulary::file)};
    return keys;
}

// Adds the links of the levels above behind those of a level: what comes last is found first.
void addAbove(QMap<QString, QUrl>& links, const QMap<QString, QUrl>& above)
{
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    links.unite(above);
    QT_WARNING_POP
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

Level readLevel(const QDomNode& node)
{
    return Level(node, documentKeys());
}

Scope::Scope(InheritanceBudget& budget)
    : m_budget(&budget)
{
}

Scope::Scope(const Scope& above, const Level& level)
    : Scope(above)
{
    takeTexts(level);
    takeWords(m_platforms, level[PlatformKey]);
    takeWords(m_languages, level[LanguageKey]);
    takeLinks(m_releaseNotes, level[ReleaseNotesKey], level);
    takeLinks(m_readme, level[ReadmeKey], level);
}

void Scope::takeTexts(const Level& level)
{
    for (int key = 0; key < TextKeyCount; ++key) {
        if (std::optional<QString> text = level[key].text()) {
            m_texts[size_t(key)] = std::move(*text);
        }
    }
    if (level[ReleaseDateKey].count() > 0) {
        m_releaseDate = parseReleaseDate(m_texts[ReleaseDateKey]);
    }
    if (level[FileSizeKey].count() > 0) {
        m_fileSize = parseFileSize(m_texts[FileSizeKey]);
    }
}

void Scope::takeWords(QSet<QString>& words, const LevelValue& value)
{
    if (value.count() > 0) {
        m_budget->values -= words.size();
        value.addWords(words);
    }
}

void Scope::takeLinks(QMap<QString, QUrl>& links, const LevelValue& value, const Level& level)
{
    if (value.count() == 0) {
        return;
    }
    m_budget->values -= links.size();
    if (m_budget->isSpent()) {
        return;
    }
    QMap<QString, QUrl> own;
    for (const QDomElement& link : value.elements) {
        addLinkElement(own, link);
    }
    if (value.attribute) {
        // The search for the language of a link begins below this level where it has a file
        // element.
        QString text = m_texts[LanguageKey];
        if (!level[FileKey].elements.empty()) {
            const Level fileLevel(level[FileKey].elements.front(), linkKeys());
            text = fileLevel[1].text().value_or(text);
        }
        addLink(own, text.isEmpty() ? QString(QLatin1String(Vocabulary::defaultLanguage)) : text,
                QUrl(*value.attribute, QUrl::TolerantMode));
    }
    addAbove(own, links);
    links = own;
}

void Scope::addLinkElement(QMap<QString, QUrl>& links, const QDomElement& link) const
{
    const Level level(link, linkKeys());
    std::optional<QString> address = level[0].text();
    std::optional<QString> languageText = level[1].text();
    if (!level[2].elements.empty()) {
        const Level fileLevel(level[2].elements.front(), linkKeys());
        address = fileLevel[0].count() > 0 ? fileLevel[0].text() : address;
        languageText = fileLevel[1].count() > 0 ? fileLevel[1].text() : languageText;
    }
    const QString found = languageText.value_or(m_texts[LanguageKey]);
    addLink(links, found.isEmpty() ? QString(QLatin1String(Vocabulary::defaultLanguage)) : found,
            address ? QUrl(*address, QUrl::TolerantMode) : inheritedUrl(m_texts[UrlKey]));
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
