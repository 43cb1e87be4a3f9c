#pragma once

#include <QDomElement>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>
#include <vector>

namespace zk::UpdateDocument {

/** What one element says about one key: its child elements of that name and its attribute. */
struct LevelValue
{
    std::vector<QDomElement> elements;
    std::optional<QString> attribute;

    /** How many times the key is written here. */
    [[nodiscard]] int count() const { return int(elements.size()) + (attribute ? 1 : 0); }
    /** The single value: the first child element's text, else the attribute, else nothing. */
    [[nodiscard]] std::optional<QString> text() const;
    /** The list value: the words of all child elements and the attribute are added to @p words. */
    void addWords(QSet<QString>& words) const;
};

/**
 * What one element ("level") of an update document says about some keys.
 *
 * This is the one place that knows how a level is read, whether a single node is asked for one key
 * or the whole document is walked: the children are gone through once, whatever the number of keys.
 */
class Level
{
public:
    /** Reads @p node, an element or the document itself, for @p keys. */
    Level(const QDomNode& node, const QStringList& keys);

    /** What the level says about keys[index]. */
    [[nodiscard]] const LevelValue& operator[](int index) const { return m_values[size_t(index)]; }

private:
    std::vector<LevelValue> m_values;
};

/** The first child element named "file" of @p node if there is one, else @p node. */
QDomNode startSearchAt(const QDomNode& node);

/** The value of @p key nearest to @p node, an empty text when no level has it. */
QString findString(const QDomNode& node, const QString& key);

/** Adds the words of @p key of all levels to @p words; returns how often the key was written. */
int findAllStrings(const QDomNode& node, const QString& key, QSet<QString>& words);

/** Adds the links of @p key of all levels to @p urls; returns how often the key was written. */
int findAllTranslatedUrls(const QDomNode& node, const QString& key, QMap<QString, QUrl>& urls);

/** Adds the words of a list as it is written. */
void addWords(QSet<QString>& words, const QString& text);

/** Adds a link in front of those that @p urls has for the language already. */
void addLink(QMap<QString, QUrl>& urls, const QString& language, const QUrl& url);

} // namespace zk::UpdateDocument
