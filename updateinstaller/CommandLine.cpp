#include "updateinstaller/CommandLine.h"

namespace updateinstaller {

CommandLine CommandLine::parse(const std::vector<NativeString>& arguments)
{
    const NativeString oldDirOption = Path("-oldDir").native();
    const NativeString newDirOption = Path("-newDir").native();
    const NativeString exeOption = Path("-exe").native();

    CommandLine result;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const NativeString& name = arguments[i];
        Path* const value = name == oldDirOption   ? &result.oldDir
                            : name == newDirOption ? &result.newDir
                            : name == exeOption    ? &result.exe
                                                   : nullptr;
        if (value && i + 1 < arguments.size()) {
            *value = arguments[++i];
        } else {
            result.ignored.push_back(name);
        }
    }
    return result;
}

std::string CommandLine::missingOption() const
{
    if (oldDir.empty()) {
        return "-oldDir";
    }
    if (newDir.empty()) {
        return "-newDir";
    }
    return exe.empty() ? "-exe" : std::string();
}

} // namespace updateinstaller
