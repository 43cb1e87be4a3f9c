#pragma once

#include "catalogue/PackageInfo.h"
#include "install/DownloadManager.h"

#include <QByteArray>
#include <QPointer>
#include <QProgressDialog>
#include <QString>

namespace zk {

/** What a DownloadManager keeps for its host, and what it unpacks. */
struct DownloadManagerPrivate
{
    explicit DownloadManagerPrivate(DownloadManager* manager)
        : q(manager)
    {
    }

    DownloadManager* const q;
    QByteArray documentData;
    PackageInfo installPackage;
    QString laterPaths[3];
    Unzipper* unzipper = nullptr;
    QString unzipDir;
    QPointer<QProgressDialog> progressDialog;
    qint64 progressScale = 1;
    /** Bytes that are not yet worth one step of the progress dialog. */
    qint64 progressRest = 0;

    void startProgress(qint64 total);
    bool unpackWithProgress(const QString& zipFile, const QString& unpackDir);
};

} // namespace zk
