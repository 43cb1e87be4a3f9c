// A module that loads the library into a process, like a host's dependency.

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
