// The smallest host: a window, a Help menu, and updates. An argument names another update server.

#include "client/SoftwareUpdateClient.h"
#include "support/AppSettings.h"
#include "ui/SoftwareUpdateTranslator.h"

#include <QApplication>
#include <QLocale>
#include <QMainWindow>
#include <QMenuBar>
#include <QStatusBar>
#include <QUrl>

using zk::SoftwareUpdateClient;

int main(int argc, char* argv[])
{
    const QApplication app(argc, argv);
    zk::SoftwareUpdateTranslator translator;
    if (translator.load(QLocale())) {
        QCoreApplication::installTranslator(&translator);
    }

    const QString product = QStringLiteral("Minimal Host");
    const QString server = QCoreApplication::arguments().value(
        1, QStringLiteral("https://updates.example.com/updates.xml"));
    zk::AppSettings settings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Example"),
                             product);
    SoftwareUpdateClient::init(product, zk::VersionNumber(L"1.0.0"), server, &settings);
    SoftwareUpdateClient& client = *SoftwareUpdateClient::instance();
    client.setOptions(zk::UpdateOptions::recommended());

    QMainWindow window;
    window.setWindowTitle(product);
    client.setParent(&window);
    QMenu* const help = window.menuBar()->addMenu(QStringLiteral("&Help"));
    help->addAction(QStringLiteral("&Check for Updates"), &client,
                    [&client, server] { client.performUpdateCheck(QUrl(server)); });
    help->addAction(QStringLiteral("&Update Settings..."), &client,
                    [&client] { client.queryForUpdate(); });
    QObject::connect(&client, &SoftwareUpdateClient::messageChanged, window.statusBar(),
                     [&window](const QString& text) { window.statusBar()->showMessage(text); });
    window.show();

    client.doInitialCheck();
    const int result = QApplication::exec();
    SoftwareUpdateClient::deleteInstance();
    return result;
}
