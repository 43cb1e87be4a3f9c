#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace publisher {

/** Asks for a line that is not shown while it is typed; nothing if there is no terminal. The caller
 * wipes it. */
std::optional<QByteArray> askPassword(const QString& question);

} // namespace publisher
