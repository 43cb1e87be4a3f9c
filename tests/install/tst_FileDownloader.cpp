#include "EndlessServer.h"
#include "Environment.h"
#include "Files.h"
#include "Rows.h"
#include "ScriptedServer.h"

#include "install/FileDownloader.h"
#include "support/LinkRule.h"

#include <QDir>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTemporaryDir>

#ifdef Q_OS_UNIX
#include <sys/resource.h>

#include <csignal>
#endif

using namespace zk;
using namespace zk::test;

namespace {

/** A downloader with a server, and everything it says, in order. */
struct Fixture
{
    QTemporaryDir folder;
    QString path = folder.filePath(u"new/folder/setup.exe"_s);
    ScriptedServer server;
    FileDownloader* downloader = new FileDownloader;
    QStringList events;
    /** What the system said of the last one. */
    QString reason;

    Fixture()
    {
        QObject::connect(downloader, &FileDownloader::error, downloader,
                         [this](int code) { events << u"error %1"_s.arg(code); });
        QObject::connect(
            downloader, &FileDownloader::finished, downloader,
            [this](const QString& file) { events << (file == path ? u"finished"_s : file); });
        downloader->setCompletionCallback([this](const FileDownloader::Result& ended) {
            reason = ended.systemError;
            events << u"%1whole %2%3%4"_s.arg(ended.isWholeFile() ? QString() : u"not "_s)
                          .arg(ended.httpStatus)
                          .arg(ended.allWritten ? QString() : u" unwritten"_s,
                               ended.isOutdated ? u" outdated"_s : QString());
        });
    }
    ~Fixture()
    {
        delete downloader;
        test::waitForRetiredManagers();
    }

    void start(const QByteArray& route) const { downloader->downloadFile(server.url(route), path); }
    QString said() const { return events.join(u", "_s); }
};

/** Makes writing more than a megabyte to a file fail, as on a disk that gets full. */
class FileSizeLimit
{
#ifdef Q_OS_UNIX
public:
    FileSizeLimit()
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_usual);
        const rlimit limit = {1'000'000, m_usual.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_usual);
    }
    Q_DISABLE_COPY(FileSizeLimit)

private:
    rlimit m_usual = {};
#endif
};

} // namespace

class tst_FileDownloader : public QObject
{
    Q_OBJECT

private slots:
    void followsFiftyRedirectsAndNoMore()
    {
        Fixture f;
        QList<Answer> there;
        for (int i = 0; i < maximumRedirects / 2; ++i) {
            there << redirect(302, "/b");
        }
        f.server.answer("/b", redirect(302, "/a", "page"));
        for (int download = 0; download < 2; ++download) {
            // The hops of one download are not held against the next.
            f.server.answer("/a", there + QList<Answer>{http(200, "at last")});
            f.start("/a");
            QTRY_COMPARE(f.said(), u"whole 200, finished"_s);
            f.events.clear();
        }
        QCOMPARE(readFile(f.path), QByteArray("at last"));
        f.server.forgetRequests();
        f.path = f.folder.filePath(u"never"_s);
        f.server.answer("/a", redirect(302, "b"));
        f.start("/a");
        QTRY_COMPARE(f.said(), u"error 10, not whole 302 unwritten"_s); // too many redirects
        QCOMPARE(f.server.requests().size(), 1 + maximumRedirects);
        QVERIFY(!QFileInfo::exists(f.path));
    }

