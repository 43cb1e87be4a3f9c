#pragma once

#include "publisher/Console.h"

#include <QStringList>

namespace publisher {

/** What the process answers; more than one is wrong: the largest. */
enum ExitCode {
    eFine = 0,
    eHasWarnings = 1,
    eHasErrors = 2,
    eUsage = 3,  //!< the command line makes no sense
    eFailed = 4, //!< something could not be read, written or reached
};

// The commands. @p arguments begin with the name of the command; the result is the exit code.

int addCommand(const QStringList& arguments, Console& console);
int keysCommand(const QStringList& arguments, Console& console);
int lintCommand(const QStringList& arguments, Console& console);
int previewCommand(const QStringList& arguments, Console& console);
int serveCommand(const QStringList& arguments, Console& console);
int signCommand(const QStringList& arguments, Console& console);

} // namespace publisher
