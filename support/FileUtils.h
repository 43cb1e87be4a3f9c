#pragma once

#include "support/Export.h"

#include <QString>

class QWidget;

// A macro of <windows.h>, which would rename our type in some source files and not in others.
#undef SearchPath

namespace zk {

/** Where programs are searched: folders as the PATH variable lists them. */
struct SearchPath
{
    QString folders; //!< separated by QDir::listSeparator()
};

/** Operations on files and paths. Paths use "/" unless a function says otherwise. */
class SOFTWAREUPDATE_EXPORT FileUtils
{
public:
    /** @p path with the platform's separators, fit for a command line or a person's eyes. */
    static QString nativePath(const QString& path);

    /** @p dir and @p name joined with exactly one separator, in native form. */
    static QString nativePath(const QString& dir, const QString& name);

    /**
     * The native path of the first program called @p program in the folders of @p path, else
     * @p program as it is. Folders that are not absolute are passed over: what lies in the working
     * folder is nobody's choice.
     */
    static QString nativePath(const QString& program, const SearchPath& path);

    /**
     * Removes a file, a link, or a folder with all it contains. A link is removed, never what it
     * points to. False when something could not be removed, when nothing is there, and for an
     * empty, relative or root path, which is never touched.
     */
    [[nodiscard]] static bool erase(const QString& path);

    /**
     * Makes a new, empty folder of its own below the system's temporary folder, private to this
     * user. Returns its absolute path, or an empty text when it could not be made.
     */
    [[nodiscard]] static QString createTempDir();

    /**
     * Asks the user for a folder, starting in @p startDir. False when the user cancels; @p chosen
     * is then left as it was. Runs a nested event loop: @p parent and others may be gone
     * afterwards.
     */
    static bool openDirectoryDialog(QString& chosen, const QString& caption,
                                    const QString& startDir, QWidget* parent);
};

} // namespace zk
