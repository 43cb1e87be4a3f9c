// A stand-alone program: the initialisation order of its static objects does not matter.
// clazy:excludeall=non-pod-global-static

// Complete flows from the check to the installer, with faults drawn at random.
//
//     faults_campaign [--flow N] [COUNT] [SEED]

#include "Flow.h"
#include "Resources.h"

#include <QApplication>
#include <QRandomGenerator>
#include <QTextStream>
#include <QThread>

#include <algorithm>
#include <cerrno>
#include <cstdio>

using namespace zk;
using namespace zk::faults;

extern "C" int __wrap_execv(const char* path, char* const arguments[]); // NOLINT

// The linker redirects the library's calls here.
int __wrap_execv(const char* /*path*/, char* const arguments[]) // NOLINT
{
    QStringList list;
    for (char* const* argument = arguments; *argument; ++argument) {
        list << QString::fromLocal8Bit(*argument);
    }
    errno = ENOENT;
    return Flow::handOver(list);
}

namespace {

QStringList warnings;

void collect(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text)
{
    // The size of an offscreen window; a published connection that never takes effect; a reply that
    // is aborted between its error and its end, for which only a robot presses OK fast enough; one
    // that is aborted during the host lookup.
    static const QStringList known{QStringLiteral("propagateSizeHints"),
                                   QStringLiteral("zk::SoftwareUpdateWidget::checkForUpdate()"),
                                   QStringLiteral("sender name:   'SoftwareUpdateGui'"),
                                   QStringLiteral("this method must only be called once"),
                                   QStringLiteral("failed to report HostNotFoundError")};
    const auto isKnown = [&text](const QString& part) { return text.contains(part); };
    if (type != QtDebugMsg && type != QtInfoMsg &&
        std::none_of(known.cbegin(), known.cend(), isKnown)) {
        warnings << text;
    }
}

/** Runs flows and collects the figures. */
class Campaign
{
public:
    explicit Campaign(quint32 seed)
        : m_seed(seed)
    {
    }

    /** False if a condition is violated. */
    bool runOne(int number);
    void warmUp();
    bool report(int count);

private:
    quint32 m_seed;
    Sandbox m_sandbox;
    Resources m_before;
    QStringList m_otherFiles;
    QMap<QString, int> m_ends;
    QList<long> m_resident;
    int m_violations = 0;
    int m_stallMs = 0;
    int m_done = 0;

