#include "demo/Cameras.h"
#include "demo/Console.h"
#include "demo/ConsoleCheck.h"
#include "demo/DemoContent.h"
#include "demo/HostTranslator.h"
#include "demo/LogReader.h"
#include "demo/MainWindow.h"
#include "demo/Options.h"
#include "demo/SelfUpdate.h"
#include "demo/Tour.h"
#include "demo/UpdateServer.h"

#include "client/SoftwareUpdateClient.h"
#include "support/AppSettings.h"
#include "ui/SoftwareUpdateTranslator.h"

#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTextCodec>
#include <QTranslator>

using demo::Options;
using zk::AppSettings;
using zk::SoftwareUpdateClient;

namespace {

#if QT_VERSION_MAJOR < 6
void scaleWithScreen()
{
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
}
QString folderOfQtTexts()
{
    return QLibraryInfo::location(QLibraryInfo::TranslationsPath);
}
#else
void scaleWithScreen() {} // Qt 6 always does
QString folderOfQtTexts()
{
    return QLibraryInfo::path(QLibraryInfo::TranslationsPath);
}
#endif

bool isExpected(const QString& message)
{
    // The offscreen platform prints this for every window. The library's settings dialog connects a
    // signal that its panel has only with an argument, which is harmless.
    return message.startsWith(QLatin1String("This plugin does not support ")) ||
           message.contains(QLatin1String("zk::SoftwareUpdateWidget::checkForUpdate()")) ||
           message.contains(QLatin1String("(sender name:   'SoftwareUpdateGui')"));
}

void reportMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& message)
{
    if (!isExpected(message)) {
        demo::printError((type == QtDebugMsg || type == QtInfoMsg
                              ? QStringLiteral("Qt: %1")
                              : QStringLiteral("Qt warning: %1"))
                             .arg(message));
    }
}

/** All translators of the process; they must outlive all windows. */
class Language
{
public:
    explicit Language(const QString& language)
        : m_hostTexts(language.isEmpty() ? QLocale().name().left(2) : language)
    {
        const QLocale locale = language.isEmpty() ? QLocale() : QLocale(language);
        // Shipped beside the program, otherwise installed in Qt's own folder.
        const QString shipped =
            QCoreApplication::applicationDirPath() + QLatin1String("/translations");
        const QString installed = folderOfQtTexts();
        for (const QString& folder : {shipped, installed}) {
            if (m_qtTexts.load(locale, QStringLiteral("qtbase"), QStringLiteral("_"), folder)) {
                QCoreApplication::installTranslator(&m_qtTexts);
                break;
            }
        }
        if (m_libraryTexts.load(locale)) {
            QCoreApplication::installTranslator(&m_libraryTexts);
        }
        QCoreApplication::installTranslator(&m_hostTexts);
    }

private:
    QTranslator m_qtTexts;
    zk::SoftwareUpdateTranslator m_libraryTexts;
    demo::HostTranslator m_hostTexts;
};

/** The server chosen on the command line: a running one, or one of our own. */
class Publication
{
public:
    explicit Publication(const Options& options)
        : m_url(options.serverUrl)
    {
        if (m_url.isEmpty()) {
            startServer(options.server);
        }
    }

    [[nodiscard]] bool isReachable() const { return !m_url.isEmpty(); }
    /** Null if the server is not our own, or is stopped. */
    [[nodiscard]] demo::UpdateServer* server() const { return m_server.get(); }
    [[nodiscard]] const QString& url() const { return m_url; }

private:
    std::unique_ptr<demo::UpdateServer> m_server;
    QString m_url;

    void startServer(Options::Server kind)
    {
        m_server = std::make_unique<demo::UpdateServer>();
        if (!m_server->isListening()) {
            return;
        }
        m_url = m_server->url().toString();
        demo::publishUpdates(*m_server);
        if (kind == Options::eEmpty) {
            m_server->setDocument(demo::emptyDocument());
        } else if (kind == Options::eHanging) {
            m_server->setAnswer(demo::UpdateServer::documentPath(), demo::UpdateServer::hanging());
        } else if (kind == Options::eFailing) {
            m_server->setAnswer(demo::UpdateServer::documentPath(),
                                demo::UpdateServer::failure(500));
        } else if (kind == Options::eStopped) {
            m_server.reset();
        }
    }
};

