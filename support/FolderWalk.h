#pragma once

#include <QFileInfo>

#include <functional>

namespace zk {

/** Whether @p info is a symbolic link or a junction, which may lead elsewhere at another time. */
[[nodiscard]] bool isLink(const QFileInfo& info);

/** Whether @p info is a file itself, not a link to one. */
[[nodiscard]] bool isPlainFile(const QFileInfo& info);

/**
 * Calls @p visit with everything below @p folder, folders before their contents, until it returns
 * false. Links are visited, never followed. Callable from any thread.
 */
void walkFolder(const QString& folder, const std::function<bool(const QFileInfo&)>& visit);

} // namespace zk
