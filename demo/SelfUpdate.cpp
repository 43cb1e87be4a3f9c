#include "demo/SelfUpdate.h"

#include "demo/Console.h"
#include "demo/HostVersion.h"
#include "demo/PackageDialog.h"
#include "demo/VisibleWindow.h"

#include "client/SoftwareUpdateClient.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QPixmap>
#include <QScreen>
#include <QTableWidget>
#include <QTimer>
#include <QUrl>
#include <QWindow>

namespace demo {

SelfUpdate::SelfUpdate(zk::SoftwareUpdateClient& client, QWidget& window, const QString& reportFile,
                       const QString& pictures)
    : m_client(client)
    , m_window(window)
    , m_reportFile(reportFile)
    , m_pictures(pictures)
{
}

SelfUpdate::~SelfUpdate() = default;

void SelfUpdate::start()
{
    m_running.start();
    lookSoon();
    report(QStringLiteral("running in ") +
           QDir::toNativeSeparators(QCoreApplication::applicationDirPath()));
    m_client.performUpdateCheck(QUrl(m_client.getSettings().serverUrl));
}

// A new timer each time: a timer does not fire in nested event loops of its own slot. Not const: it
// schedules a function that changes this.
// NOLINTNEXTLINE(readability-make-member-function-const)
void SelfUpdate::lookSoon()
{
    constexpr int interval = 10;
    QTimer::singleShot(interval, this, &SelfUpdate::look);
}

void SelfUpdate::look()
{
    lookSoon();
    constexpr int patience = 60'000;
    const auto state = m_client.state();
    if (auto* const box = visibleWindow<QMessageBox>()) {
        answer(*box);
    } else if (state == zk::SoftwareUpdate::eUpToDate && m_window.windowHandle()->isExposed()) {
        takePicture();
        finish(QStringLiteral("up to date"), 0);
    } else if (state == zk::SoftwareUpdate::eUpdateAvailable) {
        if (!m_isInstalling && hasRows()) {
            m_isInstalling = true;
            report(QStringLiteral("installing"));
            selectRows(packageTable(), {QStringLiteral("zip")});
            packageTable()
                ->window()
                ->findChild<QAbstractButton*>(QStringLiteral("installPushButton"))
                ->click();
        }
    } else if ((state != zk::SoftwareUpdate::eChecking && state != zk::SoftwareUpdate::eUpToDate) ||
               m_running.hasExpired(patience)) {
        finish(QStringLiteral("stuck in state %1").arg(int(state)), 1);
    }
}

void SelfUpdate::answer(QMessageBox& box)
{
    QAbstractButton* const yes = answerButton(box, true);
    if (!yes || box.icon() == QMessageBox::Critical) {
        finish(box.windowTitle() + QStringLiteral(": ") + box.text(), 1);
        return;
    }
    report(QStringLiteral("%1: %2").arg(box.windowTitle(), yes->text()));
    yes->click();
}

void SelfUpdate::takePicture()
{
    if (m_pictures.isEmpty()) {
        return;
    }
    m_window.repaint();
    const QString file = QDir(m_pictures).filePath(QStringLiteral("self-update.png"));
    // A screenshot, not a repainted window.
    const QPixmap picture = m_window.screen()->grabWindow(m_window.winId());
    if (!QDir().mkpath(m_pictures) || !picture.save(file)) {
        report(QStringLiteral("cannot write ") + file);
    }
}

void SelfUpdate::report(const QString& step) const
{
    const QString line =
        QStringLiteral("%1 %2 %3")
            .arg(QString::number(QDateTime::currentMSecsSinceEpoch()), hostVersion(), step);
    print(line);
    QFile file(m_reportFile);
    if (file.open(QIODevice::Append)) {
        file.write(line.toUtf8() + '\n');
    }
}

void SelfUpdate::finish(const QString& step, int exitCode)
{
    report(step);
    QCoreApplication::exit(exitCode);
}

} // namespace demo
