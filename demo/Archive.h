#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace demo {

/** @p data as one gzip member. */
QByteArray gzip(const QByteArray& data);

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
