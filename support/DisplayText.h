#pragma once

#include <QString>

namespace zk {

/**
 * @p text, which a server wrote, for showing: without the bidirectional controls (U+202A to U+202E,
 * U+2066 to U+2069) that make "exe.gpj" read as "jpg.exe".
 */
QString displayText(const QString& text);

/** The first @p maximum characters of displayText(), with an ellipsis if some are missing. */
QString displayText(const QString& text, int maximum);

/**
 * @p text as the HTML of a tool tip: escaped, at most 2,000 characters, and breakable everywhere,
 * so that the tip stays on the screen.
 */
QString displayToolTip(const QString& text);

} // namespace zk
