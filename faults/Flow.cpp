#include "Flow.h"

#include "Files.h"
#include "Resources.h"

#include "download/DownloadCache.h"
#include "download/PartialFile.h"
#include "support/Unzipper.h"
#include "ui/SoftwareUpdateAvailableDialog.h"

#include <QApplication>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>

namespace zk::faults {

namespace {

Flow* current = nullptr;

constexpr int requestTimeoutMs = 15'000;
constexpr qint64 limitMs = 20'000;

template <typename Window>
Window* visibleWindow()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget* window : windows) {
        if (window->isVisible() && qobject_cast<Window*>(window)) {
            return qobject_cast<Window*>(window);
        }
    }
    return nullptr;
}

} // namespace

Flow::Flow(const Plan& plan, Sandbox& sandbox)
    : m_plan(plan)
    , m_sandbox(sandbox)
    , m_peer(plan)
    , m_parent(std::make_unique<QWidget>())
    , m_log(std::make_unique<test::LogCapture>(Log::eInfo))
{
    current = this;
    answerBoxes();
    connect(&m_tick, &QTimer::timeout, this, &Flow::tick);
    qApp->installEventFilter(this);
}

Flow::~Flow()
{
    qApp->removeEventFilter(this);
    current = nullptr;
}

void Flow::answerBoxes()
{
    const auto press = [this](const char* text, const char* button) {
        m_robot.press(QLatin1String(text), QLatin1String(button));
    };
    press("ask you to restart", m_plan.isRejected ? "Cancel Install" : "Proceed");
    press("Please restart", m_plan.restartsNow ? "Restart now" : "Restart later");
    press("Error code", "OK");
    press("Installation process", "OK");
    press("could not be unpacked", "OK");
}

Outcome Flow::run()
{
    // Beside this program: the client takes it for a file of the old version.
    const test::TemporaryFile installed(
        QCoreApplication::applicationDirPath() +
            QStringLiteral("/faults-%1.bin").arg(QCoreApplication::applicationPid()),
        m_plan.isDifferential ? m_peer.installed() : QByteArray());
    m_sandbox.prepare(m_plan); // which may limit files
    leavePart();
    m_clock.start();
    QMetaObject::invokeMethod(this, &Flow::start, Qt::QueuedConnection);
    m_tick.start(1);
    m_loop.exec();
    m_tick.stop();
    if (m_calls > 0) {
        return m_outcome;
    }
    examineState();
    examineStarts();
    tearDown();
    m_sandbox.restore();
    examineLeftovers();
    examineSuccess();
    examineCache();
    const QString lost = m_sandbox.lostSettings();
    if (!lost.isEmpty()) {
        violate(QStringLiteral("settings lost: ") + lost);
    }
    return m_outcome;
}

// As a host does that dies: nobody takes its lock away.
void Flow::leavePart() const
{
    if (m_plan.leftBehind == 0) {
        return;
    }
    const DownloadCache cache(QStringLiteral("Viewer"));
    const QByteArray bytes =
        m_peer.served().left(int(qint64(m_peer.served().size()) * m_plan.leftBehind / 1'000'000));
    auto part = cache.open(m_peer.packageUrl(), m_peer.keys());
    const bool isLeft = part && part->begin({Peer::tag(), m_peer.served().size()}) &&
                        part->append(bytes.constData(), bytes.size());
    part.reset();
    const QStringList names = QDir(cache.folder()).entryList({QStringLiteral("*.part")});
    if (isLeft && !names.isEmpty()) {
        QFile lock(cache.folder() + QLatin1Char('/') + names.constFirst().chopped(4) +
                   QStringLiteral("lock"));
        const QByteArray holder =
            "2147483647\nViewer\n" + QSysInfo::machineHostName().toUtf8() + '\n';
        (void)(lock.open(QIODevice::WriteOnly) && lock.write(holder));
    }
}

