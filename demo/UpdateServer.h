#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <memory>

namespace demo {

/**
 * An HTTP server for an update document and the files that it links to, on 127.0.0.1 and a free
 * port.
 *
 * Listens from its construction on, on threads of its own; all members are thread-safe. The
 * destructor aborts hanging and slow answers and returns within about a second, the time-out of
 * idle connections.
 */
class UpdateServer
{
public:
    /** The answer for a path. */
    struct Answer
    {
        int status = 200;
        QByteArray contentType;
        /** Sent unchanged, without compression; the part that was asked for if the status is 200.
         */
        QByteArray body;
        /** The body is sent in pieces of this many bytes ... */
        int pieceSize = 64 * 1024;
        /** ... with a pause of this many milliseconds before each. */
        int pause = 0;
        /** Send nothing until the server stops, which closes the connection. */
        bool hang = false;
    };

    UpdateServer();
    ~UpdateServer();
    UpdateServer(const UpdateServer&) = delete;
    UpdateServer& operator=(const UpdateServer&) = delete;

    /** False if no port was available; nothing else works then. */
    [[nodiscard]] bool isListening() const;
    [[nodiscard]] quint16 port() const;
    /** The address of @p path on this server. */
    [[nodiscard]] QUrl url(const QString& path = documentPath()) const;
    /** The path of the update document: "/updates.xml". */
    [[nodiscard]] static QString documentPath();

    /** Sets the answer for documentPath() to @p document, from the next request on. */
    void setDocument(const QByteArray& document);
    /**
     * Sets the answer for @p path, whatever the query, from the next request on. Other paths: 404.
     */
    void setAnswer(const QString& path, const Answer& answer);
    /** The answer for @p path; a 404 for a path never set. */
    [[nodiscard]] Answer answer(const QString& path) const;

    /** Bytes of bodies that were sent so far. */
    [[nodiscard]] qint64 sentBytes() const;

    [[nodiscard]] static Answer page(const QByteArray& contentType, const QByteArray& body);
    [[nodiscard]] static Answer failure(int status);
    [[nodiscard]] static Answer hanging();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace demo
