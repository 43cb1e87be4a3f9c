#include "catalogue/DocumentLevel.h"

#include "catalogue/UpdateDocument.h"
#include "support/StringUtils.h"

#include <algorithm>

namespace zk::UpdateDocument {

namespace {

// Calls visit for the search's first level and everything above it, until it returns false.
template <typename Visit>
void visitLevels(const QDomNode& node, const QStringList& keys, Visit visit)
{
    for (QDomNode level = startSearchAt(node); !level.isNull(); level = level.parentNode()) {
        if (!visit(level, Level(level, keys))) {
            return;
        }
    }
}

QString languageAt(const QDomNode& node)
{
    const QString language = findString(node, QLatin1String(Vocabulary::language));
    return language.isEmpty() ? QString(QLatin1String(Vocabulary::defaultLanguage)) : language;
}

} // namespace

Level::Level(const QDomNode& node, const QStringList& keys)
{
    for (QDomNode child = node.firstChild(); !child.isNull(); child = child.nextSibling()) {
        const int key = child.isElement() ? keys.indexOf(child.nodeName()) : -1;
        if (key >= 0) {
            m_elements.append({key, child.toElement()});
        }
    }
    if (node.isElement()) {
        readAttributes(node.toElement(), keys);
    }
}

void Level::readAttributes(const QDomElement& element, const QStringList& keys)
{
    const QDomNamedNodeMap all = element.attributes();
    const int count = all.count();
    // Finding the n-th attribute takes n steps, finding one by its name a hash of that.
    if (count > keys.size()) {
        for (int key = 0; key < keys.size(); ++key) {
            const QDomNode attribute = all.namedItem(keys.at(key));
            if (!attribute.isNull()) {
                m_attributes.append({key, attribute.nodeValue()});
            }
        }
        return;
    }
    for (int i = 0; i < count; ++i) {
        const QDomNode attribute = all.item(i);
        const int key = keys.indexOf(attribute.nodeName());
        if (key >= 0) {
            m_attributes.append({key, attribute.nodeValue()});
        }
    }
}

QDomElement Level::firstElement(int index) const
{
    const auto found =
        std::find_if(m_elements.begin(), m_elements.end(),
                     [index](const Element& element) { return element.key == index; });
    return found == m_elements.end() ? QDomElement() : found->element;
}

std::optional<QString> Level::text(int index) const
{
    const QDomElement element = firstElement(index);
    if (!element.isNull()) {
        return element.text();
    }
    const auto found =
        std::find_if(m_attributes.begin(), m_attributes.end(),
                     [index](const Attribute& attribute) { return attribute.key == index; });
    return found == m_attributes.end() ? std::nullopt : std::make_optional(found->text);
}

QDomNode startSearchAt(const QDomNode& node)
{
    const QDomNode file = node.firstChildElement(QLatin1String(Vocabulary::file));
    return file.isNull() ? node : file;
}

QString findString(const QDomNode& node, const QString& key)
{
    QString result;
    visitLevels(node, {key}, [&result](const QDomNode& /*node*/, const Level& level) {
        const std::optional<QString> text = level.text(0);
        result = text.value_or(QString());
        return !text;
    });
    return result;
}

int findAllStrings(const QDomNode& node, const QString& key, QSet<QString>& words)
{
    int count = 0;
    visitLevels(node, {key}, [&](const QDomNode& /*node*/, const Level& level) {
        for (const Level::Element& value : level.elements()) {
            addWords(words, value.element.text());
        }
        for (const Level::Attribute& value : level.attributes()) {
            addWords(words, value.text);
        }
        count += level.elements().size() + level.attributes().size();
        return true;
    });
    return count;
}

int findAllTranslatedUrls(const QDomNode& node, const QString& key, QMap<QString, QUrl>& urls)
{
    int count = 0;
    visitLevels(node, {key}, [&](const QDomNode& at, const Level& level) {
        for (const Level::Element& link : level.elements()) {
            addLink(
                urls, languageAt(link.element),
                QUrl(findString(link.element, QLatin1String(Vocabulary::url)), QUrl::TolerantMode));
        }
        for (const Level::Attribute& link : level.attributes()) {
            addLink(urls, languageAt(at), QUrl(link.text, QUrl::TolerantMode));
        }
        count += level.elements().size() + level.attributes().size();
        return true;
    });
    return count;
}

void addWords(QSet<QString>& words, const QString& text)
{
    StringUtils::appendAll(words,
                           StringUtils::splitStringSet(text, StringUtils::splitWords,
                                                       QString::SplitBehavior(Qt::SkipEmptyParts)),
                           QString());
}

void addLink(QMap<QString, QUrl>& urls, const QString& language, const QUrl& url)
{
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    // A QMap with several entries per key is the record's published form.
    urls.insertMulti(language, url);
    QT_WARNING_POP
}

} // namespace zk::UpdateDocument