    void writesOverWhatIsThere_data()
    {
        columns<QString, QString>("target", "events");
        row("a longer file, whose tail stays", "file", "whole 200, finished");
        row("a folder in place of the file", ".", "not whole 200 unwritten");
        row("a file in place of the folder", "file/new", "not whole 200 unwritten");
        row("a full disk", "full", "not whole 200 unwritten, finished");
    }
    void writesOverWhatIsThere()
    {
        QFETCH(QString, target);
        Fixture f;
        f.path = f.folder.filePath(target);
        writeFile(f.folder.filePath(u"file"_s), "0123456789");
        if (target == u"full"_s) {
            if (!QFileInfo::exists(u"/dev/full"_s)) {
                QSKIP("there is no device that is always full");
            }
            QVERIFY(QFile::link(u"/dev/full"_s, f.path));
        }
        // More than QFile keeps to itself.
        const bool isFull = target == u"full"_s;
        f.server.answer("/a", http(200, isFull ? QByteArray(100'000, 'x') : "abc"));
        f.start("/a");
        QTRY_VERIFY(!f.events.isEmpty());
        QCoreApplication::processEvents();
        QTEST(f.said(), "events");
        QVERIFY(target != u"file"_s || readFile(f.path) == "abc3456789");
        QCOMPARE(f.reason.isEmpty(), target == u"file"_s);
        QVERIFY2(!isFull || f.reason.contains(u"space"_s), qPrintable(f.reason));
    }

    void writesWhileTheBodyArrives()
    {
        Fixture f;
        // As long as a file system allows.
        f.path = f.folder.filePath(u"new/folder/"_s + QString(83, QChar(0x6587)) + u".exe"_s);
        const QByteArray body(3'000'000, 'x');
        f.server.answer("/a", redirect(302, "/b", body)); // more than Qt receives unread
        f.server.answer("/b", partial(body, 2'500'000, Answer::eSilence));
        f.start("/a");
        const QDir folder(f.folder.path());
        const auto partialSize = [&folder] {
            const QFileInfoList files = folder.entryInfoList(QDir::Files);
            return files.size() == 1 ? files[0].size() : -1;
        };
        QTRY_VERIFY(partialSize() > 2'400'000);
        QVERIFY(!folder.exists(u"new"_s) && f.events.isEmpty());
        f.server.finish("/b", {body.mid(2'500'000)});
        QTRY_COMPARE(f.said(), u"whole 200, finished"_s);
        QVERIFY(readFile(f.path) == body);
        QCOMPARE(partialSize(), qint64(-1));
        const QString other = f.folder.filePath(u"other.exe"_s);
        writeFile(other, "");
        QCOMPARE(QFileInfo(f.path).permissions(), QFileInfo(other).permissions());
    }

    void stopsWhatCannotBeWritten_data()
    {
        columns<int, QString, QString, QString>("sent", "length", "events", "reason");
        const QString stopped = u"error 299, not whole 200 unwritten"_s;
        row("it is announced", 3'000'000, "1000000000000000000", stopped,
            "no space for 1000000000000000000");
#ifdef Q_OS_UNIX
        row("the disk gets full", 3'000'000, "9000000", stopped, "large");
        row("the disk gets full at the end", 1'000'001, "1000001", "not whole 200 unwritten",
            "large");
#endif
    }
    void stopsWhatCannotBeWritten()
    {
        QFETCH(int, sent);
        QFETCH(QString, length);
        QFETCH(QString, reason);
        Fixture f;
        f.server.answer("/a", {"HTTP/1.1 200 OK\r\nContent-Length: " + length.toLatin1() +
                                   "\r\n\r\n" + QByteArray(sent, 'x'),
                               Answer::eSilence});
        {
            [[maybe_unused]] FileSizeLimit limit;
            f.start("/a");
            QTRY_VERIFY(f.said().endsWith(u"unwritten"_s));
        }
        QTEST(f.said(), "events");
        QVERIFY2(f.reason.contains(reason), qPrintable(f.reason));
        delete std::exchange(f.downloader, nullptr);
        QVERIFY(QDir(f.folder.path()).entryList(QDir::Files).isEmpty());
    }

    void aborts()
    {
        Fixture f;
        f.server.answer("/a", partial(QByteArray(1000, 'x'), 40, Answer::eSilence));
        const QSignalSpy progress(f.downloader, &FileDownloader::progress);
        f.start("/a");
        QTRY_VERIFY(!progress.isEmpty());
        f.downloader->abortDownload();
        QCOMPARE(f.said(), u"error 5, not whole 200, finished"_s);
        QCOMPARE(readFile(f.path), QByteArray(40, 'x'));
        f.downloader->abortDownload();
        QCOMPARE(f.events.size(), 3);
    }

    // Only under its own name is a file whole: what is there already is written over at the end.
    void writesOverLargeFilesInTurns_data()
    {
        columns<QString, QString>("meanwhile", "events");
        row("it goes on", "", "whole 200, finished");
        row("aborted", "abort", "error 5, not whole 200 unwritten, finished");
        row("deleted", "delete", "");
        row("another begun, and that one aborted", "another",
            "error 5, not whole 0, finished, whole 200 outdated, finished");
    }
    void writesOverLargeFilesInTurns()
    {
        QFETCH(QString, meanwhile);
        QFETCH(QString, events);
        Fixture f;
        f.path = f.folder.filePath(u"setup.exe"_s);
        writeFile(f.path, "old");
        const QByteArray body = QByteArray("0123456789").repeated(4'000'000);
        f.server.answer("/a", http(200, body));
        bool isWriting = false;
        const QObject context;
        // After the downloader's own slot, which has begun to write.
        connect(f.downloader->findChild<QNetworkAccessManager*>(), &QNetworkAccessManager::finished,
                &context, [&] {
                    if (isWriting) {
                        return;
                    }
                    isWriting = f.events.isEmpty() && QFileInfo(f.path).size() < body.size();
                    if (meanwhile == u"abort"_s) {
                        f.downloader->abortDownload();
                    } else if (meanwhile == u"another"_s) {
                        f.start("/a");
                        f.downloader->abortDownload();
                    } else if (meanwhile == u"delete"_s) {
                        f.downloader->deleteLater();
                        f.downloader = nullptr;
                    }
                });
        f.start("/a");
        QTRY_VERIFY(isWriting);
        QTRY_COMPARE(f.said(), events);
        QTest::qWait(20); // whatever should not happen
        QCOMPARE(f.said(), events);
        QVERIFY(meanwhile.isEmpty() ? readFile(f.path) == body : QFile::remove(f.path));
    }

    void isDeletedAtOnce()
    {
        Fixture f;
        const EndlessServer server("HTTP/1.1 200 OK\r\nA: ", "x"); // ends before what waits for it
        f.downloader->downloadFile(server.url(), f.path);
        QTRY_VERIFY(server.sent > 1'000'000);
        QTimer::singleShot(0, f.downloader, [&f] { delete std::exchange(f.downloader, nullptr); });
        const qint64 longest = longestTurn();
        QVERIFY2(longest < 2000, qPrintable(QString::number(longest)));
    }

    void survivesItsOwnDeletion()
    {
        Fixture f;
        f.downloader->setCompletionCallback([&f](const FileDownloader::Result& /*ended*/) {
            delete std::exchange(f.downloader, nullptr);
        });
        f.server.answer("/a", http(404, "abc"));
        f.start("/a");
        QTRY_VERIFY(!f.downloader);
        QCOMPARE(f.said(), u"error 203"_s);
    }
};

QTEST_GUILESS_MAIN(tst_FileDownloader)
#include "tst_FileDownloader.moc"
