#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QStringList>

class QMessageBox;

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
 * both versions append to.
 */
class SelfUpdate : public QObject
{
    Q_OBJECT

public:
    SelfUpdate(zk::SoftwareUpdateClient& client, const QString& reportFile);
    ~SelfUpdate() override;

    /** Ends the event loop with 0 when nothing is newer, with 1 when anything goes wrong. */
    void start();

private:
    zk::SoftwareUpdateClient& m_client;
    const QString m_reportFile;
    QElapsedTimer m_running;
    bool m_isInstalling = false;

    void lookSoon();
    void look();
    void answer(QMessageBox& box);
    void report(const QString& step) const;
    void finish(const QString& step, int exitCode);
};

} // namespace demo
