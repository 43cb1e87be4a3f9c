#include "publisher/PackageSource.h"

#include "catalogue/DocumentParser.h"
#include "catalogue/Vocabulary.h"

#include <QBuffer>

namespace publisher {

std::optional<SourceValue> valueAt(const SourceElement& level, const char* key)
{
    const QString name = QString::fromLatin1(key);
    if (const SourceElement* const child = level.child(name)) {
        return SourceValue{child->text, child->offset};
    }
    if (const SourceAttribute* const attribute = level.attribute(name)) {
        return SourceValue{attribute->value, attribute->offset};
    }
    return std::nullopt;
}

std::optional<SourceValue> PackageSource::value(const char* key) const
{
    const SourceElement* const file = element->child(QLatin1String(zk::Vocabulary::file));
    for (const SourceElement* level = file ? file : element; level; level = level->parent) {
        if (auto found = valueAt(*level, key)) {
            return found;
        }
    }
    return std::nullopt;
}

int PackageSource::offset(const char* key) const
{
    const auto found = value(key);
    return found ? found->offset : element->offset;
}

zk::PackageInfoList parsePackages(const QByteArray& bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    return zk::UpdateDocument::parse(&buffer);
}

std::vector<PackageSource> readPackages(const QByteArray& bytes, const SourceDocument& document)
{
    const zk::PackageInfoList infos = parsePackages(bytes);
    const auto elements = document.packages();
    std::vector<PackageSource> packages;
    // One list is empty if only one of the two parsers could read the document.
    for (std::size_t i = 0; i < elements.size() && int(i) < infos.size(); ++i) {
        packages.push_back({elements[i], infos.at(int(i))});
    }
    return packages;
}

} // namespace publisher
