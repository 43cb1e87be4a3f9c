#include "demo/Options.h"

#include "demo/Console.h"

#include <QCommandLineParser>
#include <QDir>
#include <QStandardPaths>

#include <cstdlib>

namespace demo {

namespace {

[[noreturn]] void refuse(const QString& option, const QString& value)
{
    printError(QStringLiteral("--%1: '%2' is not one of the possible values").arg(option, value));
    std::exit(2);
}

int choice(const QCommandLineParser& parser, const QString& option, const QStringList& values)
{
    const int index = values.indexOf(parser.value(option));
    if (index < 0) {
        refuse(option, parser.value(option));
    }
    return index;
}

QString defaultSettingsFile()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    QDir().mkpath(folder);
    return QDir(folder).filePath(QStringLiteral("camera-desk.ini"));
}

} // namespace

Options parseOptions(const QStringList& arguments)
{
    const QString server = QStringLiteral("server");
    const QString language = QStringLiteral("language");
    const QString version = QStringLiteral("host-version");
    const QString settings = QStringLiteral("settings");
    const QString pictures = QStringLiteral("pictures");
    const QString check = QStringLiteral("check");
    const QString tour = QStringLiteral("tour");
    const QString selfUpdate = QStringLiteral("self-update");
    const QString serverUrl = QStringLiteral("server-url");
    const QString report = QStringLiteral("report");
    const QString publicKey = QStringLiteral("public-key");
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Camera Desk: administers cameras, and shows how a host uses the software-update "
        "client.\nIt brings its own update server on 127.0.0.1."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({
        {check, QStringLiteral("Check once without asking anything, print what happens, and end.")},
        {tour, QStringLiteral("Play through all windows without a user, and end.")},
        {selfUpdate, QStringLiteral("Install the update without a user; needs --server-url.")},
        {report, QStringLiteral("Append the steps of the self-update to <file>."),
         QStringLiteral("file")},
        {serverUrl, QStringLiteral("Use the update document at <url>, not the own server's."),
         QStringLiteral("url")},
        {publicKey, QStringLiteral("Install only packages that are signed with <key>."),
         QStringLiteral("key")},
        {pictures, QStringLiteral("Save pictures of the windows in <folder>."),
         QStringLiteral("folder")},
        {version, QStringLiteral("Pretend to be <version>, with cameras that are up to date."),
         QStringLiteral("version"), hostVersion()},
        {server, QStringLiteral("The update server is normal, stopped, hanging, empty or failing."),
         QStringLiteral("kind"), QStringLiteral("normal")},
        {language,
         QStringLiteral("Show texts in <language>: en, de or fr (default: the system's)."),
         QStringLiteral("language")},
        {settings, QStringLiteral("Keep the settings in the INI file <file>."),
         QStringLiteral("file")},
    });
    const QString more = qEnvironmentVariable("CAMERA_DESK_ARGUMENTS");
    parser.process(arguments + more.split(QLatin1Char('\n'), Qt::SkipEmptyParts));

    Options options;
    options.server = Options::Server(
        choice(parser, server,
               {QStringLiteral("normal"), QStringLiteral("stopped"), QStringLiteral("hanging"),
                QStringLiteral("empty"), QStringLiteral("failing")}));
    if (parser.isSet(language)) {
        choice(parser, language,
               {QStringLiteral("en"), QStringLiteral("de"), QStringLiteral("fr")});
        options.language = parser.value(language);
    }
    options.hostVersion = parser.value(version);
    options.isCurrent = parser.isSet(version);
    options.pictures = parser.value(pictures);
    options.settingsFile = parser.isSet(settings) ? parser.value(settings) : defaultSettingsFile();
    options.serverUrl = parser.value(serverUrl);
    options.report = parser.value(report);
    options.publicKeys = parser.values(publicKey);
    options.mode = parser.isSet(tour)         ? Options::eTour
                   : parser.isSet(check)      ? Options::eCheck
                   : parser.isSet(selfUpdate) ? Options::eSelfUpdate
                                              : Options::eInteractive;
    if (options.mode == Options::eSelfUpdate && options.serverUrl.isEmpty()) {
        // The packages of the demo's own server would replace the build folder.
        printError(QStringLiteral("--self-update needs --server-url"));
        std::exit(2);
    }
    return options;
}

} // namespace demo
