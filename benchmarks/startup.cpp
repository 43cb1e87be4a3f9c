// The library's share of a host's start-up: loading it, and init(). Each in a new process with Qt
// loaded. The first network access manager of a process loads Qt plug-ins; this is measured
// separately, since init() creates one and pays for it in a host that has none yet.

#include "Figures.h"

#include <QApplication>
#include <QDomDocument>
#include <QElapsedTimer>
#include <QLibrary>
#include <QNetworkAccessManager>
#include <QProcess>

#include <algorithm>
#include <vector>

namespace {

constexpr int rounds = 21;

double elapsed(const QElapsedTimer& clock)
{
    return double(clock.nsecsElapsed()) / 1e6;
}

int once()
{
    // A host has these Qt libraries loaded and used.
    const QDomDocument document;
    QElapsedTimer clock;
    clock.start();
    const QNetworkAccessManager manager;
    const double network = elapsed(clock);
    clock.start();
    QLibrary module(QStringLiteral(STARTUP_MODULE));
    const auto init = module.resolve("initClient");
    const double loading = elapsed(clock);
    if (!init) {
        std::fprintf(stderr, "%s\n", qUtf8Printable(module.errorString()));
        return 1;
    }
    clock.start();
    init();
    std::printf("%f %f %f", loading, elapsed(clock), network);
    std::fflush(stdout);
    // The library's objects live as long as the process.
    std::_Exit(0);
}

} // namespace

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    if (argc > 1) {
        return once();
    }
    std::vector<double> loads;
    std::vector<double> inits;
    std::vector<double> managers;
    for (int round = 0; round < rounds; ++round) {
        QProcess process;
        process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--once")});
        process.waitForFinished();
        const QList<QByteArray> times = process.readAllStandardOutput().split(' ');
        loads.push_back(times.value(0).toDouble());
        inits.push_back(times.value(1).toDouble());
        managers.push_back(times.value(2).toDouble());
    }
    printFigure(QStringLiteral("start-up: loading the library"), milliseconds(median(loads)));
    printFigure(QStringLiteral("start-up: init()"), milliseconds(median(inits)),
                QStringLiteral("Qt's network ") + milliseconds(median(managers)),
                milliseconds(median(loads) + median(inits)) + QStringLiteral(" in all"));
    return 0;
}
