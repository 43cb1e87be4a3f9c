#include "Environment.h"
#include "Files.h"
#include "LogCapture.h"
#include "RangeOrigin.h"
#include "Rows.h"

#include "download/DownloadCache.h"
#include "download/FileHash.h"
#include "download/HttpRange.h"
#include "download/PartialFile.h"
#include "download/ResumableDownload.h"
#include "download/RetryRule.h"

#include <QBuffer>
#include <QDateTime>
#include <QProcess>
#include <QTemporaryDir>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#endif

using namespace zk;
using namespace zk::test;
using namespace std::chrono_literals;

namespace {

const auto product = u"resumable/download"_s;

DownloadPolicy policy(int retries)
{
    return {retries, 1ms, 400ms};
}

QNetworkProxy noProxy()
{
    return QNetworkProxy::NoProxy;
}

/** Has a download end, in the cache if there is room for it. */
struct Download
{
    QString target;
    std::unique_ptr<ResumableDownload> download;
    QList<int> codes;

    Download(const QUrl& url, const QString& path, int retries, const QStringList& keys = {})
        : target(path)
    {
        auto partial = DownloadCache(product).open(url, keys);
        partial = partial ? std::move(partial) : PartialFile::beside(target);
        download = std::make_unique<ResumableDownload>(url, target, std::move(partial),
                                                       policy(retries), noProxy);
        QObject::connect(download.get(), &ResumableDownload::ended, download.get(),
                         [this](int code) { codes << code; });
        download->enableHash();
        download->start();
    }
    int end()
    {
        (void)QTest::qWaitFor([this] { return !codes.isEmpty(); }, 20'000);
        return codes.size() == 1 ? codes[0] : -1;
    }
    bool isRight(const QByteArray& body) const
    {
        return readFile(target) == body &&
               download->hash() == bytesOf(trust::Blake2b512::of(viewOf(body)));
    }
};

/** What a host does in the test that kills it. */
int downloadAsHost(const QStringList& arguments)
{
    Download download(QUrl(arguments.value(2)), arguments.value(3), 1);
    return QCoreApplication::exec();
}

} // namespace

class tst_ResumableDownload : public QObject
{
    Q_OBJECT

    QTemporaryDir m_place;
    ScopedVariable m_cacheVariable{"XDG_CACHE_HOME", m_place.path()};
    QString m_cache = DownloadCache(product).folder();
    int m_targets = 0;

