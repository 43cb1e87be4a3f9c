#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace publisher {

/** Asks for a line that is not shown while it is typed; nothing when there is no terminal. */
std::optional<QByteArray> askPassword(const QString& question);

} // namespace publisher
