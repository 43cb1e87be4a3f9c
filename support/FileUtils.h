#pragma once

#include "support/Export.h"

#include <QString>

class QWidget;

// A macro of <windows.h>, which would rename our type in some source files and not in others.
#undef SearchPath

namespace zk {

/** Where programs are searched: folders in the format of the PATH variable. */
struct SearchPath
{
    QString folders; //!< separated by QDir::listSeparator()
};

/** Operations on files and paths. Paths use "/" unless a function says otherwise. */
class SOFTWAREUPDATE_EXPORT FileUtils
{
public:
    /** @p path with the platform's separators, for command lines and messages. */
    static QString nativePath(const QString& path);

    /** @p dir and @p name joined with exactly one separator, in native form. */
    static QString nativePath(const QString& dir, const QString& name);

    /**
     * The native path of the first program named @p program in the folders of @p path, otherwise @p
     * program unchanged. Relative folders are skipped: nobody chose what is in the working folder.
     */
    static QString nativePath(const QString& program, const SearchPath& path);

    /**
     * Removes a file, a link, or a folder with its contents. A link is removed, never its target.
     * Returns false if something could not be removed, if nothing exists at @p path, and for an
     * empty, relative or root path, which is never touched.
     */
    [[nodiscard]] static bool erase(const QString& path);

    /**
     * Creates a new, empty folder below the system's temporary folder, private to this user.
     * Returns its absolute path, or an empty text on failure.
     */
    [[nodiscard]] static QString createTempDir();

    /**
     * Asks the user for a folder, starting in @p startDir. Returns false if the user cancels; @p
     * chosen is then unchanged. Runs a nested event loop: @p parent and other objects may have been
     * destroyed afterwards.
     */
    static bool openDirectoryDialog(QString& chosen, const QString& caption,
                                    const QString& startDir, QWidget* parent);
};

} // namespace zk