void Flow::start()
{
    m_settings = std::make_unique<AppSettings>(m_sandbox.settingsFile());
    SoftwareUpdateClient::init(QStringLiteral("Viewer"), VersionNumber(L"4.1"),
                               m_peer.documentUrl().toString(), m_settings.get());
    m_client = SoftwareUpdateClient::instance();
    m_client->setParent(m_parent.get());
    m_client->setNetworkProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    m_client->setPackagePublicKeys(m_peer.keys());
    if (m_plan.retries > 0) {
        UpdateOptions options;
        options.differentialUpdates = m_plan.isDifferential;
        options.download = {m_plan.retries, std::chrono::milliseconds(1),
                            std::chrono::milliseconds(300 * slowness())};
        m_client->setOptions(options);
        m_peer.asked = [this](bool isLast) { reach(isLast ? Act::eWhole : Act::eReceived); };
    }
    auto* const downloader = m_client->findChild<FileDownloader*>();
    connect(downloader->findChild<QNetworkAccessManager*>(), &QNetworkAccessManager::finished, this,
            [this] { reach(Act::eReceived); });
    connect(downloader, &FileDownloader::finished, this, [this] { reach(Act::eWhole); });
    connect(m_client, &SoftwareUpdateClient::stateChanged, this, &Flow::actInSlot);
    connect(m_client, &SoftwareUpdateClient::messageChanged, this, &Flow::actInSlot);
    reach(Act::eCheck);
    m_client->performUpdateCheck(m_peer.documentUrl());
}

// Called every millisecond, also in nested event loops; must not start one itself.
void Flow::tick()
{
    if (m_sinceTick.isValid()) {
        m_outcome.stallMs = qMax(m_outcome.stallMs, int(m_sinceTick.elapsed()));
    }
    m_sinceTick.start();
    if (m_clock.elapsed() > limitMs * slowness()) {
        violate(QStringLiteral("comes to no end"));
        const QWidgetList windows = QApplication::topLevelWidgets();
        for (const QWidget* window : windows) {
            std::fprintf(stderr, "  %s%s\n", window->metaObject()->className(),
                         window->isVisible() ? ", visible" : "");
        }
        std::fprintf(stderr, "  connected %d, unpacking %d, calls %d, state %d\n",
                     m_peer.isConnected(), isUnpacking(), m_calls,
                     m_client ? m_client->state() : -1);
        m_loop.quit();
        return;
    }
    hurry();
    if (isBusy()) {
        m_idleTicks = 0;
        m_ticksSinceBusy = 0;
        return;
    }
    // Qt keeps idle connections open. In ticks, not in time: while the machine is stalled, no
    // answer arrives either.
    constexpr int longestAnswer = 500;
    if (m_peer.isConnected() && m_ticksSinceBusy >= 0 &&
        ++m_ticksSinceBusy < longestAnswer * slowness()) {
        m_idleTicks = 0;
        return;
    }
    // Queued events first: between two requests of a client without windows, nothing shows that it
    // is busy.
    if (++m_idleTicks < (m_hasActed ? 40 : 3)) {
        return;
    }
    if (hasOffer() && !m_hasInstalled) {
        m_hasInstalled = true;
        m_idleTicks = 0;
        reach(Act::eInstall);
        QMetaObject::invokeMethod(this, &Flow::install, Qt::QueuedConnection);
        return;
    }
    m_loop.quit();
}

// Do not wait for the time-out of 15 s, or for ever.
void Flow::hurry()
{
    const bool isSilent =
        m_plan.document.isSilent() || m_plan.signature.isSilent() ||
        (m_plan.package.isSilent() && m_plan.retries == 0); // else a stall is noticed
    if (!isSilent) {
        return;
    }
    const QList<QTimer*> timers = m_client ? m_client->findChildren<QTimer*>() : QList<QTimer*>();
    for (QTimer* timer : timers) {
        if (timer->interval() == requestTimeoutMs && m_plan.document.isSilent()) {
            timer->setInterval(m_plan.patienceMs);
        }
    }
    if (m_waitingSince >= 0 && m_clock.elapsed() > m_waitingSince + m_plan.patienceMs) {
        m_waitingSince = m_clock.elapsed();
        giveUpWaiting();
    }
}

void Flow::giveUpWaiting()
{
    if (visibleWindow<QMessageBox>()) {
        return;
    }
    if (visibleWindow<QProgressDialog>()) {
        cancel();
    } else if (m_peer.isConnected()) {
        // There is no button to press.
        deleteClient();
    }
}

void Flow::install()
{
    if (!m_client) {
        return;
    }
    ++m_calls;
    QMetaObject::invokeMethod(m_client, "installPackage", Q_ARG(int, 0));
    --m_calls;
}

bool Flow::isUnpacking() const
{
    for (QObject* manager : m_managers) {
        auto* const unzipper = manager->findChild<Unzipper*>();
        if (unzipper && unzipper->isRunning()) {
            return true;
        }
    }
    return false;
}

