#pragma once

#include "demo/TourPlayer.h"
#include "types/SoftwareUpdateTypes.h"

#include <QUrl>

class QAbstractButton;
class QTableWidget;

namespace zk {
class SoftwareUpdateClient;
}

namespace demo {

class MainWindow;
class UpdateServer;

/** Plays what a user would do with Camera Desk, from the first check to an installation. */
class Tour : public QObject
{
    Q_OBJECT

public:
    /** All three must outlive the tour. See TourPlayer for @p pictures and @p prefix. */
    Tour(zk::SoftwareUpdateClient& client, UpdateServer& server, MainWindow& window,
         const QString& pictures, const QString& prefix);
    ~Tour() override;

    void start();

public slots:
    /** Replaces the web browser. */
    void openPage(const QUrl& url);

private:
    zk::SoftwareUpdateClient& m_client;
    UpdateServer& m_server;
    MainWindow& m_window;
    TourPlayer m_player;

    void addCheckScene();
    void addSelectionScene();
    void addLanguageScene();
    void addPreferencesScene();
    void addMessagesScene();
    void addSettingsScene();
    void addInstallationScene();
    void addFailureScene();
    void addRestartScene();
    void addBetaScene();
    void addAboutScene();

    void addMenuStep(const QString& text, const char* action);
    void addClick(const QString& text, const TourPlayer::Finder& window, const char* button);
    void addAnswer(const QString& text, bool isAccepted);
    void addStateStep(const QString& text, zk::SoftwareUpdate::EState state);
    void addSelection(const QString& text, const QStringList& types);
    void addInstallClicks();
};

} // namespace demo