    Outcome play(const Plan& plan);
    [[nodiscard]] QStringList unreturned() const;
    bool hasGrown() const;
};

Outcome Campaign::play(const Plan& plan)
{
    warnings.clear();
    Flow flow(plan, m_sandbox);
    return flow.run();
}

// Opened once and kept: fonts, certificates, the watcher of child processes.
void Campaign::warmUp()
{
    for (int i = 0; i < 8; ++i) {
        Plan plan;
        plan.number = -1 - i;
        plan.isArchive = i % 2 == 1;
        plan.hasKeys = i % 4 > 1;
        plan.restartsNow = true;
        plan.size = 5000;
        if (i >= 6) {
            plan.package.kind = Fault::eElsewhere;
            plan.package.number = i - 6;
            plan.patienceMs = 100;
        }
        (void)play(plan);
    }
    m_before = Resources::now();
    m_otherFiles = m_sandbox.otherFiles();
}

// Threads and connections need a moment to end.
QStringList Campaign::unreturned() const
{
    QStringList more;
    for (int i = 0; i < 200; ++i) {
        more = Resources::now().beyond(m_before);
        if (more.isEmpty()) {
            break;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(5);
    }
    return more;
}

bool Campaign::runOne(int number)
{
    const Plan plan = drawPlan(m_seed, number);
    Outcome outcome = play(plan);
    for (const QString& text : qAsConst(warnings)) {
        outcome.violations << QStringLiteral("warning: ") + text;
    }
    const QStringList held = unreturned();
    if (!held.isEmpty()) {
        outcome.violations << QStringLiteral("not given back: ") + held.join(QStringLiteral(", "));
        m_before = Resources::now();
    }
    const QStringList files = m_sandbox.otherFiles();
    if (files != m_otherFiles) {
        outcome.violations << QStringLiteral("files elsewhere: ") +
                                  files.join(QStringLiteral(", "));
    }
    if (outcome.stallMs > 2000 * slowness()) {
        outcome.violations << QStringLiteral("hangs for %1 ms").arg(outcome.stallMs);
    }
    m_stallMs = qMax(m_stallMs, outcome.stallMs);
    ++m_ends[outcome.end];
    if (++m_done % 100 == 0) {
        m_resident << residentKb();
    }
    for (const QString& violation : qAsConst(outcome.violations)) {
        ++m_violations;
        std::printf("VIOLATION flow %d, seed %u: %s\n    (%s)\n", number, m_seed,
                    qPrintable(violation), qPrintable(plan.text()));
        std::fflush(stdout);
    }
    return !outcome.violations.contains(QStringLiteral("comes to no end"));
}

// Compares blocks of a hundred flows: the second with the last.
bool Campaign::hasGrown() const
{
    constexpr long allowedKb = 8L * 1024;
    return slowness() == 1 && m_resident.size() > 2 &&
           m_resident.last() - m_resident.at(1) > allowedKb;
}

bool Campaign::report(int count)
{
    QTextStream out(stdout);
    out << "flows: " << m_done << " of " << count << ", seed " << m_seed << '\n';
    for (auto it = m_ends.cbegin(); it != m_ends.cend(); ++it) {
        out << "  " << it.key() << ": " << it.value() << '\n';
    }
    out << "longest stall of the GUI thread: " << m_stallMs << " ms\n";
    out << "descriptors: " << m_before.descriptors.size() << ", threads: " << m_before.threads
        << '\n';
    if (m_resident.size() > 1) {
        const int second = qMin(1, m_resident.size() - 1);
        out << "resident memory after flow " << (second + 1) * 100 << ": " << m_resident.at(second)
            << " KiB, at the end: " << m_resident.last() << " KiB\n";
    }
    if (!m_sandbox.hasSmallDisk()) {
        out << "no file system could be mounted: full disks were played by a limit of file sizes\n";
    }
    if (hasGrown()) {
        ++m_violations;
        out << "VIOLATION: memory has grown\n";
    }
    out << "violations: " << m_violations << '\n';
    return m_violations == 0;
}

} // namespace

int main(int argc, char* argv[])
{
    // Before Qt starts threads; the arguments are parsed without it.
    QStringList arguments;
    for (int i = 1; i < argc; ++i) {
        arguments << QString::fromLocal8Bit(argv[i]);
    }
    const bool isSingle = arguments.value(0) == QLatin1String("--flow");
    const int single = isSingle ? arguments.value(1).toInt() : 0;
    arguments = arguments.mid(isSingle ? 2 : 0);
    const int count = isSingle ? 1 : arguments.isEmpty() ? 2000 : arguments.takeFirst().toInt();
    const quint32 seed = arguments.isEmpty() ? QRandomGenerator::system()->generate()
                                             : arguments.takeFirst().toUInt();
    std::printf("seed %u\n", seed);

    returnLargeBlocks();
    Campaign campaign(seed);
    const QApplication application(argc, argv);
    qInstallMessageHandler(collect);
    campaign.warmUp();
    for (int i = 0; i < count; ++i) {
        const int number = isSingle ? single : i;
        if (isSingle) {
            std::printf("flow %d: %s\n", number, qPrintable(drawPlan(seed, number).text()));
        }
        if (!campaign.runOne(number)) {
            // It is still waiting for something: later results would not be reliable.
            std::fflush(stdout);
            std::_Exit(1);
        }
    }
    return campaign.report(count) ? 0 : 1;
}
