#pragma once

#include "catalogue/DocumentRecords.h"
#include "catalogue/PackageInfo.h"

#include <array>

namespace zk::UpdateDocument {

/** What a document has used up of the limits on inherited values. */
struct InheritanceBudget
{
    int values = 0;
    qint64 urlCharacters = 0;

    [[nodiscard]] bool isSpent() const { return values < 0 || urlCharacters < 0; }
};

/**
 * Everything that holds at one level of the document: its own values, else those of the levels
 * above.
 *
 * The scope of a level is a copy of the one above it that has entered the level. Texts, sets and
 * maps are shared until a level adds to them.
 */
class Scope
{
public:
    /** The scope outside the document, in which nothing holds. */
    explicit Scope(InheritanceBudget& budget);

    /** Goes down to a level that says @p level. */
    void enter(const LevelRecord& level);

    /** Fills @p info with what holds here. */
    void fill(PackageInfo& info) const;

private:
    void takeTexts(const LevelRecord& level);
    void takeWords(QSet<QString>& words, const LevelRecord& level, Key key);
    void takeLinks(QMap<QString, QUrl>& links, const LevelRecord& level, Key key);
    void addTo(QMap<QString, QUrl>& links, const LinkRecord& link) const;
    [[nodiscard]] QUrl inheritedUrl(const QString& text) const;

    InheritanceBudget* m_budget;
    std::array<QString, TextKeyCount> m_texts;
    QDateTime m_releaseDate;
    quint32 m_fileSize = 0;
    QSet<QString> m_platforms;
    QSet<QString> m_languages;
    QMap<QString, QUrl> m_releaseNotes;
    QMap<QString, QUrl> m_readme;
};

} // namespace zk::UpdateDocument
