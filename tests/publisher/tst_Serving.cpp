// What the server for trials answers.

#include "Files.h"
#include "Rows.h"

#include "publisher/FolderServer.h"

#include <httplib.h>

#include <QDateTime>
#include <QTemporaryDir>

#include <thread>

using namespace publisher;
using namespace zk::test;

class tst_Serving : public QObject
{
    Q_OBJECT

    QTemporaryDir m_temp;
    httplib::Server m_server;
    int m_port = 0;
    std::thread m_thread;

    httplib::Result get(const QByteArray& path, const httplib::Headers& headers) const
    {
        httplib::Client client("127.0.0.1", m_port);
        client.set_decompress(false);
        return client.Get(path.toStdString(), headers);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(QDir(m_temp.path()).mkpath(u"site/sub"_s));
        const QString site = m_temp.filePath(u"site"_s);
        writeFile(m_temp.filePath(u"secret"_s), "secret");
        writeFile(site + u"/desk 4.3.zip"_s, "0123456789");
        writeFile(site + u"/updates.xml"_s, QByteArray(5000, 'x'));
        writeFile(site + u"/sub/empty"_s, {});
        serveFolder(m_server, site);
        m_port = m_server.bind_to_any_port("127.0.0.1");
        QVERIFY(m_port > 0);
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
    }
    void cleanupTestCase()
    {
        QTRY_VERIFY(m_server.is_running());
        m_server.stop();
        m_thread.join();
    }

    void answers_data()
    {
        columns<QByteArray, QByteArray, int, QByteArray, QByteArray>("path", "range", "status",
                                                                     "body", "contentRange");
        const auto zip = [](const char* name, const char* range, int status, const char* body,
                            const char* contentRange) {
            row<QByteArray, QByteArray, int, QByteArray, QByteArray>(name, "/desk%204.3.zip", range,
                                                                     status, body, contentRange);
        };
        zip("a whole file", "", 200, "0123456789", "");
        zip("the rest of a file", "4-", 206, "456789", "bytes 4-9/10");
        zip("some bytes", "4-6", 206, "456", "bytes 4-6/10");
        zip("one byte", "9-9", 206, "9", "bytes 9-9/10");
        zip("more than there are", "8-99", 206, "89", "bytes 8-9/10");
        zip("the last bytes", "-3", 206, "789", "bytes 7-9/10");
        zip("more last bytes than there are", "-30", 206, "0123456789", "bytes 0-9/10");
        zip("after the end", "10-", 416, "", "bytes */10");
        zip("several ranges", "1-2,4-5", 200, "0123456789", "");
        const auto other = [](const char* name, const char* path, const char* range, int status,
                              const QByteArray& body, const char* contentRange) {
            row<QByteArray, QByteArray, int, QByteArray, QByteArray>(name, path, range, status,
                                                                     body, contentRange);
        };
        other("a document", "/updates.xml", "", 200, QByteArray(5000, 'x'), "");
        other("a part of a document", "/updates.xml", "0-99", 206, QByteArray(100, 'x'),
              "bytes 0-99/5000");
        other("an empty file", "/sub/empty", "", 200, "", "");
        other("a range of an empty file", "/sub/empty", "0-", 416, "", "bytes */0");
        other("no such file", "/sub/missing", "", 404, "", "");
        other("a folder", "/sub", "", 404, "", "");
        other("a file outside", "/../secret", "", 404, "", "");
        other("an encoded way out", "/sub/%2e%2e/%2e%2e/secret", "", 404, "", "");
        other("a way out of Windows", "/sub%5c..%5c..%5csecret", "", 404, "", "");
        const QByteArray absolute = '/' + m_temp.filePath(u"secret"_s).toUtf8();
        other("an absolute path", absolute.constData(), "", 404, "", "");
    }
    void answers()
    {
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, range);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QByteArray, contentRange);
        httplib::Headers headers{{"Accept-Encoding", "gzip, deflate, br"}};
        if (!range.isEmpty()) {
            headers.emplace("Range", "bytes=" + range.toStdString());
        }
        const auto result = get(path, headers);
        QVERIFY(result);
        QCOMPARE(result->status, status);
        QCOMPARE(QByteArray::fromStdString(result->body), body);
        QCOMPARE(QByteArray::fromStdString(result->get_header_value("Content-Range")),
                 contentRange);
        QVERIFY(!result->has_header("Content-Encoding"));
    }

    void continuesOnlyTheSameFile()
    {
        const QString path = m_temp.filePath(u"site/desk 4.3.zip"_s);
        const QByteArray address = "/desk%204.3.zip";
        const std::string tag = get(address, {})->get_header_value("ETag");
        QVERIFY(tag.size() > 2 && tag.front() == '"' && tag.back() == '"');
        const auto rest = [&](const std::string& validator) {
            return QByteArray::fromStdString(
                get(address, {{"Range", "bytes=8-"}, {"If-Range", validator}})->body);
        };
        QCOMPARE(rest(tag), QByteArray("89"));
        QCOMPARE(rest("W/" + tag), QByteArray("0123456789"));
        QCOMPARE(rest("Sun, 22 Nov 2026 10:00:00 GMT"), QByteArray("0123456789"));
        // As large as before, and written at another time.
        writeFile(path, "abcdefghij");
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite) &&
                file.setFileTime(QDateTime(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC),
                                 QFile::FileModificationTime));
        file.close();
        QCOMPARE(rest(tag), QByteArray("abcdefghij"));
        writeFile(path, "0123456789");
    }
};

QTEST_GUILESS_MAIN(tst_Serving)
#include "tst_Serving.moc"
