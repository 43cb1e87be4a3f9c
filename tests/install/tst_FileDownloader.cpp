#include "EndlessServer.h"
#include "Files.h"
#include "Rows.h"
#include "ScriptedServer.h"

#include "install/FileDownloader.h"

#include <QDir>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>

using namespace zk;
using test::Answer;

namespace {

/** A downloader with a server, and everything it says, in order. */
struct Fixture
{
    QTemporaryDir folder;
    QString path = folder.filePath(QStringLiteral("new/folder/setup.exe"));
    test::ScriptedServer server;
    FileDownloader* downloader = new FileDownloader;
    QStringList events;
    /** What the system said of the last one. */
    QString reason;

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
            reason = ended.systemError;
            events << QStringLiteral("%1whole %2%3%4")
                          .arg(ended.isWholeFile() ? QString() : QStringLiteral("not "))
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

class tst_FileDownloader : public QObject
{
    Q_OBJECT

private slots:
    void followsFiftyRedirectsAndNoMore()
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
        QCOMPARE(test::readFile(f.path), QByteArray("at last"));
        f.server.forgetRequests();
        f.path = f.folder.filePath(QStringLiteral("never"));
        f.server.answer("/a", test::redirect(302, "b"));
        f.start("/a");
        QTRY_COMPARE(f.said(), QStringLiteral("error %1, not whole 302 unwritten")
                                   .arg(QNetworkReply::TooManyRedirectsError));
        QCOMPARE(f.server.requests().size(), 1 + FileDownloader::maximumRedirects);
        QVERIFY(!QFileInfo::exists(f.path));
    }

    void writesOverWhatIsThere_data()
    {
        test::columns<QString, QString>("target", "events");
        test::row("a longer file, whose tail stays", "file", "whole 200, finished");
        test::row("a folder in place of the file", ".", "not whole 200 unwritten");
        test::row("a file in place of the folder", "file/new", "not whole 200 unwritten");
        test::row("a full disk", "full", "not whole 200 unwritten, finished");
    }
    void writesOverWhatIsThere()
    {
        QFETCH(QString, target);
        Fixture f;
        f.path = f.folder.filePath(target);
        test::writeFile(f.folder.filePath(QStringLiteral("file")), "0123456789");
        if (target == QLatin1String("full")) {
            if (!QFileInfo::exists(QStringLiteral("/dev/full"))) {
                QSKIP("there is no device that is always full");
            }
            QVERIFY(QFile::link(QStringLiteral("/dev/full"), f.path));
        }
        // More than QFile keeps to itself.
        const bool isFull = target == QLatin1String("full");
        f.server.answer("/a", test::http(200, isFull ? QByteArray(100'000, 'x') : "abc"));
        f.start("/a");
        QTRY_VERIFY(!f.events.isEmpty());
        QCoreApplication::processEvents();
        QTEST(f.said(), "events");
        QVERIFY(target != QLatin1String("file") || test::readFile(f.path) == "abc3456789");
        QCOMPARE(f.reason.isEmpty(), target == QLatin1String("file"));
        QVERIFY2(!isFull || f.reason.contains(QLatin1String("space")), qPrintable(f.reason));
    }

    void aborts()
    {
        Fixture f;
        f.server.answer("/a", test::partial(QByteArray(1000, 'x'), 40, Answer::eSilence));
        const QSignalSpy progress(f.downloader, &FileDownloader::progress);
        f.start("/a");
        QTRY_VERIFY(!progress.isEmpty());
        f.downloader->abortDownload();
        QCOMPARE(f.said(), QStringLiteral("error 5, not whole 200, finished"));
        f.downloader->abortDownload();
        QCOMPARE(f.events.size(), 3);
    }

    void writesLargeBodiesInTurns_data()
    {
        test::columns<QString, QString>("meanwhile", "events");
        test::row("it goes on", "", "whole 200, finished");
        test::row("aborted", "abort", "error 5, not whole 200 unwritten, finished");
        test::row("deleted", "delete", "");
        test::row("another begun, and that one aborted", "another",
                  "error 5, not whole 0, finished, whole 200 outdated, finished");
    }
    void writesLargeBodiesInTurns()
    {
        QFETCH(QString, meanwhile);
        QFETCH(QString, events);
        Fixture f;
        const QByteArray body = QByteArray("0123456789").repeated(4'000'000);
        f.server.answer("/a", test::http(200, body));
        bool isWriting = false;
        const QObject context;
        // After the downloader's own slot, which has begun to write.
        connect(f.downloader->findChild<QNetworkAccessManager*>(), &QNetworkAccessManager::finished,
                &context, [&] {
                    if (isWriting) {
                        return;
                    }
                    isWriting = f.events.isEmpty() && QFileInfo(f.path).size() < body.size();
                    if (meanwhile == QLatin1String("abort")) {
                        f.downloader->abortDownload();
                    } else if (meanwhile == QLatin1String("another")) {
                        f.start("/a");
                        f.downloader->abortDownload();
                    } else if (meanwhile == QLatin1String("delete")) {
                        f.downloader->deleteLater();
                        f.downloader = nullptr;
                    }
                });
        f.start("/a");
        QTRY_VERIFY(isWriting);
        QTRY_COMPARE(f.said(), events);
        QTest::qWait(20); // whatever should not happen
        QCOMPARE(f.said(), events);
        QVERIFY(meanwhile.isEmpty() ? test::readFile(f.path) == body : QFile::remove(f.path));
    }

    void isDeletedAtOnce()
    {
        const test::EndlessServer server("HTTP/1.1 200 OK\r\nA: ", "x");
        Fixture f;
        f.downloader->downloadFile(server.url(), f.path);
        QTRY_VERIFY(server.sent > 1'000'000);
        QTimer::singleShot(0, f.downloader, [&f] { delete std::exchange(f.downloader, nullptr); });
        const qint64 longest = test::longestTurn();
        QVERIFY2(longest < 2000, qPrintable(QString::number(longest)));
    }

    void survivesItsOwnDeletion()
    {
        Fixture f;
        f.downloader->setCompletionCallback([&f](const FileDownloader::Result& /*ended*/) {
            delete std::exchange(f.downloader, nullptr);
        });
        f.server.answer("/a", test::http(404, "abc"));
        f.start("/a");
        QTRY_VERIFY(!f.downloader);
        QCOMPARE(f.said(), QStringLiteral("error 203"));
    }
};

QTEST_GUILESS_MAIN(tst_FileDownloader)
#include "tst_FileDownloader.moc"
