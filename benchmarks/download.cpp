// Downloads compared with curl, each in its own process, from an nginx on this machine, measured
// alternately: as ever, hashed while they arrive, and as one that could be continued.
// bench_download [MEGABYTES]

#include "Figures.h"

#include "download/BodyHash.h"
#include "download/FileHash.h"
#include "download/PartialFile.h"
#include "download/ResumableDownload.h"
#include "install/FileDownloader.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QProcess>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <functional>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>

namespace {

constexpr int rounds = 5;

long peakMemoryMiB()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

/** Runs the event loop; prints the longest time in ms for which it was blocked, and by how many MiB
 * the memory grew. */
void runMeasured(const std::function<void()>& start)
{
    QTimer turns;
    QElapsedTimer turn;
    qint64 longest = 0;
    QObject::connect(&turns, &QTimer::timeout,
                     [&] { longest = std::max(longest, turn.restart()); });
    turns.start(10);
    turn.start();
    const long idle = peakMemoryMiB();
    start();
    QCoreApplication::exec();
    longest = std::max(longest, turn.elapsed());
    std::printf("%lld %ld", longest, peakMemoryMiB() - idle);
}

/** The measured program. */
int download(const QString& way, const QUrl& url, const QString& target)
{
    bool isWhole = false;
    // The first one of a process loads plugins; a client has checked for updates before.
    const QNetworkAccessManager first;
    if (way == QLatin1String("--resumable")) {
        zk::ResumableDownload resumable(url, target, zk::PartialFile::beside(target),
                                        zk::DownloadPolicy{1},
                                        [] { return QNetworkProxy(QNetworkProxy::NoProxy); });
        QObject::connect(
            &resumable, &zk::ResumableDownload::ended, [&](QNetworkReply::NetworkError code) {
                isWhole = code == QNetworkReply::NoError && resumable.hash().size() == 64;
                QCoreApplication::quit();
            });
        resumable.enableHash();
        runMeasured([&] { resumable.start(); });
        return isWhole ? 0 : 1;
    }
    zk::FileDownloader downloader;
    zk::BodyHash hash;
    const bool isHashed = way == QLatin1String("--hashed");
    downloader.setProxy(QNetworkProxy::NoProxy);
    if (isHashed) {
        downloader.setBodyCallback(
            [&hash](const char* data, qint64 size) { hash.add(data, size); });
    }
    downloader.setCompletionCallback([&](const zk::FileDownloader::Result& result) {
        isWhole = result.isWholeFile() && (!isHashed || hash.result().size() == 64);
        QCoreApplication::quit();
    });
    runMeasured([&] { downloader.downloadFile(url, target); });
    return isWhole ? 0 : 1;
}

/** An nginx that serves one folder, run by the current user; stopped by the destructor. */
class Server
{
public:
    explicit Server(const QString& folder)
    {
        QTcpServer free;
        free.listen(QHostAddress::LocalHost);
        m_port = free.serverPort();
        free.close();
        QFile file(folder + QStringLiteral("/nginx.conf"));
        (void)file.open(QIODevice::WriteOnly);
        QByteArray text = "daemon off; pid D/pid; error_log D/errors; user root; events {}\nhttp { "
                          "access_log off; sendfile on;\n";
        for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
            text += QByteArray(kind) + "_temp_path D/tmp;\n";
        }
        text += "server { listen 127.0.0.1:" + QByteArray::number(m_port) + "; root D; } }\n";
        file.write(text.replace('D', folder.toUtf8()));
        file.close();
        m_process.start(QStringLiteral("nginx"), {QStringLiteral("-c"), file.fileName()});
        QThread::msleep(300);
    }
    ~Server()
    {
        m_process.terminate();
        m_process.waitForFinished();
    }
    Q_DISABLE_COPY(Server)

    [[nodiscard]] bool isRunning()
    {
        return m_process.waitForStarted() && !m_process.waitForFinished(200);
    }
    [[nodiscard]] QString url(const char* name) const
    {
        return QStringLiteral("http://127.0.0.1:%1/%2").arg(m_port).arg(QLatin1String(name));
    }

private:
    QProcess m_process;
    int m_port = 0;
};

struct Run
{
    double milliseconds = 0;
    double longestTurn = 0;
    long grownMiB = 0;
};

