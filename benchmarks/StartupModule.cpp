// A module that brings the library into a process, as a host's dependency does.

#include "client/SoftwareUpdateClient.h"
#include "support/AppSettings.h"

#include <QTemporaryDir>

extern "C" Q_DECL_EXPORT void initClient()
{
    static const QTemporaryDir folder;
    static zk::AppSettings settings(folder.filePath(QStringLiteral("settings.ini")));
    zk::SoftwareUpdateClient::init(QStringLiteral("Camera Desk"), zk::VersionNumber(L"4.2.0"),
                                   QStringLiteral("http://127.0.0.1:1/"), &settings);
}
