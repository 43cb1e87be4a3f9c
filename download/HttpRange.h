#pragma once

#include <QByteArray>

#include <optional>

class QNetworkReply;

/** Range requests (RFC 9110, section 14): the rest of a file that has not changed. */
namespace zk::HttpRange {

/** A Content-Range header: "bytes 100-199/1000", or "bytes * /1000" of a refusal. */
struct ContentRange
{
    /** First and last byte, -1 in a refusal. */
    qint64 first = -1;
    qint64 last = -1;
    /** Size of the whole file, -1 if the server does not tell. */
    qint64 total = -1;
};

/** Consecutive bytes of a file whose size is known. */
struct Section
{
    qint64 first = 0;
    qint64 size = 0;
    /** Size of the whole file. */
    qint64 total = 0;
};

/** Parses the header; nothing for nonsense. */
[[nodiscard]] std::optional<ContentRange> parseContentRange(const QByteArray& header);

/**
 * What the body of @p reply can be recognised by in an If-Range header: its strong ETag, otherwise
 * a Last-Modified date that is at least a minute older than the answer; empty if it has neither.
 */
[[nodiscard]] QByteArray validatorOf(const QNetworkReply& reply);

/** Whether the partial answer @p reply belongs to the file with @p validator: with an ETag it must
 * say so, a date may be left out. */
[[nodiscard]] bool isSameFile(const QNetworkReply& reply, const QByteArray& validator);

} // namespace zk::HttpRange
