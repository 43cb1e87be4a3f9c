// The time of a check from the call to the painted dialog, compared with the server's own time: a
// plain socket sends the same request, measured alternately.

#include "Figures.h"

#include "client/SoftwareUpdateClient.h"
#include "demo/DemoContent.h"
#include "demo/UpdateServer.h"
#include "support/AppSettings.h"
#include "ui/SoftwareUpdateAvailableDialog.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QNetworkProxy>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <algorithm>
#include <vector>

namespace {

constexpr int rounds = 50;

double elapsed(const QElapsedTimer& clock)
{
    return double(clock.nsecsElapsed()) / 1e6;
}

/** The server's own time, until a socket has received the whole answer. */
double askBySocket(const QUrl& url)
{
    QElapsedTimer clock;
    clock.start();
    QTcpSocket socket;
    socket.setProxy(QNetworkProxy::NoProxy);
    socket.connectToHost(url.host(), quint16(url.port()));
    socket.waitForConnected();
    socket.write("GET " + url.path().toUtf8() +
                 " HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    while (socket.waitForReadyRead()) {
    }
    return elapsed(clock);
}

/** Notices when a dialog is painted. */
class PaintWatcher : public QObject
{
public:
    bool isPainted = false;

    bool eventFilter(QObject* object, QEvent* event) override
    {
        if (event->type() == QEvent::Paint &&
            qobject_cast<zk::SoftwareUpdateAvailableDialog*>(object)) {
            isPainted = true;
        }
        return false;
    }
};

double checkAndShow(zk::SoftwareUpdateClient& client, const QUrl& url)
{
    PaintWatcher watcher;
    qApp->installEventFilter(&watcher);
    QElapsedTimer clock;
    clock.start();
    client.performUpdateCheck(url);
    while (!watcher.isPainted) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    const double result = elapsed(clock);
    client.abortUpdate();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return result;
}

} // namespace

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    demo::UpdateServer server;
    demo::publishUpdates(server);
    const QTemporaryDir folder;
    zk::AppSettings settings(folder.filePath(QStringLiteral("settings.ini")));
    zk::SoftwareUpdateClient::init(QStringLiteral("Camera Desk"), zk::VersionNumber(L"4.2.0"),
                                   server.url().toString(), &settings);
    QWidget window;
    window.show();
    auto* const client = zk::SoftwareUpdateClient::instance();
    client->setParent(&window);
    client->setNetworkProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    std::vector<double> checks;
    std::vector<double> answers;
    std::vector<double> beyond;
    for (int round = 0; round < rounds; ++round) {
        answers.push_back(askBySocket(server.url()));
        checks.push_back(checkAndShow(*client, server.url()));
        beyond.push_back(checks.back() - answers.back());
    }
    printFigure(QStringLiteral("check, from the call to the dialog painted"),
                milliseconds(median(checks)),
                QStringLiteral("server ") + milliseconds(median(answers)),
                milliseconds(median(beyond)) + QStringLiteral(" above the server's own"));
    zk::SoftwareUpdateClient::deleteInstance();
    return 0;
}