void startClient(const Options& options, const QString& url, AppSettings& settings)
{
    SoftwareUpdateClient::init(
        demo::productName(), zk::VersionNumber(options.hostVersion.toStdWString()), url, &settings);
    // The client initialises the list with exe only; it reads it again each time.
    settings.set(QStringLiteral("exe,zip"), AppSettings::SoftwareUpdateGroup,
                 AppSettings::UpdateInstallableSuffixes, false);
    zk::SoftwareUpdate::TCurrentCameraVersions versions;
    const QList<demo::CameraModel> models = demo::cameraModels();
    for (const demo::CameraModel& model : models) {
        const QString& version = options.isCurrent ? model.newestFirmware : model.installedFirmware;
        versions.append({model.name, zk::VersionNumber(version.toStdWString())});
    }
    SoftwareUpdateClient::instance()->setCurrentCameraVersions(versions);
    SoftwareUpdateClient::instance()->setPackagePublicKeys(options.publicKeys);
    SoftwareUpdateClient::instance()->setOptions(zk::UpdateOptions::recommended());
}

QString picturePrefix(const Options& options, const QWidget& window)
{
    const QString language =
        options.language.isEmpty() ? QLocale().name().left(2) : options.language;
    return QStringLiteral("%1-%2").arg(language).arg(qRound(window.devicePixelRatioF() * 100));
}

int run(const Options& options, const Publication& publication)
{
    constexpr int untilWindowStands = 1500;
    SoftwareUpdateClient& client = *SoftwareUpdateClient::instance();
    demo::MainWindow window(client, demo::siteCameras(options.isCurrent));
    demo::LogReader log;
    QObject::connect(&log, &demo::LogReader::lineWritten, &window, &demo::MainWindow::appendLogLine,
                     Qt::QueuedConnection);
    if (options.mode == Options::eCheck) {
        QObject::connect(&log, &demo::LogReader::lineWritten, &log,
                         [](const QString& line) { demo::print(QStringLiteral("log: ") + line); });
        demo::ConsoleCheck check(client);
        check.start();
        return QApplication::exec();
    }
    window.show();
    if (options.mode == Options::eSelfUpdate) {
        demo::SelfUpdate update(client, window, options.report, options.pictures);
        update.start();
        return QApplication::exec();
    }
    if (options.mode == Options::eTour && publication.server()) {
        demo::Tour tour(client, *publication.server(), window, options.pictures,
                        picturePrefix(options, window));
        tour.start();
        return QApplication::exec();
    }
    client.doInitialCheck(untilWindowStands);
    return QApplication::exec();
}

} // namespace

int main(int argc, char* argv[])
{
    qInstallMessageHandler(reportMessage);
#ifndef Q_OS_WIN
    // File names are UTF-8 even if the requested locale is not installed.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
#endif
    scaleWithScreen();
    const QApplication application(argc, argv);
    if (QGuiApplication::platformName() == QLatin1String("offscreen")) {
        // Its default font is half as large again as usual desktop fonts.
        QFont font = QApplication::font();
        font.setPointSize(9);
        QApplication::setFont(font);
    }
    QCoreApplication::setOrganizationName(QStringLiteral("Camera Desk"));
    QCoreApplication::setApplicationName(demo::productName());
    QCoreApplication::setApplicationVersion(Options().hostVersion);
    const Options options = demo::parseOptions(QCoreApplication::arguments());
    QCoreApplication::setApplicationVersion(options.hostVersion);
    const Language language(options.language);

    const Publication publication(options);
    if (!publication.isReachable()) {
        demo::printError(QStringLiteral("The update server could not listen on 127.0.0.1."));
        return 1;
    }
    if (options.mode == Options::eTour && !publication.server()) {
        demo::printError(QStringLiteral("The tour needs the update server."));
        return 2;
    }
    AppSettings settings(options.settingsFile);
    startClient(options, publication.url(), settings);
    const int result = run(options, publication);
    SoftwareUpdateClient::deleteInstance();
    return result;
}
