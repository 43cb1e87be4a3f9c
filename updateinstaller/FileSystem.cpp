#include "updateinstaller/FileSystem.h"

namespace updateinstaller {

bool isSame(const Identity& one, const Identity& other)
{
    return one.isKnown() && one.file == other.file && one.birth == other.birth;
}

} // namespace updateinstaller
