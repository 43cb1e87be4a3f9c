#include "LogCapture.h"
#include "Rows.h"
#include "ScriptedServer.h"

#include "install/FileDownloader.h"

#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace zk;
using test::Answer;

class tst_FileDownloader : public QObject
{
    Q_OBJECT

private slots:
    void downloads_data();
    void downloads();
    void followsFiftyRedirectsAndNoMore();
    void keepsTheTailOfALongerFile();
    void saysWhenTheFileCannotBeWritten_data();
    void saysWhenTheFileCannotBeWritten();
    void reportsProgress();
    void aborts();
    void tellsOutdatedRepliesApart();
    void survivesItsOwnDeletion_data();
    void survivesItsOwnDeletion();
    void logsEachReply();
};

namespace {

QByteArray content(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

/** A downloader with a server, and everything it says, in order. */
struct Fixture
{
    QTemporaryDir folder;
    QString path = folder.filePath(QStringLiteral("new/folder/setup.exe"));
    test::ScriptedServer server;
    FileDownloader* downloader = new FileDownloader;
    QStringList events;
    FileDownloader::Result result;

    Fixture()
    {
        QObject::connect(downloader, &FileDownloader::error, downloader,
                         [this](QNetworkReply::NetworkError code) {
                             events << QStringLiteral("error %1").arg(code);
                         });
        QObject::connect(downloader, &FileDownloader::finished, downloader,
                         [this](const QString& file) {
                             events << (file == path ? QStringLiteral("finished") : file);
                         });
        downloader->setCompletionCallback([this](const FileDownloader::Result& ended) {
            result = ended;
            events << QStringLiteral("%1 %2%3%4")
                          .arg(ended.isWholeFile() ? QStringLiteral("whole")
                                                   : QStringLiteral("not whole"))
                          .arg(ended.httpStatus)
                          .arg(ended.allWritten ? QString() : QStringLiteral(" unwritten"),
                               ended.isOutdated ? QStringLiteral(" outdated") : QString());
        });
    }
    ~Fixture() { delete downloader; }

    void start(const QByteArray& route) const { downloader->downloadFile(server.url(route), path); }
    [[nodiscard]] QString said() const { return events.join(QStringLiteral(", ")); }
};

} // namespace

void tst_FileDownloader::downloads_data()
{
    test::columns<QList<Answer>, QString, QByteArray, int>("answers", "events", "file", "requests");
    const QByteArray body(300000, 'x');
    const auto whole = QStringLiteral("whole 200, finished");
    const auto row = [](const char* name, const QList<Answer>& answers, const QString& events,
                        const QByteArray& file) {
        test::row(name, answers, events, file, answers.size());
    };
    const Answer ok = test::http(200, body);
    row("a file", {ok}, whole, body);
    row("an empty file", {test::http(200)}, whole, "");
    row("a body without length", {Answer{"HTTP/1.1 200 OK\r\n\r\nabc", Answer::eClose}}, whole,
        "abc");
    row("drip by drip", {Answer{test::http(200, "slow").bytes, Answer::eClose, 1}}, whole, "slow");
    for (const int status : {301, 302, 303, 307, 308}) {
        const QByteArray name = "redirect " + QByteArray::number(status);
        row(name.constData(), {test::redirect(status, "/file"), ok}, whole, body);
    }
    row("chain there and back and there again",
        {test::redirect(302, "/other"), test::redirect(302, "/file"), ok}, whole, body);
    row("redirect to itself", {test::redirect(301, "/start", "moved")},
        QStringLiteral("not whole 301, finished"), "moved");
    row("redirect without target", {test::redirect(302, QByteArray(), "where?")},
        QStringLiteral("not whole 302, finished"), "where?");
    row("no content", {test::http(204)}, QStringLiteral("not whole 204, finished"), "");
    row("not modified", {test::http(304)}, QStringLiteral("not whole 304, finished"), "");
    row("use proxy is no redirect", {test::http(305, "p", "Location: /file\r\n")},
        QStringLiteral("not whole 305, finished"), "p");
    row("part of a file", {test::http(206, "part")}, QStringLiteral("not whole 206, finished"),
        "part");
    row("error page", {test::http(404, "<html/>")},
        QStringLiteral("error 203, not whole 404, finished"), "<html/>");
    row("server error", {test::http(500, "oops")},
        QStringLiteral("error 401, not whole 500, finished"), "oops");
    row("cut in the middle", {test::partial(body, 150000, Answer::eClose)},
        QStringLiteral("error 2, not whole 200, finished"), body.left(150000));
    // printf '%01000d' 0 | gzip -9
    const QByteArray packed =
        QByteArray::fromHex("1f8b080000000000020333301805a360140c77000083995fa8e8030000");
    row("a compressed body", {test::http(200, packed, "Content-Encoding: gzip\r\n")}, whole,
        QByteArray(1000, '0'));
    // How often these two are tried is the network's affair.
    row("reset before the answer", {Answer{{}, Answer::eReset}},
        QStringLiteral("error 2, not whole 0, finished"), "");
    row("no HTTP at all", {Answer{"220 mail ready\r\n\r\n", Answer::eClose}},
        QStringLiteral("error 2, not whole 0, finished"), "");
}

void tst_FileDownloader::downloads()
{
    QFETCH(QList<Answer>, answers);
    QFETCH(QString, events);
    QFETCH(QByteArray, file);
    QFETCH(int, requests);
    if (answers.first().end == Answer::eReset && !test::isResetNoticed) {
        QSKIP("Wine does not always tell of a reset");
    }
    Fixture f;
    f.server.answer("/start", answers.first());
    f.server.answer("/other", answers.value(1));
    f.server.answer("/file", answers.last());
    if (answers.size() == 3) {
        f.server.answer("/file", {test::redirect(302, "/start"), answers.last()});
        f.server.answer("/start", {answers.first(), test::redirect(302, "/file")});
        requests = 5;
    }
    f.start("/start");
    QTRY_VERIFY(f.events.contains(QStringLiteral("finished")));
    QCOMPARE(f.said(), events);
    QCOMPARE(content(f.path), file);
    if (file != "" || answers.size() > 1) {
        QCOMPARE(f.server.requests().size(), requests);
    }
}

void tst_FileDownloader::followsFiftyRedirectsAndNoMore()
{
    Fixture f;
    QList<Answer> there;
    for (int i = 0; i < FileDownloader::maximumRedirects / 2; ++i) {
        there << test::redirect(302, "/b");
    }
    f.server.answer("/b", test::redirect(302, "/a", "page"));
    for (int download = 0; download < 2; ++download) {
        // The hops of one download are not held against the next.
        f.server.answer("/a", there + QList<Answer>{test::http(200, "at last")});
        f.start("/a");
        QTRY_COMPARE(f.said(), QStringLiteral("whole 200, finished"));
        f.events.clear();
    }
    QCOMPARE(content(f.path), QByteArray("at last"));
    const int requests = f.server.requests().size();
    f.path = f.folder.filePath(QStringLiteral("never"));
    f.server.answer("/a", test::redirect(302, "b"));
    f.start("/a");
    QTRY_COMPARE(f.said(), QStringLiteral("error %1, not whole 302 unwritten")
                               .arg(QNetworkReply::TooManyRedirectsError));
    QCOMPARE(f.server.requests().size() - requests, 1 + FileDownloader::maximumRedirects);
    QVERIFY(!QFileInfo::exists(f.path));
}

void tst_FileDownloader::keepsTheTailOfALongerFile()
{
    Fixture f;
    f.path = f.folder.filePath(QStringLiteral("there already"));
    QFile file(f.path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("0123456789") == 10);
    file.close();
    f.server.answer("/a", test::http(200, "abc"));
    f.start("/a");
    QTRY_COMPARE(f.said(), QStringLiteral("whole 200, finished"));
    QCOMPARE(content(f.path), QByteArray("abc3456789"));
}

void tst_FileDownloader::saysWhenTheFileCannotBeWritten_data()
{
    test::columns<QString, QString>("blockedBy", "events");
    test::row("a folder in place of the file", "folder", "not whole 200 unwritten");
    test::row("a file in place of the folder", "file", "not whole 200 unwritten");
    test::row("a full disk", "disk", "not whole 200 unwritten, finished");
}

void tst_FileDownloader::saysWhenTheFileCannotBeWritten()
{
    QFETCH(QString, blockedBy);
    QFETCH(QString, events);
    Fixture f;
    if (blockedBy == QLatin1String("folder")) {
        QVERIFY(QDir().mkpath(f.path));
    } else if (blockedBy == QLatin1String("file")) {
        QFile file(f.folder.filePath(QStringLiteral("new")));
        QVERIFY(file.open(QIODevice::WriteOnly));
    } else {
        f.path = f.folder.filePath(QStringLiteral("link"));
        if (!QFileInfo::exists(QStringLiteral("/dev/full"))) {
            QSKIP("there is no device that is always full");
        }
        QVERIFY(QFile::link(QStringLiteral("/dev/full"), f.path));
    }
    f.server.answer("/a", test::http(200, "abc"));
    f.start("/a");
    QTRY_VERIFY(!f.events.isEmpty());
    QCoreApplication::processEvents();
    QCOMPARE(f.said(), events);
}

void tst_FileDownloader::reportsProgress()
{
    Fixture f;
    const QByteArray body(1000, 'x');
    f.server.answer("/a", test::partial(body, 40, Answer::eSilence));
    QSignalSpy progress(f.downloader, &FileDownloader::progress);
    f.start("/a");
    QTRY_VERIFY(!progress.isEmpty());
    QVERIFY(progress.last()[0].toLongLong() > 0 && progress.last()[0].toLongLong() < 1000);
    QCOMPARE(progress.last()[1].toLongLong(), 1000);
    f.server.finish(body.mid(40));
    QTRY_COMPARE(f.said(), QStringLiteral("whole 200, finished"));
    QCOMPARE(progress.last()[0].toLongLong(), 1000);
}

void tst_FileDownloader::aborts()
{
    Fixture f;
    f.downloader->abortDownload();
    QVERIFY(f.events.isEmpty());

    f.server.answer("/a", test::partial(QByteArray(1000, 'x'), 40, Answer::eSilence));
    QSignalSpy progress(f.downloader, &FileDownloader::progress);
    f.start("/a");
    QTRY_VERIFY(!progress.isEmpty());
    f.downloader->abortDownload();
    QVERIFY(f.said().startsWith(QLatin1String("error 5, not whole 200")));
    QCOMPARE(f.events.last(), QStringLiteral("finished"));

    f.events.clear();
    f.downloader->abortDownload();
    QTRY_VERIFY(f.events.isEmpty());
}

void tst_FileDownloader::tellsOutdatedRepliesApart()
{
    Fixture f;
    f.server.answer("/old", Answer{test::http(200, "late").bytes, Answer::eClose, 1});
    f.server.answer("/new", Answer{{}, Answer::eSilence});
    f.start("/old");
    QTRY_COMPARE(f.server.requests().size(), 1);
    f.path = f.folder.filePath(QStringLiteral("second"));
    f.start("/new");
    QTRY_VERIFY(!f.events.filter(QStringLiteral("outdated")).isEmpty());
    QVERIFY(f.result.isOutdated);
    QCOMPARE(f.events.last(), QStringLiteral("finished"));
}

void tst_FileDownloader::survivesItsOwnDeletion_data()
{
    test::columns<int, bool>("status", "onError");
    test::row("in the callback", 200, false);
    test::row("in the callback after an error", 404, false);
    test::row("when the error is told, deferred", 404, true);
}

void tst_FileDownloader::survivesItsOwnDeletion()
{
    QFETCH(int, status);
    QFETCH(bool, onError);
    Fixture f;
    const QPointer<FileDownloader> guard(f.downloader);
    const auto destroy = [&f] { delete std::exchange(f.downloader, nullptr); };
    if (onError) {
        QObject::connect(f.downloader, &FileDownloader::error, f.downloader, &QObject::deleteLater);
    } else {
        f.downloader->setCompletionCallback(
            [destroy](const FileDownloader::Result& /*ended*/) { destroy(); });
    }
    f.server.answer("/a", test::http(status, "abc"));
    f.start("/a");
    QTRY_VERIFY(!guard);
    f.downloader = nullptr;
    QVERIFY(!f.events.contains(QStringLiteral("finished")) || onError);
}

void tst_FileDownloader::logsEachReply()
{
    const test::LogCapture log;
    Fixture f;
    f.server.answer("/a", test::redirect(302, "b?key=1"));
    f.server.answer("/b?key=1", test::http(200, "abc"));
    f.start("/a");
    QTRY_VERIFY(f.events.contains(QStringLiteral("finished")));
    QStringList expected =
        test::lines(" : 0 : Unknown error\n finished : 1\n downloaded : 0\n http status : 302\n"
                    "redirect : b?key=1\ncomplete redirect url: URL\n"
                    " : 0 : Unknown error\n finished : 1\n downloaded : 3\n http status : 200");
    expected.replaceInStrings(QStringLiteral("URL"), f.server.url("/b?key=1").toString());
    for (QString& line : expected) {
        line.prepend(QStringLiteral("[zk::FileDownloader::fileDownloaded] "));
    }
    QCOMPARE(log.lines(Log::eInfo), expected);
}

QTEST_GUILESS_MAIN(tst_FileDownloader)
#include "tst_FileDownloader.moc"
