#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <memory>

namespace demo {

/**
 * An HTTP server for one update document and what it links to, on 127.0.0.1 and a free port.
 *
 * It listens as soon as it is constructed, on threads of its own; every member may be called from
 * any thread. The destructor gives up hanging and slow answers and returns within about a second,
 * which is how long a connection kept alive by a client may stay idle.
 */
class UpdateServer
{
public:
    /** What is sent for a path. */
    struct Answer
    {
        int status = 200;
        QByteArray contentType;
        /** Sent as it stands: nothing is compressed on the way. */
        QByteArray body;
        /** The body goes out in pieces of this many bytes ... */
        int pieceSize = 64 * 1024;
        /** ... with a pause of this many milliseconds before each. */
        int pause = 0;
        /** Say nothing at all until the server stops, which ends the connection. */
        bool hang = false;
    };

    UpdateServer();
    ~UpdateServer();
    UpdateServer(const UpdateServer&) = delete;
    UpdateServer& operator=(const UpdateServer&) = delete;

    /** False when no port could be had; nothing else works then. */
    [[nodiscard]] bool isListening() const;
    [[nodiscard]] quint16 port() const;
    /** The address of @p path on this server. */
    [[nodiscard]] QUrl url(const QString& path = documentPath()) const;
    /** Where the update document is: "/updates.xml". */
    [[nodiscard]] static QString documentPath();

    /** From the next request on @p document is the answer for documentPath(). */
    void setDocument(const QByteArray& document);
    /** From the next request on @p answer is given for @p path, whatever the query. Other paths:
     * 404. */
    void setAnswer(const QString& path, const Answer& answer);
    /** The answer for @p path; a 404 for a path never set. */
    [[nodiscard]] Answer answer(const QString& path) const;

    [[nodiscard]] static Answer page(const QByteArray& contentType, const QByteArray& body);
    [[nodiscard]] static Answer failure(int status);
    [[nodiscard]] static Answer hanging();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace demo
