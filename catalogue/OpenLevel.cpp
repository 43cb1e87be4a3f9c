#include "catalogue/OpenLevel.h"

#include <algorithm>
#include <iterator>

namespace zk::UpdateDocument {

namespace {

// Not null: that is a part that is missing.
QString present(const QString& text)
{
    return text.isNull() ? QString(QLatin1String("")) : text;
}

// The first text of key, null without one.
template <typename Texts>
QString firstText(const Texts& texts, Key key)
{
    const auto found = std::find_if(texts.begin(), texts.end(),
                                    [key](const TextRecord& text) { return text.key == key; });
    return found == texts.end() ? QString() : present(found->text);
}

// All of first and then all of second, in as much memory as they need.
template <typename Record, typename Second>
std::vector<Record> joined(std::vector<Record>& first, Second& second)
{
    std::vector<Record> all;
    all.reserve(first.size() + std::size_t(second.size()));
    std::move(first.begin(), first.end(), std::back_inserter(all));
    std::move(second.begin(), second.end(), std::back_inserter(all));
    return all;
}

} // namespace

bool OpenLevel::wants(Key value)
{
    const bool isOfLink = value == Vocabulary::urlKey || value == Vocabulary::languageKey ||
                          value == Vocabulary::fileKey;
    if (value == Vocabulary::KeyCount || (Vocabulary::isKindOf(key, Kind::Links) && !isOfLink)) {
        return false;
    }
    const quint32 bit = 1U << quint32(value);
    const bool isFirst = (taken & bit) == 0;
    taken |= bit;
    return isFirst || (Vocabulary::kindOf(value) != Kind::Text && value != Vocabulary::fileKey);
}

LinkRecord OpenLevel::link(Key linkKey) const
{
    LinkRecord result{linkKey, true, nearestText(Vocabulary::urlKey),
                      nearestText(Vocabulary::languageKey)};
    result.hasOwnAddress = !result.address.isNull();
    return result;
}

// The search for the parts of a link begins in its file element if there is one.
QString OpenLevel::nearestText(Key textKey) const
{
    QString text = firstText(file.texts, textKey);
    if (text.isNull()) {
        text = firstText(elements, textKey);
    }
    return text.isNull() ? firstText(attributes, textKey) : text;
}

LevelRecord OpenLevel::take()
{
    takeAttributes();
    for (LinkRecord& link : links) {
        complete(link);
    }
    if (key != Vocabulary::packageKey) {
        file = LevelRecord();
    }
    for (LinkRecord& link : file.links) {
        complete(link);
    }
    return {joined(file.texts, elements), joined(file.links, links)};
}

void OpenLevel::takeAttributes()
{
    for (const TextRecord& attribute : attributes) {
        if (Vocabulary::kindOf(attribute.key) == Kind::Links) {
            links.append({attribute.key, true, present(attribute.text),
                          firstText(file.texts, Vocabulary::languageKey)});
        } else if (wants(attribute.key)) {
            elements.append(attribute);
        }
    }
}

// What the link does not say is what its level says, but for the level's file.
void OpenLevel::complete(LinkRecord& link) const
{
    if (link.address.isNull()) {
        link.address = firstText(elements, Vocabulary::urlKey);
    }
    if (link.language.isNull()) {
        link.language = firstText(elements, Vocabulary::languageKey);
    }
}

} // namespace zk::UpdateDocument
