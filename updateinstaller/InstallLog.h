#pragma once

#include "updateinstaller/FileSystem.h"

namespace updateinstaller {

/**
 * The log "UpdateInstaller.log", one line per step. Never fails: the update is more important than
 * its log. Until a folder is set, and if the file cannot be written, lines go to standard error.
 */
class InstallLog
{
public:
    void setFolder(const Path& folder);
    /** Rotates a file that has reached 1 MiB; only for the process that holds the lock. */
    void setRotating(bool isRotating) { m_isRotating = isRotating; }

    void write(const std::string& text);
    /** Writes @p text, followed by the reason. */
    void write(const std::string& text, std::error_code error);

private:
    Path m_file;
    bool m_isRotating = false;
};

} // namespace updateinstaller