bool Flow::hasOffer() const
{
    return m_client && m_client->state() == SoftwareUpdate::eUpdateAvailable &&
           visibleWindow<SoftwareUpdateAvailableDialog>();
}

bool Flow::isBusy() const
{
    return m_stages.isEmpty() || m_calls > 0 || isUnpacking() || visibleWindow<QMessageBox>() ||
           (m_client && visibleWindow<QProgressDialog>()) ||
           (m_client && m_parent && m_client->state() == SoftwareUpdate::eChecking);
}

void Flow::reach(Act::Stage stage)
{
    if (m_stages.contains(stage)) {
        return;
    }
    m_stages.insert(stage);
    if (stage == Act::eDownload) {
        m_waitingSince = m_clock.elapsed();
    }
    if (stage == m_plan.act.stage) {
        m_events = 0;
    }
}

bool Flow::eventFilter(QObject* object, QEvent* event)
{
    // The client does not delete them.
    if (event->type() == QEvent::ChildAdded && object->inherits("zk::DownloadManager")) {
        m_managers << object;
    }
    if (event->type() == QEvent::Show && qobject_cast<QProgressDialog*>(object)) {
        reach(Act::eDownload);
    }
    // Not timers, which depend on time, except those that drive the work itself.
    const bool isTurn = m_plan.act.stage == Act::eReceived && object != &m_tick;
    const bool counts = (event->type() != QEvent::Timer || isTurn) && object != this;
    if (counts && !m_hasActed && m_plan.act.kind != Act::eNothing &&
        m_stages.contains(m_plan.act.stage) && ++m_events > m_plan.act.events) {
        m_hasActed = true;
        m_isSlotDue = m_plan.act.isInSlot;
        if (!m_isSlotDue) {
            QMetaObject::invokeMethod(this, &Flow::act, Qt::QueuedConnection);
        }
    }
    return false;
}

void Flow::actInSlot()
{
    if (std::exchange(m_isSlotDue, false)) {
        act();
    }
}

void Flow::act()
{
    switch (m_plan.act.kind) {
    case Act::eNothing:
        break;
    case Act::eCancel:
        cancel();
        break;
    case Act::eCloseParent:
        m_wasParentClosed = true;
        m_parent.reset();
        break;
    case Act::eDeleteClient:
        deleteClient();
        break;
    case Act::eCheckAgain:
        if (m_client) {
            m_client->performUpdateCheck(m_peer.documentUrl());
        }
        break;
    case Act::eInstallAgain:
        install();
        break;
    case Act::eAbortUpdate:
        if (m_client) {
            m_client->abortUpdate();
        }
        break;
    case Act::eRemoveTemporaryFolder:
        m_sandbox.removeTemporaryFolder();
        break;
    case Act::eCloseList:
        if (auto* const offer = visibleWindow<SoftwareUpdateAvailableDialog>()) {
            offer->close();
        }
        break;
    case Act::eCloseProgress:
        if (auto* const progress = visibleWindow<QProgressDialog>()) {
            progress->close();
        }
        break;
    case Act::eLinger:
        linger();
        break;
    }
}

void Flow::linger()
{
    QEventLoop loop;
    QTimer::singleShot(m_plan.patienceMs, &loop, &QEventLoop::quit);
    ++m_calls;
    loop.exec();
    --m_calls;
}

void Flow::cancel()
{
    if (auto* const box = visibleWindow<QMessageBox>()) {
        box->reject();
    } else if (auto* const progress = visibleWindow<QProgressDialog>()) {
        progress->findChild<QPushButton*>()->click();
    } else if (auto* const offer = visibleWindow<SoftwareUpdateAvailableDialog>()) {
        offer->reject();
    }
}

void Flow::deleteClient()
{
    m_wasClientDeleted = true;
    SoftwareUpdateClient::deleteInstance();
}

void Flow::tearDown()
{
    SoftwareUpdateClient::deleteInstance();
    m_parent.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    qDeleteAll(m_managers);
    m_managers.clear();
    m_settings.reset();
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (!QApplication::topLevelWidgets().isEmpty()) {
        violate(
            QStringLiteral("a window is left: ") +
            QLatin1String(QApplication::topLevelWidgets().constFirst()->metaObject()->className()));
    }
}

int Flow::handOver(const QStringList& arguments)
{
    return current ? current->handOverTo(arguments) : -1;
}

} // namespace zk::faults