    QString newTarget() { return m_place.filePath(u"target%1"_s.arg(++m_targets)); }
    QStringList cached() const
    {
        return QDir(m_cache).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }
    /** The only cached file with @p suffix. */
    QString cachedFile(const QString& suffix) const
    {
        const QStringList names = cached().filter(suffix);
        return names.size() == 1 ? m_cache + u'/' + names[0] : QString();
    }
    /** Leaves a partial file of 90,000 bytes, and tells its server. */
    void leavePart(ScriptedServer& server, RangeOrigin& origin, const QStringList& keys = {})
    {
        origin.serveAt(server, "/a.exe");
        origin.script = QStringList{u"stall 90000"_s, u"ok"_s};
        const Download first(server.url("/a.exe"), newTarget(), 1, keys);
        QTRY_COMPARE(QFileInfo(cachedFile(u".part"_s)).size(), qint64(90'000));
    }

    void downloadsByItself(const QString& obstacle)
    {
        ScriptedServer server;
        RangeOrigin origin;
        leavePart(server, origin);
#ifdef Q_OS_UNIX
        QVERIFY(!(QFile::permissions(m_cache) & (QFile::ReadGroup | QFile::ReadOther)));
#endif
        const QString part = cachedFile(u".part"_s);
        std::unique_ptr<PartialFile> other;
        const QString elsewhere = m_place.filePath(u"elsewhere"_s);
        writeFile(elsewhere, "mine");
        if (obstacle == u"another host"_s) {
            other = DownloadCache(product).open(server.url("/a.exe"), {});
            QVERIFY(other);
        } else if (obstacle == u"link"_s) {
            QVERIFY(QFile::remove(part));
#ifdef Q_OS_WIN
            QVERIFY(QDir().mkdir(part)); // links need rights of their own
#else
            QVERIFY(QFile::link(elsewhere, part));
#endif
        } else if (obstacle == u"folder"_s) {
            QVERIFY(QFile::remove(part) && QDir().mkdir(part));
        } else {
            QVERIFY(QDir(m_cache).removeRecursively());
            writeFile(m_cache, "a file");
        }
        origin.asked.clear();
        origin.script = QStringList{u"cut 100000"_s, u"ok"_s};
        Download d(server.url("/a.exe"), newTarget(), 2);
        QCOMPARE(d.end(), 0);
        QVERIFY(d.isRight(origin.body));
        QCOMPARE(origin.asked, lines("-\n100000"));
        QCOMPARE(readFile(elsewhere), QByteArray("mine"));
        d.download.reset();
        QCOMPARE(QDir(m_place.path()).entryList({u"*.part"_s}), QStringList());
        QFile::remove(m_cache);
    }

    void beginsAnew(const QString& doubt)
    {
        const QString key = u"RWQf6LRCGA9i53mlYecO4IzT51TGPpvWucNSCh1CBM0QTaLn73Y7GFO3"_s;
        ScriptedServer server;
        RangeOrigin origin;
        leavePart(server, origin, {key});
        const QString record = cachedFile(u".json"_s);
        if (doubt == u"no record"_s) {
            QVERIFY(QFile::remove(record));
        } else if (doubt == u"half a record"_s) {
            writeFile(record, readFile(record).left(90));
        } else if (doubt == u"complete"_s) {
            writeFile(cachedFile(u".part"_s), origin.body); // the host died before it was moved
        } else if (doubt == u"longer"_s) {
            writeFile(cachedFile(u".part"_s), QByteArray(200'001, 'x'));
        }
        const qint64 continued = QFileInfo(cachedFile(u".part"_s)).size();
        Download d(server.url("/a.exe"), newTarget(), 1,
                   doubt == u"other keys"_s ? QStringList() : QStringList{key});
        QCOMPARE(d.end(), 0);
        QVERIFY(d.isRight(origin.body));
        const auto isTrusted = doubt == u"none"_s || doubt == u"complete"_s;
        QCOMPARE(origin.asked.constLast(), isTrusted ? QString::number(continued) : u"-"_s);
    }

private slots:
    void cleanup()
    {
        QDir(m_cache).removeRecursively();
        waitForRetiredManagers();
    }
    void cleanupTestCase()
    {
        QDir(m_cache + u"/.."_s).removeRecursively();
    }

    void endsWithTheRightBytes_data()
    {
        columns<QString, QString, QString>("script", "validators", "asked");
        const char* const tag = "ETag: \"1\"\r\n";
        row("undisturbed", "ok", tag, "-");
        row("cut before the first byte", "cut 0,ok", tag, "-,-");
        row("cut after the first one", "cut 1,ok", tag, "-,1");
        row("cut at half, twice", "cut 100000,cut 150000,ok", tag, "-,100000,150000");
        row("cut before the last one", "cut 199999,ok", tag, "-,199999");
        row("reset", "reset 100000,ok", tag, "");
        row("stalled", "stall 100000,ok", tag, "-,100000");
        row("a busy server", "cut 5000,status 503 Retry-After: 1,status 429,ok", tag,
            "-,5000,5000,5000");
        row("another file meanwhile", "cut 100000,change", tag, "-,100000");
        row("a longer one", "cut 100000,grow", tag, "-,100000");
        row("a server without ranges", "cut 70000,plaincut 140000,plain", tag, "-,70000,140000");
        row("an answer that begins elsewhere", "cut 70000,range bytes 69999-199999/200000,ok", tag,
            "-,70000,-");
        row("one of another size", "cut 70000,range bytes 70000-199999/200001,ok", tag,
            "-,70000,-");
        row("one without a size", "cut 70000,range bytes 70000-199999/*,ok", tag, "-,70000,-");
        row("one that is compressed", "cut 70000,gzip,ok", tag, "-,70000,-");
        row("a range that is refused", "cut 70000,status 416,ok", tag, "-,70000,-");
        row("in portions", "cut 70000,only 65536,ok", tag, "-,70000,135536");
        row("a log-in page", "page,cut 70000,page,ok", tag, "-,-,70000,70000");
        row("a weak tag", "cut 70000,ok", "ETag: W/\"1\"\r\n", "-,-");
        row("nothing to tell versions by", "cut 70000,ok", "", "-,-");
        row("an old date", "cut 70000,ok",
            "Date: Sun, 06 Nov 1994 08:50:37 GMT\r\n"
            "Last-Modified: Sun, 06 Nov 1994 08:49:37 GMT\r\n",
            "-,70000");
        row("a date that is too young", "cut 70000,ok",
            "Date: Sun, 06 Nov 1994 08:50:36 GMT\r\n"
            "Last-Modified: Sun, 06 Nov 1994 08:49:37 GMT\r\n",
            "-,-");
    }
    void endsWithTheRightBytes()
    {
        QFETCH(QString, script);
        QFETCH(QString, validators);
        QFETCH(QString, asked);
        ScriptedServer server;
        RangeOrigin origin;
        origin.script = script.split(u',');
        origin.validators = validators.toLatin1();
        origin.serveAt(server, "/real.exe");
        server.answer("/a.exe", redirect(302, "/real.exe"));
        Download d(server.url("/a.exe"), newTarget(), 4);
        QCOMPARE(d.end(), 0);
        QVERIFY(d.isRight(origin.body));
        if (!asked.isEmpty()) {
            QCOMPARE(origin.asked.join(u','), asked);
        }
        d.download.reset();
        QCOMPARE(cached(), QStringList());
        for (const Request& request : server.requests()) {
            QCOMPARE(headerOf(request, "Accept-Encoding"), QByteArray("identity"));
        }
    }

    void givesUp_data()
    {
        columns<QString, int, int>("script", "code", "requests");
        row("not there", "status 404", 203, 1);
        row("a busy server", "status 503", 403, 3);
        row("one that wants too much patience", "status 503 Retry-After: 31536000", 403, 1);
        row("a byte a try", "cut 1,cut 2,cut 3,cut 4", 2, 3);
        row("ranges that never fit", "cut 70000,range bytes 0-1/2,cut 60000,range bytes 0-1/2", 299,
            4);
        row("a log-in page", "page", 299, 3);
    }
    void givesUp()
    {
        QFETCH(QString, script);
        QFETCH(int, code);
        QFETCH(int, requests);
        ScriptedServer server;
        RangeOrigin origin;
        origin.script = script.split(u',');
        origin.serveAt(server, "/a.exe");
        Download d(server.url("/a.exe"), newTarget(), 2);
        QCOMPARE(d.end(), code);
        QCOMPARE(origin.asked.size(), requests);
        QCOMPARE(QFileInfo::exists(d.target), code == 0);
    }

    void survivesItsHost()
    {
        ScriptedServer server;
        RangeOrigin origin;
        origin.serveAt(server, "/a.exe");
        origin.script = QStringList{u"stall 100000"_s, u"cut 120000"_s, u"ok"_s};
        QProcess host;
        const QUrl url = server.url("/a.exe");
        host.start(QCoreApplication::applicationFilePath(),
                   {u"--host"_s, url.toString(), newTarget()});
        QTRY_COMPARE_WITH_TIMEOUT(QFileInfo(cachedFile(u".part"_s)).size(), qint64(100'000),
                                  20'000);
        QVERIFY(!DownloadCache(product).open(url, {})); // one host at a time
        host.kill();
        QVERIFY(host.waitForFinished());

        Download d(url, newTarget(), 4);
        QCOMPARE(d.end(), 0);
        QVERIFY(d.isRight(origin.body));
        QCOMPARE(origin.asked, lines("-\n100000\n120000"));
    }

    void downloadsByItselfWhereTheCacheIsOfNoUse()
    {
        for (const auto& obstacle : {u"another host"_s, u"link"_s, u"folder"_s, u"no cache"_s}) {
            downloadsByItself(obstacle);
            cleanup();
        }
    }
    void beginsAnewWhereTheRestIsNotTrusted()
    {
        for (const auto& doubt : {u"other keys"_s, u"no record"_s, u"half a record"_s, u"longer"_s,
                                  u"complete"_s, u"none"_s}) {
            beginsAnew(doubt);
            cleanup();
        }
    }

    void keepsWhatIsWholeOnAFullDisk()
    {
#ifndef Q_OS_LINUX
        QSKIP("needs a limit for the size of files");
#else
        ScriptedServer server;
        RangeOrigin origin(3'000'000);
        origin.serveAt(server, "/a.exe");
        rlimit usual{};
        getrlimit(RLIMIT_FSIZE, &usual);
        const rlimit small{1'000'000, usual.rlim_max};
        const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &small);
        {
            Download d(server.url("/a.exe"), newTarget(), 2);
            QCOMPARE(d.end(), int(QNetworkReply::UnknownContentError));
        }
        setrlimit(RLIMIT_FSIZE, &usual);
        std::signal(SIGXFSZ, oldHandler);
        const QByteArray kept = readFile(cachedFile(u".part"_s));
        QVERIFY(!kept.isEmpty() && origin.body.startsWith(kept));
        Download d(server.url("/a.exe"), newTarget(), 2);
        QCOMPARE(d.end(), 0);
        QVERIFY(d.isRight(origin.body));
        QCOMPARE(origin.asked, (QStringList{u"-"_s, QString::number(kept.size())}));
#endif
    }

    void tidiesUp()
    {
        const QDateTime now = QDateTime::currentDateTime();
        QVERIFY(QDir().mkpath(m_cache));
        const auto part = [this](char c) { return m_cache + u'/' + QString(64, QLatin1Char(c)); };
        const auto put = [&](const QString& name, int age) {
            writeFile(name, "bytes");
            QFile file(name);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.setFileTime(now.addDays(-age), QFileDevice::FileModificationTime));
        };
        put(part('a') + u".part"_s, 8);
        put(part('b') + u".part"_s, 3);
        put(part('c') + u".part"_s, 2);
        put(part('d') + u".part"_s, 1);
        for (const char c : {'a', 'b', 'c', 'd', 'e'}) {
            put(part(c) + u".json"_s, 0);
        }
        put(m_cache + u"/photo.part"_s, 99);
        put(part('x') + u".part"_s, 99); // no number
        DownloadCache(product).tidy(now);
        QStringList left = cached();
        std::for_each(left.begin(), left.end(), [](QString& name) { name = name.right(6); });
        QCOMPARE(left, lines("c.json\nc.part\nd.json\nd.part\no.part\nx.part"));
    }

    void knowsTheRules()
    {
        using namespace RetryRule;
        const DownloadPolicy usual{5};
        QCOMPARE(pauseBefore(1, usual, 0.5).count(), 2000);
        QCOMPARE(pauseBefore(3, usual, 0).count(), 6000);
        QCOMPARE(pauseBefore(3, usual, 1).count(), 10'000);
        QCOMPARE(pauseBefore(1000, usual, 0.5).count(), 60'000);
        const QDateTime now(QDate(1994, 11, 6), QTime(8, 49, 37), Qt::UTC);
        QCOMPARE(retryAfter("120", now).count(), 120'000);
        QCOMPARE(retryAfter("Sun, 06 Nov 1994 08:50:07 GMT", now).count(), 30'000);
        QCOMPARE(retryAfter("Sun, 06 Nov 1994 08:00:00 GMT", now).count(), 0);
        QCOMPARE(retryAfter("soon", now).count(), 0);
        QVERIFY(retryAfter("9223372036854775807", now) > longestRetryAfter);
        QVERIFY(isWebPage("Text/HTML; charset=x", "\n\n"));
        QVERIFY(isWebPage("application/octet-stream", "<htm"));
        for (const char* program : {"MZ\x90", "PK\3\4",
                                    "\x7f"
                                    "ELF",
                                    "#!/b"}) {
            QVERIFY(!isWebPage("text/html", program));
        }
        QVERIFY(!isWebPage("text/plain", "text"));
        for (const char* nonsense :
             {"", "bytes", "bytes 1-2", "bytes 5-4/9", "bytes 0-9/9", "bytes -1-4/9", "items 0-4/9",
              "bytes */*", "bytes 0-4/9, 5-6/9", "bytes 0-9223372036854775808/*"}) {
            QVERIFY2(!HttpRange::parseContentRange(nonsense), nonsense);
        }
        QCOMPARE(HttpRange::parseContentRange("bytes 0-8/9")->last, 8);
        QCOMPARE(HttpRange::parseContentRange("bytes */9")->first, -1);
    }
};

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().value(1) == u"--host"_s) {
        return downloadAsHost(QCoreApplication::arguments());
    }
    tst_ResumableDownload test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_ResumableDownload.moc"
