#pragma once

#include <QString>
#include <QStringList>

namespace zk {

// Command lines for Windows, where a program gets one text and splits it itself. Plain text work,
// the same on every platform.

/**
 * @p argument so that a program which splits its command line as Microsoft's C runtime and
 * CommandLineToArgvW do gets it unharmed: blanks, quotes, backslashes at the end and empty ones.
 */
QString quoteForProgram(const QString& argument);

/**
 * @p argument so that cmd.exe takes it as one word in which nothing has a meaning, and the program
 * that gets it as one argument: blanks, "&", "^", "(", ")", and "%" around a variable's name too.
 * Quotes and control characters, which no path has, are left out.
 */
QString quoteForCommandInterpreter(const QString& argument);

/** What is copied over what, and what is started then; native paths. */
struct CopyAndLaunch
{
    QString unpackDir;
    QString installDir;
    QString program;
};

/**
 * The arguments for cmd.exe that copy the unpacked tree over the installation, remove it, and start
 * the program, each step only when the one before has succeeded. @p quote is applied to everything
 * that comes from outside.
 */
QStringList copyAndLaunchArguments(const CopyAndLaunch& job, QString (*quote)(const QString&));

} // namespace zk
