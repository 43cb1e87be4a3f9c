// Package manifests: one that is accepted can be written again, and reads the same.

#include "trust/PackageManifest.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto parsed = trust::parseManifest({reinterpret_cast<const char*>(data), size});
    if (const auto* const manifest = std::get_if<trust::PackageManifest>(&parsed)) {
        const std::string text = trust::manifestText(*manifest);
        const auto again = trust::parseManifest(text);
        const auto* const same = std::get_if<trust::PackageManifest>(&again);
        if (!same || trust::manifestText(*same) != text) {
            std::abort();
        }
    }
    return 0;
}
