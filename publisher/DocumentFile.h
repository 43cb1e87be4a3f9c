#pragma once

#include <QByteArray>
#include <QString>

namespace publisher {

/** A document from a file or a server. */
struct DocumentFile
{
    QByteArray bytes;
    QString error;  //!< why there are none; else empty
    QString folder; //!< where the file lies; empty for one from a server
};

/** Reads @p place, a path or an http, https or file URL. Waits for a server up to 15 s. */
DocumentFile readDocument(const QString& place);

} // namespace publisher
