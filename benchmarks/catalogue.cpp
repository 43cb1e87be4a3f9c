// Benchmarks register themselves through static objects.
// clazy:excludeall=non-pod-global-static

// The cost of parsing an update document compared with loading its XML only, and of selecting
// packages from it.

#include "Figures.h"

#include "install/DownloadManager.h"

#include <QBuffer>
#include <QDomDocument>
#include <QFile>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <vector>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <benchmark/benchmark.h>

using namespace zk;

namespace {

/** A typical document: sets with shared values, a file element, links, a comment. */
QByteArray makeDocument(int packages)
{
    QByteArray text("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                    "<softwareList base-url=\"https://updates.example.com/files/\">\n"
                    "  <package-set type=\"Application\" name=\"Camera Desk\" status=\"STABLE\" "
                    "language=\"en de\">\n");
    for (int i = 0; i < packages; ++i) {
        const QByteArray release = QByteArray::number(1 + i % 50) + '.' + QByteArray::number(i);
        const QByteArray platform = i % 2 ? "Win32" : "Win64";
        text +=
            "    <package platform=\"" + platform + "\" release=\"" + release +
            "\" public-release=\"" + QByteArray::number(1 + i % 50) + "\" release-date=\"2026-" +
            QByteArray::number(10 + i % 3) + "-" + QByteArray::number(10 + i % 20) +
            " 14:05:" + QByteArray::number(10 + i % 50) + "\">\n" + "      <file url=\"desk/desk-" +
            release + "-" + platform + ".exe\" file-size=\"" + QByteArray::number(1000000 + i) +
            "\"/>\n" + "      <release-notes url=\"notes/desk-" + release + "_en.html\"/>\n" +
            "      <release-notes language=\"de\" url=\"notes/desk-" + release + "_de.html\"/>\n" +
            "      <comment>Maintenance release</comment>\n"
            "    </package>\n";
    }
    return text + "  </package-set>\n</softwareList>\n";
}

PackageInfoList parse(const QByteArray& document)
{
    QBuffer buffer;
    buffer.setData(document);
    buffer.open(QIODevice::ReadOnly);
    return DownloadManager::parseXML(&buffer);
}

// Peak resident memory of this process since the last call, in MiB; 0 if the system does not report
// it.
double takePeakMemory()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const QByteArray text = status.readAll();
#ifdef __GLIBC__
    malloc_trim(0); // memory freed by an earlier benchmark must not count
#endif
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
    if (reset.open(QIODevice::WriteOnly)) {
        reset.write("5");
    }
    return text.mid(text.indexOf("VmHWM:") + 6).trimmed().split(' ').first().toDouble() / 1024;
}

// Loads the XML into a QDomDocument without reading values, freeing included.
void setContent(const QByteArray& bytes)
{
    QDomDocument document;
    if (!document.setContent(bytes)) {
        std::abort();
    }
}

// glibc merges freed blocks only when a larger one is requested, so the next run would pay for it.
void settleHeap()
{
    static void* volatile block;
    block = std::malloc(size_t(64) * 1024);
    std::free(block);
}

