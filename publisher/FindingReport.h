#pragma once

#include "publisher/Finding.h"

#include <QByteArray>

namespace publisher {

class Console;

/** "error", "warning" or "note". */
QString levelName(Finding::Level level);

/** One line per finding, "file:line:column: level: text", and a summary line. */
void printFindings(const Findings& findings, const QString& place, Console& console);

/** An array of objects with file, line, column, level, rule and text. */
QByteArray toJson(const Findings& findings, const QString& place);

/** The exit code for the worst finding. */
int exitCode(const Findings& findings);

} // namespace publisher
