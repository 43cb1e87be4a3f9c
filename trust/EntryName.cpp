#include "trust/EntryName.h"

#include "trust/Text.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string>

namespace trust {

namespace {

/** In UTF-16 units, as Windows counts. */
constexpr std::size_t maxLength = 1024;
constexpr std::size_t maxDepth = 100;

unsigned byteAt(std::string_view text, std::size_t index)
{
    return index < text.size() ? static_cast<unsigned char>(text[index]) : 0;
}

bool isContinuation(unsigned byte)
{
    return (byte & 0xC0U) == 0x80U;
}

std::size_t utf16Length(std::string_view name)
{
    constexpr unsigned fourByteLead = 0xF0;
    std::size_t length = 0;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const unsigned byte = byteAt(name, i);
        length += (isContinuation(byte) ? 0U : 1U) + (byte >= fourByteLead ? 1U : 0U);
    }
    return length;
}

bool isControl(std::string_view name, std::size_t index)
{
    const unsigned byte = byteAt(name, index);
    const unsigned next = byteAt(name, index + 1);
    return byte < 0x20U || byte == 0x7FU || (byte == 0xC2U && next >= 0x80U && next < 0xA0U);
}

std::string_view characterComplaint(std::string_view name)
{
    constexpr std::string_view forbidden = "<>\"|?*";
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (isControl(name, i)) {
            return "has a control character in its name";
        }
        if (name[i] == '\\') {
            return "has a backslash in its name";
        }
        if (name[i] == ':') {
            return "names a drive or a stream";
        }
        if (forbidden.find(name[i]) != std::string_view::npos) {
            return "has a character in its name that is not allowed in file names";
        }
    }
    return {};
}

std::string_view componentComplaint(std::string_view component)
{
    if (component.empty()) {
        return "has an empty folder name in its path";
    }
    if (component == "..") {
        return "leads out of the folder";
    }
    if (component.back() == '.' || component.back() == ' ') {
        return "has a name that ends with a dot or a blank";
    }
    if (isDeviceName(component)) {
        return "has the name of a device";
    }
    return {};
}

/** The length of the sequence at @p index, 0 if it is not a valid one. */
std::size_t sequenceLength(std::string_view text, std::size_t index)
{
    const unsigned lead = byteAt(text, index);
    const unsigned next = byteAt(text, index + 1);
    // The second byte excludes longer forms than needed, surrogates, and more than U+10FFFF.
    const auto nextIn = [next](unsigned low, unsigned high) { return next >= low && next <= high; };
    std::size_t length = 0;
    if (lead < 0x80U) {
        return 1;
    }
    if (lead >= 0xC2U && lead <= 0xDFU) {
        length = 2;
    } else if ((lead == 0xE0U && nextIn(0xA0U, 0xBFU)) || (lead == 0xEDU && nextIn(0x80U, 0x9FU)) ||
               (lead > 0xE0U && lead <= 0xEFU && lead != 0xEDU)) {
        length = 3;
    } else if ((lead == 0xF0U && nextIn(0x90U, 0xBFU)) || (lead == 0xF4U && nextIn(0x80U, 0x8FU)) ||
               (lead > 0xF0U && lead < 0xF4U)) {
        length = 4;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(byteAt(text, index + i))) {
            return 0;
        }
    }
    return length;
}

} // namespace

bool isDeviceName(std::string_view name)
{
    const std::string stem = lowerCase(trimmed(name.substr(0, name.find('.'))));
    const auto isOneOf = [](const std::string& text, std::initializer_list<const char*> all) {
        return std::find(all.begin(), all.end(), text) != all.end();
    };
    if (isOneOf(stem, {"con", "prn", "aux", "nul", "clock$", "conin$", "conout$"})) {
        return true;
    }
    // Superscript digits number a port as well.
    return isOneOf(stem.substr(0, 3), {"com", "lpt"}) &&
           isOneOf(
               stem.substr(std::min<std::size_t>(3, stem.size())),
               {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "\u00B9", "\u00B2", "\u00B3"});
}

std::string_view entryNameComplaint(std::string_view name)
{
    if (name.empty()) {
        return "has no name";
    }
    if (utf16Length(name) > maxLength) {
        return "has a name that is too long";
    }
    if (name.front() == '/') {
        return "has an absolute path";
    }
    const std::string_view complaint = characterComplaint(name);
    if (!complaint.empty()) {
        return complaint;
    }
    name.remove_suffix(name.back() == '/' ? 1 : 0);
    const auto components = split(name, '/');
    if (components.size() > maxDepth) {
        return "is nested too deeply";
    }
    for (const std::string_view component : components) {
        const std::string_view componentError = componentComplaint(component);
        if (!componentError.empty()) {
            return componentError;
        }
    }
    return {};
}

bool isUtf8(std::string_view text)
{
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = sequenceLength(text, i);
        if (length == 0) {
            return false;
        }
        i += length;
    }
    return true;
}

} // namespace trust
