#include "catalogue/DocumentLevel.h"

#include "catalogue/UpdateDocument.h"
#include "support/StringUtils.h"

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

std::optional<QString> LevelValue::text() const
{
    return elements.empty() ? attribute : std::make_optional(elements.front().text());
}

void LevelValue::addWords(QSet<QString>& words) const
{
    for (const QDomElement& element : elements) {
        UpdateDocument::addWords(words, element.text());
    }
    if (attribute) {
        UpdateDocument::addWords(words, *attribute);
    }
}

Level::Level(const QDomNode& node, const QStringList& keys)
    : m_values(size_t(keys.size()))
{
    for (QDomElement child = node.firstChildElement(); !child.isNull();
         child = child.nextSiblingElement()) {
        const int index = keys.indexOf(child.tagName());
        if (index >= 0) {
            m_values[size_t(index)].elements.push_back(child);
        }
    }
    QDomElement element = node.toElement();
    for (int i = 0; i < keys.size(); ++i) {
        const QDomAttr attribute = element.attributeNode(keys.at(i));
        if (!attribute.isNull()) {
            m_values[size_t(i)].attribute = attribute.value();
        }
    }
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
        const std::optional<QString> text = level[0].text();
        result = text.value_or(QString());
        return !text;
    });
    return result;
}

int findAllStrings(const QDomNode& node, const QString& key, QSet<QString>& words)
{
    int count = 0;
    visitLevels(node, {key}, [&](const QDomNode& /*node*/, const Level& level) {
        level[0].addWords(words);
        count += level[0].count();
        return true;
    });
    return count;
}

int findAllTranslatedUrls(const QDomNode& node, const QString& key, QMap<QString, QUrl>& urls)
{
    int count = 0;
    visitLevels(node, {key}, [&](const QDomNode& at, const Level& level) {
        for (const QDomElement& link : level[0].elements) {
            addLink(urls, languageAt(link),
                    QUrl(findString(link, QLatin1String(Vocabulary::url)), QUrl::TolerantMode));
        }
        if (level[0].attribute) {
            addLink(urls, languageAt(at), QUrl(*level[0].attribute, QUrl::TolerantMode));
        }
        count += level[0].count();
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
