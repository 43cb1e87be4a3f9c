#pragma once

#include "catalogue/AddressReader.h"
#include "catalogue/DocumentRecords.h"
#include "catalogue/PackageInfo.h"
#include "catalogue/WordLists.h"

#include <array>

namespace zk::UpdateDocument {

/** What the scopes of one document have in common. */
struct DocumentState
{
    const DateTable& dates;
    MemoryBudget budget;
    WordLists wordLists = {};
    AddressReader addresses = {};
    /** That of the last package: few documents have more than one or two. */
    QString suffix = {};
};

/**
 * The effective values at one level of the document: its own, otherwise those of the levels above.
 *
 * The scope of a level is a copy of the one above it on which enter() was called. It points into
 * the entered records, which must outlive it; sets and maps are shared until a level adds to them.
 */
class Scope
{
public:
    /** The scope outside the document, without any values. */
    explicit Scope(DocumentState& document);

    /** Descends to a level with the values @p level. */
    void enter(const LevelRecord& level);

    /** Fills @p info with the effective values. */
    void fill(PackageInfo& info) const;

private:
    void takeTexts(const LevelRecord& level);
    void takeWords(Words& words, const LevelRecord& level, Key key);
    void takeLinks(QMultiMap<QString, QUrl>& links, const LevelRecord& level, Key key);
    void addTo(QMultiMap<QString, QUrl>& links, const LinkRecord& link) const;
    [[nodiscard]] const QString& text(Key key) const { return *m_texts[key]; }
    [[nodiscard]] QUrl inheritedUrl(const QString& address) const;
    void fillAddress(PackageInfo& info) const;

    DocumentState* m_document;
    std::array<const QString*, Vocabulary::KeyCount> m_texts;
    QDateTime m_releaseDate;
    quint32 m_fileSize = 0;
    Words m_platforms;
    Words m_languages;
    QMultiMap<QString, QUrl> m_releaseNotes;
    QMultiMap<QString, QUrl> m_readme;
};

} // namespace zk::UpdateDocument
