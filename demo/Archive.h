#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace demo {

/** A file in an archive. */
struct ArchiveFile
{
    QString name;
    QByteArray contents;
    /** Whether its owner may execute it, where files need that. */
    bool isProgram = false;
};

/** A zip archive of @p files, stored without compression. */
QByteArray storedZip(const QList<ArchiveFile>& files);

} // namespace demo
