#pragma once

#include <QFile>

namespace zk {

/**
 * Makes @p file executable for those of the owner, the group and others whom @p unixMode names and
 * who may read it; true without a change for a mode without such bits, and where the system has
 * none. Otherwise @p file tells why not.
 */
[[nodiscard]] bool setExecutable(QFile& file, quint32 unixMode);

} // namespace zk
