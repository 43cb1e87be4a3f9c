#pragma once

#include <QString>

namespace demo {

/** One line on standard output, UTF-8 whatever the locale, at once. */
void print(const QString& line);
/** One line on the error output. */
void printError(const QString& line);

} // namespace demo
