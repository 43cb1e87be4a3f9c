#pragma once

#include "ScriptedServer.h"

#include <QList>
#include <QStringList>

namespace zk::test {

/** The header @p name of a request, empty if it has none. */
inline QByteArray headerOf(const Request& request, const QByteArray& name)
{
    const QList<QByteArray> lines = request.head.split('\n');
    for (const QByteArray& line : lines) {
        if (line.toLower().startsWith(name.toLower() + ':')) {
            return line.mid(name.size() + 1).trimmed();
        }
    }
    return {};
}

/**
 * A file on a ScriptedServer that knows byte ranges, and what goes wrong with it try by try:
 *
 *     ok          all that was asked for
 *     cut N       the connection ends after byte N of the file; also reset N, stall N; without N
 *                 after half of what was asked for
 *     plain       all of the file, whatever was asked for; plaincut N
 *     status N H  an error with this status, and a header line
 *     page        the log-in page of a network
 *     change      another file of the same size from now on; grow: a longer one
 *     range V     the rest, with this Content-Range
 *     gzip        the rest, said to be compressed; only N: the next N bytes
 *     damage      the rest, with one wrong byte
 */
class RangeOrigin
{
public:
    QByteArray body;
    QByteArray validators = "ETag: \"1\"\r\n"; //!< header lines
    QStringList script{u"ok"_s};               //!< the last one again and again
    /** The first byte of each request, the last one if it has one; "-" for the whole file. */
    QStringList asked;

    explicit RangeOrigin(int size = 200'000)
    {
        while (body.size() < size) {
            body += QByteArray::number(body.size()) + ' ';
        }
        body.truncate(size);
    }
    void serveAt(ScriptedServer& server, const QByteArray& path)
    {
        server.answerWith(path, [this](const Request& request) { return answer(request); });
    }

private:
    Answer answer(const Request& request)
    {
        const QByteArray range = headerOf(request, "Range");
        const QList<QByteArray> ends = range.mid(6).split('-');
        const int first = ends[0].toInt();
        const bool isOpen = ends.value(1).isEmpty();
        const QByteArray wanted = isOpen ? ends[0] : range.mid(6);
        asked << (range.isEmpty() ? u"-"_s : QString::fromLatin1(wanted));
        QStringList words = script.constFirst().split(u' ');
        const QString verb = words.takeFirst();
        const QString rest = words.join(u' ');
        if (script.size() > 1) {
            script.removeFirst();
        }
        if (verb == u"status"_s) {
            const QByteArray more = words.mid(1).join(u' ').toLatin1();
            return http(words[0].toInt(), "<p>busy", more.isEmpty() ? more : more + "\r\n");
        }
        if (verb == u"page"_s) {
            return http(200, "<html>Log in first</html>", "Content-Type: text/html\r\n");
        }
        if (verb == u"change"_s || verb == u"grow"_s) {
            body = body.mid(1) + (verb == u"grow"_s ? QByteArray(1000, 'y') : QByteArray("z"));
            validators.replace("1", "2");
        }
        const bool isSame = validators.contains(headerOf(request, "If-Range"));
        if (range.isEmpty() || verb.startsWith(u"plain"_s) || !isSame) {
            return cut(head(200, body.size(), {}), body, 0, verb, rest);
        }
        if (first >= body.size()) {
            return http(416, {}, "Content-Range: bytes */" + size() + "\r\n");
        }
        const int end = isOpen ? body.size() - 1 : qMin(ends[1].toInt(), body.size() - 1);
        const int last = verb == u"only"_s ? first + rest.toInt() - 1 : end;
        QByteArray headers = "Content-Range: bytes " + QByteArray::number(first) + '-' +
                             QByteArray::number(last) + '/' + size() + "\r\n";
        if (verb == u"range"_s) {
            headers = "Content-Range: " + rest.toLatin1() + "\r\n";
        } else if (verb == u"gzip"_s) {
            headers += "Content-Encoding: gzip\r\n";
        }
        QByteArray part = body.mid(first, last - first + 1);
        if (verb == u"damage"_s) {
            part[part.size() / 2] = char(part[part.size() / 2] + 1);
        }
        return cut(head(206, part.size(), headers), part, first, verb, rest);
    }
    QByteArray size() const { return QByteArray::number(body.size()); }
    QByteArray head(int status, int length, const QByteArray& headers) const
    {
        const QByteArray all = http(status, {}, headers + validators).bytes;
        return QByteArray(all).replace("Content-Length: 0",
                                       "Content-Length: " + QByteArray::number(length));
    }
    static Answer cut(const QByteArray& head, const QByteArray& part, int first,
                      const QString& verb, const QString& rest)
    {
        const bool isCut = verb.endsWith(u"cut"_s) || verb == u"reset"_s || verb == u"stall"_s;
        const int sent = rest.isEmpty() ? part.size() / 2 : qMax(0, rest.toInt() - first);
        Answer answer{head + (isCut ? part.left(sent) : part)};
        if (verb == u"reset"_s) {
            // What has not been read yet is lost with a reset: give it time.
            answer.dripMs = 120;
            answer.dropSize = answer.bytes.size() - 1;
            answer.end = Answer::eReset;
        }
        if (verb == u"stall"_s) {
            answer.delayMs = 120; // progress is told every 100 ms
            answer.end = Answer::eSilence;
        }
        return answer;
    }
};

} // namespace zk::test
