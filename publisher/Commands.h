#pragma once

#include "publisher/Console.h"

#include <QStringList>

namespace publisher {

/** Exit codes; of several errors the largest counts. */
enum ExitCode {
    eFine = 0,
    eHasWarnings = 1,
    eHasErrors = 2,
    eUsage = 3,  //!< invalid command line
    eFailed = 4, //!< a file or server could not be read or written
};

// The commands. @p arguments begin with the name of the command; the result is the exit code.

int addCommand(const QStringList& arguments, Console& console);
int keysCommand(const QStringList& arguments, Console& console);
int lintCommand(const QStringList& arguments, Console& console);
int packCommand(const QStringList& arguments, Console& console);
int patchCommand(const QStringList& arguments, Console& console);
int previewCommand(const QStringList& arguments, Console& console);
int serveCommand(const QStringList& arguments, Console& console);
int signCommand(const QStringList& arguments, Console& console);
int verifyCommand(const QStringList& arguments, Console& console);

} // namespace publisher
