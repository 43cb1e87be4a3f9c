#pragma once

#include "catalogue/DocumentLoader.h"

#include <QDomElement>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace zk::UpdateDocument {

/** The keys that a level is read for; what has a single text comes first. */
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

/** One text that a level gives for a key. */
struct TextRecord
{
    Key key = KeyCount;
    QString text;
};

/** One link that a level gives for a key; what it leaves out is inherited. */
struct LinkRecord
{
    Key key = KeyCount;
    std::optional<QString> address;
    std::optional<QString> language;
};

/**
 * What one level of the document says, without the document.
 *
 * Of a key with a single text there is that one, of a list all that are written; the first of a
 * key is the one that counts as its text.
 */
struct LevelRecord
{
    std::vector<TextRecord> texts;
    std::vector<LinkRecord> links;
};

/** A package and its file element, which says nothing where there is none. */
struct PackageRecord
{
    LevelRecord own;
    LevelRecord file;
};

/** A set with its packages and the sets in it, each in document order. */
struct SetRecord
{
    LevelRecord own;
    std::vector<PackageRecord> packages;
    std::vector<SetRecord> sets;
};

/** The keys as they are written, in the order of Key. */
const QStringList& documentKeys();

/** What @p node, an element or the document itself, says. */
LevelRecord recordLevel(const QDomNode& node);

/** What @p package and its file element say. */
PackageRecord recordPackage(const QDomElement& package);

/** What @p set says and all that lies in it. */
SetRecord recordSet(const QDomElement& set);

/**
 * Records a document while it is loaded, and takes out of it what it has recorded.
 *
 * A package is read while its nodes are near, and never are there many of them: the whole document
 * would take a hundred times its size, and longer to walk and free than to load.
 */
class Recorder final : public LoadListener
{
public:
    explicit Recorder(QDomDocument& document);

    void elementOpened(const QString& name) override;
    void elementClosed() override;

    /** The root as a set, once the document is loaded. */
    [[nodiscard]] SetRecord takeRoot();

private:
    struct OpenSet
    {
        QDomElement element;
        SetRecord record;
    };

    void openRoot(const QString& name);
    void closeSet();

    QDomDocument& m_document;
    std::vector<OpenSet> m_sets;
    SetRecord m_root;
    /** Open elements that are no set, counted from the outermost one. */
    int m_depthBelowSet = 0;
    bool m_isPackageOpen = false;
    bool m_isPostponed = false;
};

} // namespace zk::UpdateDocument
