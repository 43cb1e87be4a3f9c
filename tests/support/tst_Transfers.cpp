#include "Rows.h"

#include "support/ContentDecoder.h"
#include "support/LinkRule.h"
#include "support/TransferProgress.h"

#include <zlib.h>

using namespace zk;
using namespace zk::test;

namespace {

/** @p body as a stream of the form that @p windowBits stands for. */
QByteArray compressed(const QByteArray& body, int windowBits)
{
    z_stream stream{};
    deflateInit2(&stream, 9, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
    QByteArray out(int(deflateBound(&stream, uLong(body.size()))) + 64, '\0');
    QByteArray in = body;
    stream.next_in = reinterpret_cast<Bytef*>(in.data());
    stream.avail_in = uInt(in.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    deflate(&stream, Z_FINISH);
    out.truncate(int(stream.total_out));
    deflateEnd(&stream);
    return out;
}

constexpr int gzip = 16 + MAX_WBITS;
constexpr int raw = -MAX_WBITS;

/** A reply of which only the encoding counts. */
class Reply : public QNetworkReply
{
public:
    explicit Reply(const QByteArray& encoding, int length = -1)
    {
        setRawHeader("Content-Encoding", encoding);
        if (length >= 0) {
            setRawHeader("Content-Length", QByteArray::number(length));
        }
    }
    void abort() override {}

protected:
    qint64 readData(char* /*data*/, qint64 /*maximum*/) override { return -1; }
};

} // namespace

/** What happens to bytes between a server and the user. */
class tst_Transfers : public QObject
{
    Q_OBJECT

private slots:
    void decodes_data()
    {
        columns<QByteArray, QByteArray, QByteArray>("encoding", "body", "end");
        const QByteArray text = QByteArray("some text ").repeated(20000);
        const QByteArray packed = compressed(text, gzip);
        row("plain", QByteArray(), text, text);
        row("of an unknown encoding", QByteArray("br"), packed, packed);
        row("gzip", QByteArray("gzip"), packed, text);
        row("two members", QByteArray("X-GZIP"), compressed("a", gzip) + packed, "a" + text);
        row("zlib", QByteArray("deflate"), compressed(text, MAX_WBITS), text);
        row("bare deflate", QByteArray("deflate"), compressed(text, raw), text);
        row("nothing", QByteArray("gzip"), QByteArray(), QByteArray());
        row("cut", QByteArray("gzip"), packed.chopped(1), QByteArray("cut"));
        QByteArray other = packed;
        other[packed.size() - 5] = char(~other.at(packed.size() - 5)); // of the checksum
        row("of other bytes", QByteArray("gzip"), other, QByteArray("damaged"));
        row("followed by something", QByteArray("gzip"), packed + "<html>", QByteArray("damaged"));
    }
    void decodes()
    {
        QFETCH(QByteArray, encoding);
        QFETCH(QByteArray, body);
        const Reply reply(encoding);
        for (const int size : {1, 7, 1000000}) {
            ContentDecoder decoder(reply);
            QByteArray out;
            bool isFine = true;
            for (int at = 0; isFine && at < body.size(); at += size) {
                isFine = decoder.decode(body.mid(at, size), [&out](const char* data, qint64 n) {
                    out.append(data, int(n));
                    return true;
                });
            }
            QCOMPARE(isFine, !decoder.isDamaged());
            const char* const bad = !isFine ? "damaged" : decoder.isComplete() ? nullptr : "cut";
            QTEST(bad ? QByteArray(bad) : out, "end");
        }
    }

    void missesWhatWasAnnounced()
    {
        const QByteArray packed = compressed("text", gzip);
        const auto isComplete = [](const Reply& reply, const QByteArray& body) {
            ContentDecoder decoder(reply);
            (void)decoder.decode(body, [](const char*, qint64) { return true; });
            return decoder.isComplete();
        };
        QVERIFY(isComplete(Reply({}, 4), "text"));
        QVERIFY(!isComplete(Reply({}, 5), "text"));
        QVERIFY(!isComplete(Reply({}, 1), {}));
        QVERIFY(isComplete(Reply("gzip", packed.size()), packed));
        QVERIFY(!isComplete(Reply("gzip", packed.size() + 1), packed));
    }

    void stopsDecodingAtOnce()
    {
        // A thousand times as large: it must not be inflated before anybody is asked.
        const QByteArray bomb = compressed(QByteArray(50'000'000, '\0'), gzip);
        ContentDecoder decoder(Reply("gzip"));
        qint64 received = 0;
        QVERIFY(!decoder.decode(bomb, [&received](const char* /*data*/, qint64 size) {
            received += size;
            return false;
        }));
        QVERIFY2(received > 0 && received < 100'000, qPrintable(QString::number(received)));
    }

    void followsNoRedirectToLess()
    {
        const auto error = [](const char* from, const char* to) {
            return redirectError(QUrl(QLatin1String(from)), QUrl(QLatin1String(to)));
        };
        QCOMPARE(error("http://h", "https://h"), QNetworkReply::NoError);
        QCOMPARE(error("http://h", "ftp://h"), QNetworkReply::NoError);
        QCOMPARE(error("https://h", "https://other"), QNetworkReply::NoError);
        QCOMPARE(error("https://h", "HTTP://h"), QNetworkReply::InsecureRedirectError);
        QCOMPARE(error("https://h", "ftp://h"), QNetworkReply::InsecureRedirectError);
        QCOMPARE(error("http://h", "FILE:///dev/stdin"), QNetworkReply::ProtocolUnknownError);
    }

    void writesNoPasswords_data()
    {
        columns<QString, QString, QString>("url", "text", "written");
        row("an error", "http://me:pa%40ss%2F@h/a", "Error at http://me:pa%40ss%2F@h/a: No",
            "Error at http://h/a: No");
        row("decoded", "http://me:p%40s@H/a", "at http://me:p@s@h/a", "at http://h/a");
        row("an address of somebody else", "http://me:x@h/",
            "http://me:x@h/ replied: ask a://b@c or d@h", "http://h/ replied: ask a://b@c or d@h");
    }
    void writesNoPasswords()
    {
        QFETCH(QString, url);
        QFETCH(QString, text);
        QTEST(withoutCredentials(text, QUrl(url)), "written");
        QVERIFY(!logText(QUrl(url)).contains(u"me"_s));
    }

    void describesProgress()
    {
        constexpr qint64 mb = 1024LL * 1024;
        TransferProgress progress{QLocale(QLocale::English, QLocale::UnitedStates)};
        progress.update(0, 50 * mb, 0);
        QCOMPARE(progress.text(), u"0 bytes / 50.0 MB"_s);
        progress.update(10 * mb, 50 * mb, 1000);
        QCOMPARE(progress.text(), u"10.0 MB / 50.0 MB, 10.0 MB/s, 0:04"_s);
        // Smoothed, and the rest of a slow transfer has hours.
        progress.update(10 * mb + 1024, 50 * mb, 61000);
        QVERIFY2(progress.text().endsWith(u", 7.0 MB/s, 0:06"_s), qPrintable(progress.text()));
        progress.update(0, 50000 * mb, 61000);
        progress.update(2 * mb, 50000 * mb, 62000);
        QCOMPARE(progress.text(), u"2.0 MB / 48.8 GB, 2.0 MB/s, 6:56:39"_s);
        TransferProgress continued{QLocale(QLocale::English, QLocale::UnitedStates)};
        continued.update(40 * mb, 50 * mb, 900);
        continued.update(41 * mb, 50 * mb, 1900);
        QCOMPARE(continued.text(), u"41.0 MB / 50.0 MB, 1.0 MB/s, 0:09"_s);
        QCOMPARE(continued.textInPause(61'001), u"41.0 MB / 50.0 MB \u2026 1:02"_s);
        TransferProgress french{QLocale(QLocale::French, QLocale::France)};
        french.update(3 * mb / 2, 50 * mb, 0);
        QCOMPARE(french.text(), u"1,5 Mo / 50,0 Mo"_s);
    }
};

QTEST_GUILESS_MAIN(tst_Transfers)
#include "tst_Transfers.moc"
