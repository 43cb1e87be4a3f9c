#pragma once

#include "DialogRobot.h"
#include "LogCapture.h"
#include "Sandbox.h"

#include "client/SoftwareUpdateClient.h"
#include "install/FileDownloader.h"
#include "support/AppSettings.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QSet>

#include <memory>

class QMessageBox;
class QProgressDialog;

namespace zk::faults {

/** The result of a flow. */
struct Outcome
{
    /** The violated conditions; empty if all is well. */
    QStringList violations;
    /** "program started", "tree handed over", "state 6", ... for the summary. */
    QString end;
    int stallMs = 0;
};

/**
 * Runs one complete flow: a host with a client, a user who installs what is offered, and all faults
 * of the plan. Then examines what is left.
 */
class Flow : public QObject
{
public:
    Flow(const Plan& plan, Sandbox& sandbox);
    ~Flow() override;
    Flow(const Flow&) = delete;
    Flow& operator=(const Flow&) = delete;

    Outcome run();

    /** Called instead of execv(), which would end this process. */
    static int handOver(const QStringList& arguments);

    bool eventFilter(QObject* object, QEvent* event) override;

private:
    const Plan& m_plan;
    Sandbox& m_sandbox;
    Peer m_peer;
    std::unique_ptr<QWidget> m_parent;
    std::unique_ptr<AppSettings> m_settings;
    std::unique_ptr<test::LogCapture> m_log;
    test::DialogRobot m_robot;
    QPointer<SoftwareUpdateClient> m_client;
    QEventLoop m_loop;
    QTimer m_tick;
    QElapsedTimer m_clock;
    QElapsedTimer m_sinceTick;
    /** -1: not busy yet. */
    int m_ticksSinceBusy = -1;
    qint64 m_waitingSince = -1;
    QObjectList m_managers;
    QSet<int> m_stages;
    int m_events = 0;
    int m_calls = 0;
    int m_idleTicks = 0;
    bool m_hasActed = false;
    bool m_isSlotDue = false;
    bool m_hasInstalled = false;
    bool m_wasParentClosed = false;
    bool m_wasClientDeleted = false;
    bool m_wasHandedOver = false;
    Outcome m_outcome;

    void start();
    void answerBoxes();
    void tick();
    void hurry();
    void install();
    void giveUpWaiting();
    [[nodiscard]] bool isBusy() const;
    [[nodiscard]] bool isUnpacking() const;
    [[nodiscard]] bool hasOffer() const;
    void reach(Act::Stage stage);
    void actInSlot();
    void act();
    void linger();
    void cancel();
    void deleteClient();
    void tearDown();

    void violate(const QString& text) { m_outcome.violations << text; }
    int handOverTo(const QStringList& arguments);
    [[nodiscard]] QStringList startedPrograms() const;
    void examineState();
    void examineStarts();
    void examineLeftovers();
    void examineCache();
    void examineStaging(QStringList& files);
    [[nodiscard]] QString stagedTree() const;
    void leavePart() const;
    void examineSuccess();
    [[nodiscard]] bool mayStay(const QString& folder, const Tree& files) const;
};

} // namespace zk::faults
