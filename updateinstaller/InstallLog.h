#pragma once

#include "updateinstaller/FileSystem.h"

namespace updateinstaller {

/**
 * The file "UpdateInstaller.log", one line per step. Never fails: an update is worth more than its
 * log. Until a folder is set, and when the file cannot be written, lines go to the standard error
 * stream.
 */
class InstallLog
{
public:
    void setFolder(const Path& folder);
    /** Moves a file that has reached 1 MiB out of the way; only for the one process that holds the
     * lock. */
    void setRotating(bool isRotating) { m_isRotating = isRotating; }

    void write(const std::string& text);
    /** @p text, followed by the reason. */
    void write(const std::string& text, std::error_code error);

private:
    Path m_file;
    bool m_isRotating = false;
};

} // namespace updateinstaller