/** Runs a program to its end. */
Run measured(const QStringList& command)
{
    int output[2];
    (void)!::pipe(output);
    QElapsedTimer clock;
    clock.start();
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(output[1], STDOUT_FILENO);
        std::vector<QByteArray> texts;
        std::vector<char*> arguments;
        for (const QString& text : command) {
            texts.push_back(text.toUtf8());
        }
        std::transform(texts.begin(), texts.end(), std::back_inserter(arguments),
                       [](QByteArray& text) { return text.data(); });
        arguments.push_back(nullptr);
        ::execvp(arguments.front(), arguments.data());
        ::_exit(127);
    }
    ::close(output[1]);
    int status = 0;
    ::waitpid(child, &status, 0);
    Run run{double(clock.elapsed()), 0, 0};
    char text[64] = "";
    (void)!::read(output[0], text, sizeof text - 1);
    ::close(output[0]);
    std::sscanf(text, "%lf %ld", &run.longestTurn, // NOLINT: nothing is no time
                &run.grownMiB);
    if (status != 0) {
        std::fprintf(stderr, "%s failed\n", qUtf8Printable(command.first()));
        std::exit(1);
    }
    return run;
}

/** One way to download, and what it took. */
struct Way
{
    const char* option;
    const char* name;
    std::vector<double> times;
    std::vector<double> ratios;
    double longestTurn;
    long grownMiB;

    void add(const Run& run, double curl)
    {
        times.push_back(run.milliseconds);
        ratios.push_back(run.milliseconds / curl);
        longestTurn = std::max(longestTurn, run.longestTurn);
        grownMiB = std::max(grownMiB, run.grownMiB);
    }
};

int compare(int megabytes)
{
    const QTemporaryDir place;
    QFile file(place.filePath(QStringLiteral("package.exe")));
    QByteArray piece(1'000'000, Qt::Uninitialized);
    (void)file.open(QIODevice::WriteOnly);
    for (int i = 0; i < megabytes; ++i) {
        QRandomGenerator::global()->fillRange(reinterpret_cast<quint32*>(piece.data()),
                                              piece.size() / 4);
        file.write(piece);
    }
    file.close();
    Server server(place.path());
    if (!server.isRunning()) {
        std::fprintf(stderr, "download: nginx could not be started (is it installed?)\n");
        return 0;
    }
    const QString url = server.url("package.exe");
    const QString target = place.filePath(QStringLiteral("target"));
    std::vector<double> curls;
    std::vector<double> hashing;
    Way ways[] = {{"--download", "to the whole file", {}, {}, 0, 0},
                  {"--hashed", "... hashed on its way", {}, {}, 0, 0},
                  {"--resumable", "... as one that can be continued, hashed", {}, {}, 0, 0}};
    for (int round = 0; round < rounds; ++round) {
        QFile::remove(target);
        curls.push_back(
            measured({QStringLiteral("curl"), QStringLiteral("-so"), target, url}).milliseconds);
        QElapsedTimer clock;
        clock.start();
        (void)file.open(QIODevice::ReadOnly);
        (void)zk::hashOf<trust::Blake2b512>(file);
        file.close();
        hashing.push_back(double(clock.elapsed()));
        for (Way& way : ways) {
            QFile::remove(target);
            way.add(measured({QCoreApplication::applicationFilePath(), QLatin1String(way.option),
                              url, target}),
                    curls.back());
        }
    }
    for (const Way& way : ways) {
        printFigure(QStringLiteral("download of %1 MB, %2")
                        .arg(QString::number(megabytes), QLatin1String(way.name)),
                    milliseconds(median(way.times)),
                    QStringLiteral("curl ") + milliseconds(median(curls)),
                    QStringLiteral("%1 of curl's").arg(median(way.ratios), 0, 'f', 2));
        printFigure(QStringLiteral("... longest turn of the event loop"),
                    milliseconds(way.longestTurn));
        printFigure(QStringLiteral("... memory above idle"),
                    QStringLiteral("%1 MiB").arg(way.grownMiB));
    }
    printFigure(QStringLiteral("hashing of the same bytes alone"), milliseconds(median(hashing)));
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1).startsWith(QLatin1String("--"))) {
        return download(arguments.value(1), QUrl(arguments.value(2)), arguments.value(3));
    }
    return compare(arguments.value(1, QStringLiteral("500")).toInt());
}
