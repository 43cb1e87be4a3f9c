#pragma once

#include "demo/Cameras.h"
#include "types/SoftwareUpdateTypes.h"

#include <QMainWindow>
#include <QPointer>

class QGroupBox;
class QPlainTextEdit;
class QTableWidget;

namespace zk {
class SoftwareUpdateClient;
}

namespace demo {

class PreferencesDialog;

/** Camera Desk's window: the cameras, a log of what the update client does, and the menus. */
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    /** @p client must outlive the window, which becomes the parent of the client's dialogs. */
    MainWindow(zk::SoftwareUpdateClient& client, const QList<Camera>& cameras);
    ~MainWindow() override;

public slots:
    void appendLogLine(const QString& line);
    /** Opens the preferences at the page about updates. */
    void showUpdatePreferences();

private slots:
    void checkForUpdates();
    void showAbout();
    void showPreferences();
    void showMessage(const QString& message);
    void followState(zk::SoftwareUpdate::EState oldState, zk::SoftwareUpdate::EState newState);

private:
    zk::SoftwareUpdateClient& m_client;
    QTableWidget* const m_table;
    QPlainTextEdit* const m_log;
    QGroupBox* m_logGroup = nullptr;
    QPointer<PreferencesDialog> m_preferences;

    void createMenus();
    void createContents();
    void fillTable(const QList<Camera>& cameras);
    void connectClient();
};

} // namespace demo
