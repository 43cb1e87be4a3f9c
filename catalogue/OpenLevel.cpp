#include "catalogue/OpenLevel.h"

#include <algorithm>
#include <iterator>

namespace zk::UpdateDocument {

std::optional<QString> firstText(const LevelRecord& level, Key key)
{
    const auto found = std::find_if(level.texts.begin(), level.texts.end(),
                                    [key](const TextRecord& text) { return text.key == key; });
    return found == level.texts.end() ? std::nullopt : std::make_optional(found->text);
}

std::optional<QString> firstText(const LevelRecord& nearest, const LevelRecord& next, Key key)
{
    std::optional<QString> text = firstText(nearest, key);
    return text ? text : firstText(next, key);
}

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

LevelRecord OpenLevel::take()
{
    LevelRecord result;
    result.links = std::move(links);
    for (const TextRecord& attribute : attributes) {
        if (Vocabulary::kindOf(attribute.key) == Kind::Links) {
            // The search for its language begins in the file element if there is one.
            result.links.push_back(
                {attribute.key, attribute.text, firstText(file, Vocabulary::languageKey)});
        } else if (wants(attribute.key)) {
            elements.append(attribute);
        }
    }
    result.texts.assign(std::make_move_iterator(elements.begin()),
                        std::make_move_iterator(elements.end()));
    return result;
}

} // namespace zk::UpdateDocument
