// The inputs of UpdateInstaller: its command line, one argument per line, and the journal of an
// earlier run.

#include "updateinstaller/CommandLine.h"
#include "updateinstaller/Journal.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace updateinstaller;
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::vector<NativeString> arguments;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        arguments.push_back(line);
    }
    const CommandLine commandLine = CommandLine::parse(arguments);
    if (commandLine.missingOption().empty() &&
        (commandLine.oldDir.empty() || commandLine.newDir.empty() || commandLine.exe.empty())) {
        std::abort();
    }
    if (const auto journal = Journal::decode(text)) {
        // What decodes must encode to the same text.
        const auto again = Journal::decode(journal->encode());
        if (!again || again->encode() != journal->encode()) {
            std::abort();
        }
    }
    return 0;
}
