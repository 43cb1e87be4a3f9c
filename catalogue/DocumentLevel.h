#pragma once

#include <QDomElement>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVarLengthArray>

#include <optional>

namespace zk::UpdateDocument {

/**
 * What one element ("level") of an update document says about some keys.
 *
 * This is the one place that knows how a level is read, whether a single node is asked for one key
 * or the whole document is walked: the children are gone through once, whatever the number of keys.
 */
class Level
{
public:
    struct Element
    {
        int key = -1;
        QDomElement element;
    };
    struct Attribute
    {
        int key = -1;
        QString text;
    };

    /** Reads @p node, an element or the document itself, for @p keys. */
    Level(const QDomNode& node, const QStringList& keys);

    /** The child elements named like a key, by the key's index and in document order. */
    [[nodiscard]] const QVarLengthArray<Element, 8>& elements() const { return m_elements; }
    /** The attributes named like a key, by the key's index and in no order. */
    [[nodiscard]] const QVarLengthArray<Attribute, 8>& attributes() const { return m_attributes; }

    /** The first child element of keys[index], a null element when there is none. */
    [[nodiscard]] QDomElement firstElement(int index) const;
    /** The single value: the first child element's text, else the attribute, else nothing. */
    [[nodiscard]] std::optional<QString> text(int index) const;

private:
    void readAttributes(const QDomElement& element, const QStringList& keys);

    QVarLengthArray<Element, 8> m_elements;
    QVarLengthArray<Attribute, 8> m_attributes;
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
