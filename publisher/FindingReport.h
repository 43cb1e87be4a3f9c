#pragma once

#include "publisher/Finding.h"

#include <QByteArray>

namespace publisher {

class Console;

/** "error", "warning" or "note". */
QString levelName(Finding::Level level);

/** One line per finding, "file:line:column: level: text", and one that sums them up. */
void printFindings(const Findings& findings, const QString& place, Console& console);

/** An array of objects with file, line, column, level, rule and text. */
QByteArray toJson(const Findings& findings, const QString& place);

/** By the worst of them. */
int exitCode(const Findings& findings);

} // namespace publisher
