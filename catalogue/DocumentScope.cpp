#include "catalogue/DocumentScope.h"

#include "catalogue/DocumentValues.h"
#include "catalogue/MemoryEstimate.h"
#include "catalogue/Vocabulary.h"

#include <algorithm>

namespace zk::UpdateDocument {

Scope::Scope(DocumentState& document)
    : m_document(&document)
{
    static const QString none;
    m_texts.fill(&none);
}

void Scope::enter(const LevelRecord& level)
{
    takeWords(m_platforms, level, Vocabulary::platformKey);
    takeWords(m_languages, level, Vocabulary::languageKey);
    // Before the texts: what a link has not is inherited from the levels above.
    takeLinks(m_releaseNotes, level, Vocabulary::releaseNotesKey);
    takeLinks(m_readme, level, Vocabulary::readmeKey);
    takeTexts(level);
}

void Scope::takeTexts(const LevelRecord& level)
{
    // In reverse: of several texts the first one counts.
    for (auto value = level.texts.rbegin(); value != level.texts.rend(); ++value) {
        m_texts[value->key] = &value->text;
        if (value->key == Vocabulary::releaseDateKey) {
            m_releaseDate = m_document->dates.at(value->number);
        } else if (value->key == Vocabulary::fileSizeKey) {
            m_fileSize = value->number;
        }
    }
}

void Scope::takeWords(Words& words, const LevelRecord& level, Key key)
{
    bool isInherited = true;
    for (const TextRecord& value : level.texts) {
        if (value.key == key) {
            m_document->wordLists.add(words, value.text, isInherited, m_document->budget);
            isInherited = false;
        }
    }
}

void Scope::takeLinks(QMultiMap<QString, QUrl>& links, const LevelRecord& level, Key key)
{
    const auto isOfKey = [key](const LinkRecord& link) { return link.key == key; };
    if (std::none_of(level.links.begin(), level.links.end(), isOfKey)) {
        return;
    }
    m_document->budget.spendValues(links.size());
    if (m_document->budget.isSpent()) {
        return;
    }
    QMultiMap<QString, QUrl> own;
    for (const LinkRecord& link : level.links) {
        if (isOfKey(link)) {
            addTo(own, link);
        }
    }
    own.unite(links); // lookups find the last one first, which are those of the levels above
    links = std::move(own);
}

void Scope::addTo(QMultiMap<QString, QUrl>& links, const LinkRecord& link) const
{
    static const QString defaultLanguage = QLatin1String(Vocabulary::defaultLanguage);
    const QString& language =
        link.language.isNull() ? text(Vocabulary::languageKey) : link.language;
    const QString& address = link.address.isNull() ? text(Vocabulary::urlKey) : link.address;
    links.insert(language.isEmpty() ? defaultLanguage : language,
                 link.hasOwnAddress ? QUrl(address, QUrl::TolerantMode) : inheritedUrl(address));
}

QUrl Scope::inheritedUrl(const QString& address) const
{
    m_document->budget.spendAddress(address.size());
    m_document->budget.spendBytes(MemoryEstimate::schemeAndHost);
    return m_document->budget.isSpent() ? QUrl() : QUrl(address, QUrl::TolerantMode);
}

void Scope::fill(PackageInfo& info) const
{
    info.type = text(Vocabulary::typeKey);
    info.name = text(Vocabulary::nameKey);
    info.publicName = text(Vocabulary::namePublicKey);
    info.platforms = m_platforms.set;
    info.release = text(Vocabulary::releaseVersionKey);
    info.publicRelease = text(Vocabulary::releaseVersionPublicKey);
    info.status = text(Vocabulary::releaseStatusKey);
    info.releaseDate = m_releaseDate;
    info.languages = m_languages.set;
    info.releaseNotes = m_releaseNotes;
    info.readme = m_readme;
    info.fileSize = m_fileSize;
    info.comment = text(Vocabulary::commentKey);
    fillAddress(info);
}

void Scope::fillAddress(PackageInfo& info) const
{
    const QString& base = text(Vocabulary::baseUrlKey);
    const QString& rest = text(Vocabulary::urlKey);
    m_document->budget.spendAddress(base.size() + rest.size());
    if (m_document->budget.isSpent()) {
        return;
    }
    const PackageAddress& address = m_document->addresses.read(base, rest);
    m_document->budget.spendBytes(address.cost);
    const QString suffix = parsePackageSuffix(address.text);
    if (suffix != m_document->suffix) {
        m_document->suffix = suffix;
        m_document->suffix.squeeze();
        m_document->budget.spendBytes(MemoryEstimate::ofText(suffix));
    }
    info.url = address.url;
    info.suffix = m_document->suffix;
}

} // namespace zk::UpdateDocument
