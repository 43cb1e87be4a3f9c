#pragma once

#include "catalogue/DocumentLevel.h"
#include "catalogue/PackageInfo.h"

#include <QHash>

#include <array>

namespace zk::UpdateDocument {

/** The keys that the document pass reads at each level; what has a single text comes first. */
enum Key {
    TypeKey,
    NameKey,
    NamePublicKey,
    ReleaseVersionKey,
    ReleaseVersionPublicKey,
    ReleaseStatusKey,
    ReleaseDateKey,
    BaseUrlKey,
    UrlKey,
    FileSizeKey,
    LanguageKey,
    CommentKey,
    TextKeyCount,
    PlatformKey = TextKeyCount,
    ReleaseNotesKey,
    ReadmeKey,
    FileKey,
    PackageKey,
    PackageSetKey,
    KeyCount
};

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
 * A scope is made from the one above it, so each level is read once however many packages lie below
 * it. Texts, sets and maps are shared until a level adds to them.
 */
class Scope
{
public:
    /** The scope outside the document, in which nothing holds. */
    explicit Scope(InheritanceBudget& budget);

    /** The scope of an element that says @p level, inside the scope @p above it. */
    Scope(const Scope& above, const Level& level);

    /** Fills @p info with what holds here. */
    void fill(PackageInfo& info) const;

private:
    void takeTexts(const Level& level);
    void takeWords(QSet<QString>& words, const LevelValue& value);
    void takeLinks(QMap<QString, QUrl>& links, const LevelValue& value, const Level& level);
    void addLinkElement(QMap<QString, QUrl>& links, const QDomElement& link) const;
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

/** The keys of the pass, in the order of Key. */
const QStringList& documentKeys();

/** Reads @p node for all keys of the pass. */
Level readLevel(const QDomNode& node);

} // namespace zk::UpdateDocument
