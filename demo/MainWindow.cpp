#include "demo/MainWindow.h"

#include "demo/HostTranslator.h"
#include "demo/PreferencesDialog.h"

#include "client/SoftwareUpdateClient.h"

#include <QAction>
#include <QApplication>
#include <QFontDatabase>
#include <QGroupBox>
#include <QHeaderView>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QStatusBar>
#include <QTableWidget>
#include <QUrl>
#include <QVBoxLayout>

namespace demo {

namespace {

QGroupBox* group(const QString& title, QWidget* content)
{
    auto* const box = new QGroupBox(title);
    auto* const layout = new QVBoxLayout(box);
    layout->addWidget(content);
    return box;
}

} // namespace

MainWindow::MainWindow(zk::SoftwareUpdateClient& client, const QList<Camera>& cameras)
    : m_client(client)
    , m_table(new QTableWidget)
    , m_log(new QPlainTextEdit)
{
    setWindowTitle(QStringLiteral("Camera Desk"));
    resize(760, 560);
    createMenus();
    createContents();
    fillTable(cameras);
    statusBar()->showMessage(tr("Ready"));
    connectClient();
}

MainWindow::~MainWindow() = default;

void MainWindow::createMenus()
{
    const auto add = [this](QMenu* menu, const QString& text, const char* name, auto slot) {
        QAction* const action = menu->addAction(text, this, slot);
        action->setObjectName(QLatin1String(name));
        return action;
    };
    QMenu* const file = menuBar()->addMenu(tr("&File"));
    add(file, tr("&Quit"), "quitAction", &QWidget::close)->setShortcut(QKeySequence::Quit);
    QMenu* const edit = menuBar()->addMenu(tr("&Edit"));
    add(edit, tr("&Preferences..."), "preferencesAction", &MainWindow::showPreferences);
    QMenu* const help = menuBar()->addMenu(tr("&Help"));
    add(help, tr("Check for &updates"), "checkAction", &MainWindow::checkForUpdates);
    add(help, tr("Update &settings..."), "settingsAction", [this] { m_client.queryForUpdate(); });
    help->addSeparator();
    add(help, tr("&About Camera Desk"), "aboutAction", &MainWindow::showAbout);
}

void MainWindow::createContents()
{
    m_log->setReadOnly(true);
    m_log->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_log->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_log->setMaximumBlockCount(10000);
    m_logGroup = group(tr("Log"), m_log);
    auto* const splitter = new QSplitter(Qt::Vertical);
    splitter->addWidget(group(tr("Cameras"), m_table));
    splitter->addWidget(m_logGroup);
    splitter->setContentsMargins(8, 8, 8, 0);
    setCentralWidget(splitter);
}

void MainWindow::fillTable(const QList<Camera>& cameras)
{
    m_table->setColumnCount(4);
    m_table->setRowCount(cameras.size());
    m_table->setHorizontalHeaderLabels({tr("Camera"), tr("Model"), tr("Firmware"), tr("Address")});
    for (int row = 0; row < cameras.size(); ++row) {
        const Camera& camera = cameras.at(row);
        int column = 0;
        for (const QString& text : {camera.name, camera.model, camera.firmware, camera.address}) {
            m_table->setItem(row, column++, new QTableWidgetItem(text));
        }
    }
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setAlternatingRowColors(true);
    m_table->verticalHeader()->hide();
    m_table->horizontalHeader()->setHighlightSections(false);
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
}

void MainWindow::connectClient()
{
    using Client = zk::SoftwareUpdateClient;
    m_client.setParent(this);
    connect(&m_client, &Client::messageChanged, this, &MainWindow::showMessage);
    connect(&m_client, &Client::stateChanged, this, &MainWindow::followState);
    // Queued: the client's dialog must not be destroyed while it handles the click.
    connect(&m_client, &Client::openUpdateSettings, this, &MainWindow::showUpdatePreferences,
            Qt::QueuedConnection);
}

void MainWindow::appendLogLine(const QString& line)
{
    m_log->appendPlainText(line);
}

// An explicit request, so it does not matter whether automatic checks are on.
void MainWindow::checkForUpdates()
{
    m_client.performUpdateCheck(QUrl(m_client.getSettings().serverUrl));
}

void MainWindow::showMessage(const QString& message)
{
    if (!message.isEmpty()) {
        statusBar()->showMessage(translatedMessage(message));
    }
}

// The client emits no message for these two states.
void MainWindow::followState(zk::SoftwareUpdate::EState /*oldState*/,
                             zk::SoftwareUpdate::EState newState)
{
    if (newState == zk::SoftwareUpdate::eChecking) {
        statusBar()->showMessage(tr("Looking for updates ..."));
    } else if (newState == zk::SoftwareUpdate::eUpdateAvailable) {
        statusBar()->showMessage(tr("Updates are available."));
    }
}

void MainWindow::showAbout()
{
    const QString text = tr("Version %1. Looks after the cameras of a site.")
                             .arg(QApplication::applicationVersion());
    QMessageBox::about(this, tr("About Camera Desk"),
                       QStringLiteral("<h3>Camera Desk</h3><p>%1</p>").arg(text));
}

void MainWindow::showPreferences()
{
    if (!m_preferences) {
        m_preferences = new PreferencesDialog(m_client, this);
        m_preferences->setAttribute(Qt::WA_DeleteOnClose);
        m_preferences->setLogShown(!m_logGroup->isHidden());
        m_preferences->setRowsShaded(m_table->alternatingRowColors());
        connect(m_preferences, &QDialog::accepted, this, [this] {
            m_logGroup->setVisible(m_preferences->isLogShown());
            m_table->setAlternatingRowColors(m_preferences->areRowsShaded());
        });
    }
    m_preferences->show();
    m_preferences->raise();
    m_preferences->activateWindow();
}

void MainWindow::showUpdatePreferences()
{
    showPreferences();
    m_preferences->showUpdatesPage();
}

} // namespace demo
