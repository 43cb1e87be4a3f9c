#pragma once

#include <QString>

namespace demo {

/** Prints one line on standard output, as UTF-8 whatever the locale, and flushes. */
void print(const QString& line);
/** Prints one line on standard error. */
void printError(const QString& line);

} // namespace demo
