#include "publisher/CommandLine.h"
#include "publisher/Commands.h"
#include "publisher/FolderServer.h"

#include <httplib.h>

#include <QDir>
#include <QUrl>

namespace publisher {

namespace {

/** Prints the address of each document in the folder. */
void announce(const QDir& folder, int port, const Console& console)
{
    const QString address = QStringLiteral("http://127.0.0.1:%1/").arg(port);
    console.print(QStringLiteral("serving %1 at %2; Ctrl+C ends it")
                      .arg(QDir::toNativeSeparators(folder.absolutePath()), address));
    const QStringList documents = folder.entryList({QStringLiteral("*.xml")}, QDir::Files);
    for (const QString& document : documents) {
        console.print(QStringLiteral("update document: ") + address +
                      QString::fromLatin1(QUrl::toPercentEncoding(document)));
    }
}

} // namespace

int serveCommand(const QStringList& arguments, Console& console)
{
    CommandLine line(
        QStringLiteral("Serves a folder on this machine alone, for trying out what "
                       "will be published."),
        {QStringLiteral("serve release"), QStringLiteral("serve --port 9000 release")});
    line.addPositionalArgument(QStringLiteral("folder"),
                               QStringLiteral("The folder with the document and its packages."));
    const QCommandLineOption portOption(QStringLiteral("port"),
                                        QStringLiteral("The port; 0 takes any that is free."),
                                        QStringLiteral("number"), QStringLiteral("8080"));
    line.addOption(portOption);
    if (const auto code = line.read(arguments, 1, 1, console)) {
        return *code;
    }
    bool isNumber = false;
    const int wanted = line.value(portOption).toInt(&isNumber);
    if (!isNumber || wanted < 0 || wanted > 65535) {
        console.complain(QStringLiteral("softwareupdate-publish serve: a port is a number up to "
                                        "65535"));
        return eUsage;
    }
    const QDir folder(line.positionalArguments().constFirst());
    httplib::Server server;
    // No socket options: the default ones would let another process listen on the same port.
    server.set_socket_options([](socket_t) {});
    server.set_logger(
        [&console](const httplib::Request& request, const httplib::Response& response) {
            console.print(QStringLiteral("%1 %2 -> %3")
                              .arg(QString::fromStdString(request.method),
                                   QString::fromStdString(request.path))
                              .arg(response.status));
        });
    if (!folder.exists()) {
        console.complain(QStringLiteral("no such folder: ") + folder.path());
        return eFailed;
    }
    serveFolder(server, folder.absolutePath());
    const bool isBound = wanted == 0 || server.bind_to_port("127.0.0.1", wanted);
    const int port = wanted == 0 ? server.bind_to_any_port("127.0.0.1") : wanted;
    if (!isBound || port <= 0) {
        console.complain(QStringLiteral("port %1 is taken").arg(wanted));
        return eFailed;
    }
    announce(folder, port, console);
    return server.listen_after_bind() ? eFine : eFailed;
}

} // namespace publisher
