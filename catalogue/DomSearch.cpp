#include "catalogue/DomSearch.h"

#include "catalogue/DocumentValues.h"
#include "catalogue/Vocabulary.h"

namespace zk::UpdateDocument {

namespace {

// Calls take with each element of that name in node, then with the attribute; returns how many.
template <typename TakeElement, typename TakeAttribute>
int visitValues(const QDomNode& node, const QString& key, TakeElement takeElement,
                TakeAttribute takeAttribute)
{
    int count = 0;
    for (QDomElement child = node.firstChildElement(key); !child.isNull();
         child = child.nextSiblingElement(key)) {
        takeElement(child);
        ++count;
    }
    const QDomNode attribute = node.attributes().namedItem(key);
    if (!attribute.isNull()) {
        takeAttribute(attribute.nodeValue());
        ++count;
    }
    return count;
}

QString languageAt(const QDomNode& node)
{
    const QString language = findString(node, QLatin1String(Vocabulary::language));
    return language.isEmpty() ? QString(QLatin1String(Vocabulary::defaultLanguage)) : language;
}

} // namespace

QDomNode startSearchAt(const QDomNode& node)
{
    const QDomNode file = node.firstChildElement(QLatin1String(Vocabulary::file));
    return file.isNull() ? node : file;
}

QString findString(const QDomNode& node, const QString& key)
{
    for (QDomNode level = startSearchAt(node); !level.isNull(); level = level.parentNode()) {
        const QDomElement element = level.firstChildElement(key);
        if (!element.isNull()) {
            return element.text();
        }
        const QDomNode attribute = level.attributes().namedItem(key);
        if (!attribute.isNull()) {
            return attribute.nodeValue();
        }
    }
    return QString();
}

int findAllStrings(const QDomNode& node, const QString& key, QSet<QString>& words)
{
    int count = 0;
    for (QDomNode level = startSearchAt(node); !level.isNull(); level = level.parentNode()) {
        count += visitValues(
            level, key, [&words](const QDomElement& value) { addWords(words, value.text()); },
            [&words](const QString& value) { addWords(words, value); });
    }
    return count;
}

int findAllTranslatedUrls(const QDomNode& node, const QString& key, LinkMap& urls)
{
    QMultiMap<QString, QUrl> links(urls);
    int count = 0;
    for (QDomNode level = startSearchAt(node); !level.isNull(); level = level.parentNode()) {
        count += visitValues(
            level, key,
            [&links](const QDomElement& link) {
                const QString address = findString(link, QLatin1String(Vocabulary::url));
                links.insert(languageAt(link), QUrl(address, QUrl::TolerantMode));
            },
            [&links, &level](const QString& address) {
                links.insert(languageAt(level), QUrl(address, QUrl::TolerantMode));
            });
    }
    urls = links;
    return count;
}

void appendPackages(const QDomElement& set, PackageInfoList& packages)
{
    const QString package = QLatin1String(Vocabulary::package);
    for (QDomElement child = set.firstChildElement(package); !child.isNull();
         child = child.nextSiblingElement(package)) {
        packages.append(PackageInfo());
        readPackage(child, packages.last());
    }
    const QString nested = QLatin1String(Vocabulary::packageSet);
    for (QDomElement child = set.firstChildElement(nested); !child.isNull();
         child = child.nextSiblingElement(nested)) {
        appendPackages(child, packages);
    }
}

void readPackage(const QDomElement& package, PackageInfo& info)
{
    const auto text = [&package](const char* key) {
        return findString(package, QLatin1String(key));
    };
    info.type = text(Vocabulary::type);
    info.name = text(Vocabulary::name);
    info.publicName = text(Vocabulary::namePublic);
    findAllStrings(package, QLatin1String(Vocabulary::platform), info.platforms);
    info.release = text(Vocabulary::releaseVersion);
    info.publicRelease = text(Vocabulary::releaseVersionPublic);
    info.status = text(Vocabulary::releaseStatus);
    info.releaseDate = parseReleaseDate(text(Vocabulary::releaseDate));
    info.url = QUrl(text(Vocabulary::baseUrl) + text(Vocabulary::url), QUrl::TolerantMode);
    findAllStrings(package, QLatin1String(Vocabulary::language), info.languages);
    findAllTranslatedUrls(package, QLatin1String(Vocabulary::releaseNotes), info.releaseNotes);
    findAllTranslatedUrls(package, QLatin1String(Vocabulary::readme), info.readme);
    info.fileSize = parseFileSize(text(Vocabulary::fileSize));
    info.suffix = parsePackageSuffix(info.url.toString());
    info.comment = text(Vocabulary::comment);
}

} // namespace zk::UpdateDocument
