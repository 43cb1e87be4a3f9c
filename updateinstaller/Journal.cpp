#include "updateinstaller/Journal.h"

#include <cstdlib>
#include <map>
#include <sstream>
#include <type_traits>

namespace updateinstaller {

namespace {

const char* const title = "UpdateInstaller journal 1";
const char* const phases[] = {"staging", "swapping", "swapped"};

// Encodes any path without loss: line breaks, invalid encodings and unpaired surrogates included.
std::string encodePath(const Path& path)
{
    std::ostringstream text;
    for (const auto character : path.native()) {
        const auto code =
            static_cast<unsigned>(static_cast<std::make_unsigned_t<Path::value_type>>(character));
        if (code >= 0x20 && code < 0x7f && code != '%') {
            text << static_cast<char>(code);
        } else {
            text << '%' << std::hex << code << ';';
        }
    }
    return text.str();
}

Path decodePath(const std::string& text)
{
    NativeString path;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            path += static_cast<Path::value_type>(text[i]);
            continue;
        }
        char* end = nullptr;
        path += static_cast<Path::value_type>(std::strtoul(text.c_str() + i + 1, &end, 16));
        i = static_cast<std::size_t>(end - text.c_str());
    }
    return path;
}

std::string encodeIdentity(const Identity& identity)
{
    return std::to_string(identity.file) + ' ' + std::to_string(identity.birth);
}

Identity decodeIdentity(const std::string& text)
{
    Identity identity;
    std::istringstream(text) >> identity.file >> identity.birth;
    return identity;
}

} // namespace

std::string Journal::encode() const
{
    std::ostringstream text;
    text << title << "\nphase=" << phases[static_cast<int>(phase)]
         << "\nnewDir=" << encodePath(newDir) << "\nsource=" << encodePath(source)
         << "\nnewDirId=" << encodeIdentity(newDirId) << "\noldTreeId=" << encodeIdentity(oldTreeId)
         << "\nnewTreeId=" << encodeIdentity(newTreeId) << "\nend\n";
    return text.str();
}

std::optional<Journal> Journal::decode(const std::string& text)
{
    std::istringstream lines(text);
    std::string line;
    if (!std::getline(lines, line) || line != title) {
        return std::nullopt;
    }
    std::map<std::string, std::string> values;
    while (std::getline(lines, line) && line != "end") {
        const auto equals = line.find('=');
        if (equals == std::string::npos) {
            return std::nullopt;
        }
        values[line.substr(0, equals)] = line.substr(equals + 1);
    }
    Journal journal;
    int phase = 0;
    while (phase < 3 && values["phase"] != phases[phase]) {
        ++phase;
    }
    if (line != "end" || phase == 3) {
        return std::nullopt;
    }
    journal.phase = static_cast<Phase>(phase);
    journal.newDir = decodePath(values["newDir"]);
    journal.source = decodePath(values["source"]);
    journal.newDirId = decodeIdentity(values["newDirId"]);
    journal.oldTreeId = decodeIdentity(values["oldTreeId"]);
    journal.newTreeId = decodeIdentity(values["newTreeId"]);
    return journal;
}

} // namespace updateinstaller
