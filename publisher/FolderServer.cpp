#include "publisher/FolderServer.h"

#include <httplib.h>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <array>
#include <memory>

namespace publisher {

namespace {

constexpr int statusWhole = 200;
constexpr int statusPart = 206;
constexpr int statusUnsatisfiable = 416;

/** The bytes of a file that an answer has. */
struct Part
{
    qint64 first = 0;
    qint64 size = 0;
};

/** Another one as soon as the file changes. */
std::string entityTag(const QFileInfo& file)
{
    constexpr int hexadecimal = 16;
    return QStringLiteral("\"%1-%2\"")
        .arg(file.size(), 0, hexadecimal)
        .arg(file.lastModified().toMSecsSinceEpoch(), 0, hexadecimal)
        .toStdString();
}

const char* contentType(const QString& suffix)
{
    if (suffix == QLatin1String("xml")) {
        return "application/xml";
    }
    if (suffix == QLatin1String("html")) {
        return "text/html";
    }
    const bool isText = suffix == QLatin1String("manifest") || suffix == QLatin1String("minisig");
    return isText ? "text/plain" : "application/octet-stream";
}

/** The file in the address @p path; nothing for what is not a file below @p folder. */
QFileInfo fileAt(const QString& folder, const std::string& path)
{
    const QString name = QString::fromStdString(path);
    const bool isSafe = name.startsWith(QLatin1Char('/')) && !name.contains(QLatin1Char('\\')) &&
                        !name.contains(QLatin1Char(':')) &&
                        !name.split(QLatin1Char('/')).contains(QStringLiteral(".."));
    // Not QDir::filePath(), for which "/etc" would be elsewhere.
    return isSafe ? QFileInfo(folder + name) : QFileInfo();
}

/** What the single range @p range (-1: not given) asks for; nothing of it if it is beyond the end.
 */
Part partOf(const httplib::Range& range, qint64 size)
{
    const qint64 first = range.first < 0 ? qMax<qint64>(size - range.second, 0) : range.first;
    const qint64 last = range.first < 0 || range.second < 0 ? size - 1 : range.second;
    return {first, qMin(last, size - 1) + 1 - first};
}

void sendPart(const std::shared_ptr<QFile>& file, const Part& part, const QString& suffix,
              httplib::Response& response)
{
    if (part.size == 0) {
        response.set_content(std::string(), contentType(suffix));
        return;
    }
    response.set_content_provider(
        std::size_t(part.size), contentType(suffix),
        [file, part](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
            constexpr std::size_t pieceSize = std::size_t(64) * 1024;
            std::array<char, pieceSize> piece;
            const bool isThere = file->seek(part.first + qint64(offset));
            const qint64 size = file->read(piece.data(), qint64(qMin(length, pieceSize)));
            // A shorter file ends the connection: the client is not told a length that is wrong.
            return isThere && size > 0 && sink.write(piece.data(), std::size_t(size));
        });
}

void answer(const QFileInfo& info, const httplib::Ranges& ranges, const std::string& condition,
            httplib::Response& response)
{
    const auto file = std::make_shared<QFile>(info.filePath());
    if (!info.isFile() || !file->open(QIODevice::ReadOnly)) {
        response.status = 404;
        return;
    }
    const std::string tag = entityTag(info);
    const qint64 size = info.size();
    Part part{0, size};
    response.status = statusWhole;
    response.set_header("ETag", tag);
    response.set_header("Accept-Ranges", "bytes");
    // Of several ranges, and of another version of the file, all of it: the client may not mix.
    if (ranges.size() == 1 && (condition.empty() || condition == tag)) {
        part = partOf(ranges.front(), size);
        const bool isSatisfied = part.size > 0;
        response.status = isSatisfied ? statusPart : statusUnsatisfiable;
        const QString bytes =
            isSatisfied ? QStringLiteral("%1-%2").arg(part.first).arg(part.first + part.size - 1)
                        : QStringLiteral("*");
        response.set_header("Content-Range",
                            QStringLiteral("bytes %1/%2").arg(bytes).arg(size).toStdString());
        part.size = qMax<qint64>(part.size, 0);
    }
    sendPart(file, part, info.suffix(), response);
}

} // namespace

void serveFolder(httplib::Server& server, const QString& folder)
{
    // For clients that fetch many ranges one after the other: headers do not wait for bodies, nor
    // every fifth request for a connection.
    constexpr std::size_t requestsOfConnection = 1000;
    server.set_tcp_nodelay(true);
    server.set_keep_alive_max_count(requestsOfConnection);
    server.set_pre_routing_handler(
        [folder](const httplib::Request& request, httplib::Response& response) {
            if (request.method != "GET" && request.method != "HEAD") {
                return httplib::Server::HandlerResponse::Unhandled;
            }
            const httplib::Ranges ranges = request.ranges;
            // The server's own object, which is not constant. It would cut ranges itself, compress
            // them, and ignore If-Range.
            const_cast<httplib::Request&>(request).ranges.clear();
            answer(fileAt(folder, request.path), ranges, request.get_header_value("If-Range"),
                   response);
            return httplib::Server::HandlerResponse::Handled;
        });
}

} // namespace publisher
