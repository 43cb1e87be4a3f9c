#pragma once

#include "catalogue/DocumentRecords.h"
#include "catalogue/PackageInfo.h"

#include <QHash>

#include <array>

namespace zk::UpdateDocument {

/** What the scopes of one document have in common. */
struct DocumentState
{
    /** What is left of the limits on inherited values. */
    int inheritedValues = 0;
    qint64 inheritedUrlCharacters = 0;
    /** Short lists of words as they are written: most packages name one of a few platforms. */
    QHash<QString, QSet<QString>> wordLists;

    [[nodiscard]] bool isBudgetSpent() const
    {
        return inheritedValues < 0 || inheritedUrlCharacters < 0;
    }
};

/**
 * Everything that holds at one level of the document: its own values, else those of the levels
 * above.
 *
 * The scope of a level is a copy of the one above it that has entered the level. It looks into the
 * records it has entered, which must outlive it; sets and maps are shared until a level adds to
 * them.
 */
class Scope
{
public:
    /** The scope outside the document, in which nothing holds. */
    explicit Scope(DocumentState& document);

    /** Goes down to a level that says @p level. */
    void enter(const LevelRecord& level);

    /** Fills @p info with what holds here. */
    void fill(PackageInfo& info) const;

private:
    void takeTexts(const LevelRecord& level);
    void takeWords(QSet<QString>& words, const LevelRecord& level, Key key);
    void takeLinks(QMap<QString, QUrl>& links, const LevelRecord& level, Key key);
    void addTo(QMap<QString, QUrl>& links, const LinkRecord& link) const;
    [[nodiscard]] QSet<QString> wordsOf(const QString& text) const;
    [[nodiscard]] const QString& text(Key key) const { return *m_texts[key]; }
    [[nodiscard]] QUrl inheritedUrl(const QString& address) const;

    DocumentState* m_document;
    std::array<const QString*, TextKeyCount> m_texts;
    QDateTime m_releaseDate;
    quint32 m_fileSize = 0;
    QSet<QString> m_platforms;
    QSet<QString> m_languages;
    QMap<QString, QUrl> m_releaseNotes;
    QMap<QString, QUrl> m_readme;
};

} // namespace zk::UpdateDocument
