#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

namespace demo {

/** @p data as one gzip member. */
QByteArray gzip(const QByteArray& data);

/** A zip archive of @p files (name and contents), stored without compression. */
QByteArray storedZip(const QList<QPair<QString, QByteArray>>& files);

} // namespace demo
