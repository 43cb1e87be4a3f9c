#pragma once

#include "support/ContentDecoder.h"

#include <QFile>
#include <QNetworkReply>
#include <QObject>

namespace zk {

/**
 * Writes the body of a finished reply to a file, decoded, a part at each call: two gigabytes at
 * once would freeze the windows for seconds.
 *
 * Lives in the GUI thread, as does the reply, which it does not own and which must outlive it.
 */
class BodyWriter final : public QObject
{
public:
    /** Makes the folders above @p path and opens the file; @p parent owns the writer. */
    BodyWriter(QNetworkReply* reply, const QString& path, QObject* parent);

    /** Writes the next part; false when nothing is left to do and the file is closed. */
    bool writeMore();
    /** Closes the file, which is not whole then unless it already was. */
    void close();

    [[nodiscard]] QNetworkReply* reply() const { return m_reply; }
    [[nodiscard]] QString path() const { return m_file.fileName(); }
    /** The file could be opened. */
    [[nodiscard]] bool isOpened() const { return m_isOpened; }
    /** Every byte of the body that has arrived has been written and flushed. */
    [[nodiscard]] bool isWhole() const { return m_isWhole; }
    /** What is wrong with the body, not with the disk: it is cut, damaged, or too large. */
    [[nodiscard]] QNetworkReply::NetworkError bodyError() const;
    /** What the system said of a file that could not be opened or written; else empty. */
    [[nodiscard]] QString systemError() const { return m_systemError; }

private:
    QNetworkReply* const m_reply;
    QFile m_file;
    ContentDecoder m_decoder;
    qint64 m_written = 0;
    QString m_systemError;
    bool m_isOpened = false;
    bool m_isWhole = false;

    [[nodiscard]] bool hasMore() const;
    bool writePiece();
    void noteSystemError();
};

} // namespace zk