double millisecondsOf(const std::function<void()>& work)
{
    settleHeap();
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

double peakMemoryOf(const std::function<void()>& work)
{
    takePeakMemory();
    work();
    return takePeakMemory();
}

double best(const std::vector<double>& values)
{
    return *std::min_element(values.begin(), values.end());
}

// Measured alternately, so other load of the machine affects both.
void parseXMLBesideSetContent(benchmark::State& state)
{
    const QByteArray bytes = makeDocument(int(state.range(0)));
    const auto load = [&bytes] { setContent(bytes); };
    const auto read = [&bytes, &state] {
        if (parse(bytes).size() != state.range(0)) {
            state.SkipWithError("packages were lost");
        }
    };
    std::vector<double> loading;
    std::vector<double> reading;
    std::vector<double> ratios;
    for ([[maybe_unused]] auto _ : state) {
        loading.push_back(millisecondsOf(load));
        reading.push_back(millisecondsOf(read));
        ratios.push_back(reading.back() / loading.back());
        state.SetIterationTime(reading.back() / 1000);
    }
    state.counters["setContent_ms"] = best(loading);
    state.counters["parseXML_ms"] = best(reading);
    state.counters["ratio"] = median(ratios);
    state.counters["setContent_MiB"] = peakMemoryOf(load);
    const double memory = peakMemoryOf(read);
    state.counters["parseXML_MiB"] = memory;
    printFigure(
        QStringLiteral("document of %1 packages").arg(state.range(0)), milliseconds(best(reading)),
        QStringLiteral("setContent ") + milliseconds(best(loading)),
        QStringLiteral("%1 of it; %2 MiB").arg(median(ratios), 0, 'f', 2).arg(memory, 0, 'f', 0));
}

PackageInfo product()
{
    return PackageInfo(
        QString(), QStringLiteral("Camera Desk"), QStringLiteral("1.0"), QStringLiteral("STABLE"),
        QDateTime(), {QStringLiteral("Win32"), QStringLiteral("Win64")}, {}, QString(), QString());
}

// The growth of the time from a document with a tenth of the packages, also measured alternately.
void parseXMLGrowth(benchmark::State& state)
{
    const QByteArray large = makeDocument(int(state.range(0)));
    const QByteArray small = makeDocument(int(state.range(0)) / 10);
    std::vector<double> ratios;
    for ([[maybe_unused]] auto _ : state) {
        const double smallTime = millisecondsOf([&small] { parse(small); });
        const double largeTime = millisecondsOf([&large] { parse(large); });
        ratios.push_back(largeTime / smallTime);
        state.SetIterationTime(largeTime / 1000);
    }
    state.counters["growth"] = median(ratios);
    printFigure(QStringLiteral("... of ten times the packages"), QString(), QString(),
                QStringLiteral("%1 times the time").arg(median(ratios), 0, 'f', 1));
}

// The time of a selection without copying the list, which it needs because it changes it.
void besideCopying(benchmark::State& state, const char* what,
                   const std::function<void(PackageInfoList&)>& select)
{
    const PackageInfoList packages = parse(makeDocument(int(state.range(0))));
    std::vector<double> copying;
    std::vector<double> selecting;
    for ([[maybe_unused]] auto _ : state) {
        copying.push_back(millisecondsOf([&packages] {
            PackageInfoList copy = packages;
            copy.detach();
        }));
        selecting.push_back(millisecondsOf([&packages, &select] {
            PackageInfoList copy = packages;
            copy.detach();
            select(copy);
        }));
        state.SetIterationTime(selecting.back() / 1000);
    }
    const double beyond = best(selecting) - best(copying);
    state.counters["copy_ms"] = best(copying);
    state.counters["beyond_copy_ms"] = beyond;
    printFigure(QStringLiteral("%1 among %2").arg(QLatin1String(what)).arg(state.range(0)),
                milliseconds(beyond));
}

void findPackageCandidates(benchmark::State& state)
{
    besideCopying(state, "findPackageCandidates", [](PackageInfoList& packages) {
        benchmark::DoNotOptimize(DownloadManager::findPackageCandidates(
            packages, product(), QStringLiteral("Application"), {QStringLiteral("exe")}));
    });
}

void eliminateDuplicatePackages(benchmark::State& state)
{
    besideCopying(state, "eliminateDuplicatePackages", DownloadManager::eliminateDuplicatePackages);
}

void beside(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Unit(benchmark::kMillisecond)->UseManualTime();
}

BENCHMARK(parseXMLBesideSetContent)->Apply(beside)->Arg(100)->Iterations(500);
BENCHMARK(parseXMLBesideSetContent)->Apply(beside)->Arg(1000)->Iterations(100);
BENCHMARK(parseXMLBesideSetContent)->Apply(beside)->Arg(10000)->Iterations(15);
BENCHMARK(parseXMLBesideSetContent)->Apply(beside)->Arg(100000)->Iterations(5);
BENCHMARK(parseXMLGrowth)->Apply(beside)->Arg(10000)->Iterations(15);
BENCHMARK(findPackageCandidates)->Apply(beside)->Arg(100000)->Iterations(7);
BENCHMARK(eliminateDuplicatePackages)->Apply(beside)->Arg(100000)->Iterations(7);

} // namespace

BENCHMARK_MAIN();
