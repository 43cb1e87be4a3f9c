// Unpacking a large archive with ZipReader, compared with the usual programs and a plain copy of
// the tree, measured alternately on the same disk: the machine's speed drifts, ratios do not. The
// disk is synchronised before each measurement.

#include "Figures.h"

#include "support/Exception.h"
#include "support/ZipReader.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr int rounds = 5;

QByteArray randomWord(QRandomGenerator& random)
{
    static const QByteArray letters("abcdefghijklmnopqrstuvwxyz_ ;(){}\n");
    QByteArray word;
    for (int left = random.bounded(3, 12); left > 0; --left) {
        word += letters.at(random.bounded(letters.size()));
    }
    return word;
}

/** Of ten files six are text, three are like programs, one is incompressible. */
QByteArray contents(int kind, int size, const QList<QByteArray>& words, QRandomGenerator& random)
{
    QByteArray bytes;
    bytes.reserve(size + 64);
    while (bytes.size() < size) {
        if (kind < 6) {
            bytes += words.at(random.bounded(words.size())) + ' ';
        } else {
            for (int i = 0; i < 5; ++i) {
                const quint32 number = random.generate();
                bytes.append(reinterpret_cast<const char*>(&number), sizeof(number));
            }
            if (kind < 9) {
                bytes += QByteArray(random.bounded(4, 30), '\0') +
                         words.at(random.bounded(words.size()));
            }
        }
    }
    bytes.truncate(size);
    return bytes;
}

struct TreeSize
{
    qint64 total = 0;
    qint64 largest = 0;
};

/** Creates @p files files of very different sizes, about @p total bytes; nothing on failure. */
TreeSize makeTree(const QDir& folder, int files, qint64 total)
{
    QRandomGenerator random(7);
    QList<QByteArray> words;
    for (int i = 0; i < 4000; ++i) {
        words << randomWord(random);
    }
    TreeSize made;
    const double mean = double(total) / files;
    for (int i = 0; i < files; ++i) {
        // Most files are small; a few contain most of the bytes.
        const double size = mean * std::pow(-std::log(1 - random.generateDouble()), 1.7) / 1.54;
        const int bounded = int(std::min(size, 8e6)) + 1000;
        const QString path =
            folder.filePath(QStringLiteral("d%1/s%2/file%3.bin").arg(i % 40).arg(i % 5).arg(i));
        QFile file(path);
        if (!QDir().mkpath(QFileInfo(path).path()) || !file.open(QIODevice::WriteOnly) ||
            file.write(contents(i % 10, bounded, words, random)) != bounded) {
            return {};
        }
        made.total += bounded;
        made.largest = std::max<qint64>(made.largest, bounded);
    }
    return made;
}

struct Contestant
{
    const char* name;
    QString program;
    QStringList arguments;
    std::vector<double> times = {}; // none on failure
};

/** Milliseconds, -1 on failure. Stores the printed text in @p output. */
qint64 timed(const Contestant& contestant, QByteArray& output)
{
    QProcess process;
    QElapsedTimer timer;
    timer.start();
    process.start(contestant.program, contestant.arguments, QIODevice::ReadOnly);
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        return -1;
    }
    const qint64 elapsed = timer.elapsed();
    output = process.readAllStandardOutput();
    return elapsed;
}

/** The measured program: prints its peak memory in MiB. */
int extract(const QString& archive, const QString& target)
{
    try {
        zk::ZipReader reader(archive);
        reader.open(QIODevice::NotOpen);
        reader.extractFiles(target, QRegExp(), QString(), true, reader.fileList());
    } catch (const zk::IOException& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%ld", usage.ru_maxrss / 1024);
    return 0;
}

int compare(int megabytes, int files)
{
    const QTemporaryDir place;
    const QString tree = place.filePath(QStringLiteral("tree"));
    const QString archive = place.filePath(QStringLiteral("tree.zip"));
    const QString out = place.filePath(QStringLiteral("out"));
    const TreeSize made = makeTree(QDir(tree), files, qint64(megabytes) * 1'000'000);
    QProcess zip;
    zip.setWorkingDirectory(tree);
    zip.start(QStringLiteral("zip"), {QStringLiteral("-qr"), archive, QStringLiteral(".")});
    if (made.total == 0 || !zip.waitForFinished(-1) || zip.exitCode() != 0) {
        std::fprintf(stderr, "the tree or its archive could not be made (is zip installed?)\n");
        return 1;
    }
    QList<Contestant> all{
        {"ZipReader",
         QCoreApplication::applicationFilePath(),
         {QStringLiteral("--extract"), archive, out}},
        {"unzip",
         QStringLiteral("unzip"),
         {QStringLiteral("-q"), archive, QStringLiteral("-d"), out}},
        {"7z", QStringLiteral("7z"), {QStringLiteral("x"), QStringLiteral("-o") + out, archive}},
        {"bsdtar",
         QStringLiteral("bsdtar"),
         {QStringLiteral("-xf"), archive, QStringLiteral("-C"), out}},
        {"cp -r", QStringLiteral("cp"), {QStringLiteral("-r"), tree, out}},
    };
    int memory = 0;
    for (int round = 0; round < rounds; ++round) {
        for (Contestant& contestant : all) {
            QDir(out).removeRecursively();
            QDir().mkpath(out);
            sync();
            QByteArray output;
            const qint64 elapsed = timed(contestant, output);
            if (elapsed >= 0) {
                contestant.times.push_back(double(elapsed));
            }
            memory = &contestant == &all.first() ? std::max(memory, output.toInt()) : memory;
        }
    }
    std::printf("archive %lld MB, largest file %.1f MB; median of %d turns each\n",
                QFileInfo(archive).size() / 1'000'000, double(made.largest) / 1e6, rounds);
    if (all.first().times.empty()) {
        return 1;
    }
    const double ours = median(all.first().times);
    for (const Contestant& contestant : std::as_const(all)) {
        const bool isOurs = &contestant == &all.first();
        const double theirs = contestant.times.empty() ? 0 : median(contestant.times);
        const QString time = theirs > 0 ? milliseconds(theirs) : QStringLiteral("not there");
        printFigure(isOurs ? QStringLiteral("unpacking %1 MB in %2 files")
                                 .arg(made.total / 1'000'000)
                                 .arg(files)
                           : QStringLiteral("..."),
                    isOurs ? time : QString(),
                    isOurs ? QString() : QLatin1String(contestant.name) + QLatin1Char(' ') + time,
                    isOurs ? QStringLiteral("%1 MiB").arg(memory)
                           : QStringLiteral("%1 times ours").arg(theirs / ours, 0, 'f', 2));
    }
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == QLatin1String("--extract")) {
        return extract(arguments.value(2), arguments.value(3));
    }
    // Megabytes and number of files.
    return compare(arguments.value(1, QStringLiteral("500")).toInt(),
                   arguments.value(2, QStringLiteral("2000")).toInt());
}
