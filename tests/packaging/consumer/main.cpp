// The smallest host: include lines, linking, resources and one call of every public folder.

#include "catalogue/PackageInfo.h"
#include "client/SoftwareUpdateClient.h"
#include "install/DownloadManager.h"
#include "install/FileDownloader.h"
#include "support/AppSettings.h"
#include "support/VersionNumber.h"
#include "support/ZipReader.h"
#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateDialog.h"
#include "ui/SoftwareUpdateTranslator.h"
#include "ui/SoftwareUpdateWidget.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    const QTemporaryDir folder;
    zk::AppSettings settings(folder.filePath("consumer.ini"));
    zk::SoftwareUpdateClient::init("Consumer", zk::VersionNumber(L"1.2.3"),
                                   "http://127.0.0.1:9/update.xml", &settings);
    auto* const client = zk::SoftwareUpdateClient::instance();
    int states = 0;
    QObject::connect(client, &zk::SoftwareUpdateClient::stateChanged, client,
                     [&states] { ++states; });
    zk::SoftwareUpdateWidget widget(nullptr);
    client->checkForUpdate();
    const bool isFine = client->state() == zk::SoftwareUpdate::eChecking && states == 1 &&
                        client->getSettings().productName == "Consumer" &&
                        zk::DownloadManager::parseFileSize("1.5MB") == 1572864 &&
                        QFile::exists(":/Translations/SoftwareUpdateClient_de.qm");
    zk::SoftwareUpdateClient::deleteInstance();
    std::puts(isFine ? "consumer: fine" : "consumer: something is missing");
    return isFine ? 0 : 1;
}
