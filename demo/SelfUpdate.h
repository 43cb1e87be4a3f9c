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
 * Unattended self-update of the host: checks, installs the offered zip package and accepts all
 * questions, after which this process is replaced. The new version then finds that it is up to
 * date.
 *
 * Both versions append their steps to a report, with the time (ms since the epoch) and the host's
 * version. The last step is written once the host's window is exposed.
 */
class SelfUpdate : public QObject
{
    Q_OBJECT

public:
    /** @p pictures is the folder for a final picture of the window; empty: none. */
    SelfUpdate(zk::SoftwareUpdateClient& client, QWidget& window, const QString& reportFile,
               const QString& pictures);
    ~SelfUpdate() override;

    /** Ends the event loop with 0 if nothing is newer, with 1 on any error. */
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
