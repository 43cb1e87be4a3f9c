#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QStringList>

class QMessageBox;
class QWidget;

namespace zk {
class SoftwareUpdateClient;
}

namespace demo {

/**
 * The host updates itself without a user: checks, installs the zip package that is offered and says
 * yes to everything, after which this process is replaced. The new version finds that it is up to
 * date.
 *
 * Writes each step with the time (ms since the epoch) and the host's version to a report, which
 * both versions append to. The last one is only written once the host's window is on the screen.
 */
class SelfUpdate : public QObject
{
    Q_OBJECT

public:
    /** @p pictures is the folder for a picture of the window in the end; empty: none. */
    SelfUpdate(zk::SoftwareUpdateClient& client, QWidget& window, const QString& reportFile,
               const QString& pictures);
    ~SelfUpdate() override;

    /** Ends the event loop with 0 when nothing is newer, with 1 when anything goes wrong. */
    void start();

private:
    zk::SoftwareUpdateClient& m_client;
    QWidget& m_window;
    const QString m_reportFile;
    const QString m_pictures;
    QElapsedTimer m_running;
    bool m_isInstalling = false;

    void lookSoon();
    void look();
    void answer(QMessageBox& box);
    void takePicture();
    void report(const QString& step) const;
    void finish(const QString& step, int exitCode);
};

} // namespace demo
