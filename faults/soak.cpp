// Endurance run in one process: checks with every kind of answer, and each dialog opened and
// closed. Memory and descriptors must not grow.
//
// faults_soak [CHECKS] [ROUNDS]

#include "ClientFixture.h"
#include "DialogRobot.h"
#include "Environment.h"
#include "Resources.h"

#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateDialog.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

#include <cstdio>
#include <cstdlib>

using namespace zk;
using namespace zk::faults;
using test::Answer;

namespace {

/** Ends the process if something does not happen: later figures would be meaningless. */
void await(const std::function<bool()>& condition, const char* what)
{
    QElapsedTimer clock;
    clock.start();
    // Wakes the event loop up periodically.
    QTimer timer;
    timer.start(5);
    while (!condition()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (clock.elapsed() > 20'000LL * slowness()) {
            std::printf("VIOLATION: %s\n", what);
            std::fflush(stdout);
            std::_Exit(1);
        }
    }
}

/** Samples taken during one kind of work. */
class Course
{
public:
    explicit Course(const char* name, int rounds)
        : m_name(name)
        , m_rounds(rounds)
    {
    }

    /** Calls @p round the given number of times and takes fifty samples. */
    void run(const std::function<void(int)>& round)
    {
        for (int i = 0; i < m_rounds; ++i) {
            round(i);
            if ((i + 1) % qMax(1, m_rounds / samples) == 0) {
                sample();
            }
        }
    }

    /** Prints the first tenth and the last; false if something has grown. */
    [[nodiscard]] bool report() const
    {
        const int tenth = qMax(1, m_resident.size() / 10);
        const long first = mean(m_resident.mid(0, tenth));
        const long last = mean(m_resident.mid(m_resident.size() - tenth));
        const long opened = mean(m_descriptors.mid(0, tenth));
        const long open = mean(m_descriptors.mid(m_resident.size() - tenth));
        // A sanitizer does not release freed memory.
        constexpr long allowedKb = 2L * 1024;
        const bool isFlat = open <= opened && (slowness() > 1 || last - first <= allowedKb);
        QTextStream(stdout) << (isFlat ? "" : "VIOLATION: ") << m_name << ", " << m_rounds
                            << " rounds: resident " << first << " KiB in the first tenth, " << last
                            << " KiB in the last; descriptors " << opened << ", " << open << '\n';
        return isFlat;
    }

private:
    static constexpr int samples = 50;

    const char* m_name;
    int m_rounds;
    QList<long> m_resident;
    QList<long> m_descriptors;

    // A connection needs a moment to end on both sides.
    void sample()
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        int open = Resources::now().descriptors.size();
        for (int i = 0; i < 10; ++i) {
            QTest::qWait(1);
            open = qMin(open, Resources::now().descriptors.size());
        }
        m_descriptors << open;
        m_resident << residentKb();
    }
    static long mean(const QList<long>& values)
    {
        long sum = 0;
        for (const long value : values) {
            sum += value;
        }
        return values.isEmpty() ? 0 : sum / values.size();
    }
};

QByteArray offer(const test::ClientFixture& f)
{
    return test::document(
        test::packageElement("4.3", f.server.url("/setup.exe").toEncoded(), "language=\"en\""));
}

bool checks(int count)
{
    test::ClientFixture f;
    const QByteArray none = test::document(test::packageElement("4.0", "http://127.0.0.1/a.exe"));
    const Answer answers[] = {test::http(200, offer(f)),
                              test::http(200, none),
                              test::http(200, "<softwareList/>"),
                              test::http(500, "<html>"),
                              test::http(200, "<html><p>"),
                              test::partial(none, 50, Answer::eReset),
                              test::redirect(302, f.server.url("/elsewhere.xml").toEncoded())};
    f.server.answer("/elsewhere.xml", test::http(200, offer(f)));
    Course course("checks", count);
    course.run([&](int i) {
        Answer answer = answers[i % int(std::size(answers))];
        answer.dripMs = 0;
        f.server.answer("/doc.xml", answer);
        f.check();
        await([&f] { return !f.isChecking(); }, "a check does not end");
        f.settings.calls.clear();
        f.events.clear();
        f.server.forgetRequests();
    });
    return course.report();
}

template <typename Dialog>
Dialog* shown()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget* window : windows) {
        if (auto* const dialog = qobject_cast<Dialog*>(window); dialog && dialog->isVisible()) {
            return dialog;
        }
    }
    return nullptr;
}

bool settingsDialogs(int rounds)
{
    test::ClientFixture f;
    Course course("settings dialog", rounds);
    course.run([&f](int i) {
        QTimer::singleShot(0, f.client, [i] {
            await([] { return shown<SoftwareUpdateDialog>(); }, "no settings dialog");
            shown<SoftwareUpdateDialog>()->done(i % 2);
        });
        f.client->queryForUpdate({}, i % 2 == 0);
        await([&f] { return f.parent->findChildren<QDialog*>().isEmpty(); }, "a dialog stays");
        f.settings.calls.clear();
    });
    return course.report();
}

// The offer; the question; the progress of a download that is cancelled or fails; its error box.
bool offers(int rounds)
{
    const QTemporaryDir temporary;
    const test::ScopedTemporaryFolder scoped{temporary.path()};
    test::ClientFixture f;
    f.settings.values[AppSettings::UpdatePackageSuffixes] = QString();
    f.server.answer("/doc.xml", test::http(200, offer(f)));
    Course course("update-available dialog, question, progress and error boxes", rounds);
    course.run([&f](int i) {
        test::DialogRobot robot;
        robot.press(QStringLiteral("ask you to restart"), QStringLiteral("Proceed"));
        robot.press(QStringLiteral("Error code"), QStringLiteral("OK"));
        const bool fails = i % 2 == 1;
        f.server.answer("/setup.exe", fails ? test::http(404) : Answer{{}, Answer::eSilence});
        f.check();
        await([] { return shown<SoftwareUpdateAvailableDialog>(); }, "no offer");
        QMetaObject::invokeMethod(f.client, "installPackage", Q_ARG(int, 0));
        if (!fails) {
            // Earlier, Qt would keep the connection.
            await([&f] { return f.server.requests().size() == 2; }, "no request");
            shown<QProgressDialog>()->findChild<QPushButton*>()->click();
        }
        await([&robot, fails] { return robot.seen().size() == (fails ? 2 : 1); }, "no box");
        await([] { return !shown<QProgressDialog>() && !shown<QMessageBox>(); }, "a window stays");
        shown<SoftwareUpdateAvailableDialog>()->done(i % 2);
        await([&f] { return f.parent->findChildren<QDialog*>().isEmpty(); }, "a dialog stays");
        f.settings.calls.clear();
        f.events.clear();
        f.server.forgetRequests();
    });
    return course.report();
}

} // namespace

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    // Print figures only: the offscreen platform prints a line for each window, and the settings
    // dialog one for a published connection that never takes effect.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    const int count = argc > 1 ? std::atoi(argv[1]) : 10'000;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 500;
    const bool isFlat = checks(count);
    const bool areSettingsFlat = settingsDialogs(rounds);
    const bool areOffersFlat = offers(rounds);
    return isFlat && areSettingsFlat && areOffersFlat ? 0 : 1;
}
