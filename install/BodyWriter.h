#pragma once

#include <QFile>
#include <QObject>

class QNetworkReply;

namespace zk {

/**
 * Writes the body of a finished reply to a file, a part at each call: two gigabytes at once would
 * keep the windows from being drawn for seconds.
 *
 * Lives in the GUI thread, and so does the reply, which it does not own and which lives longer.
 */
class BodyWriter final : public QObject
{
public:
    /** Makes the folders above @p path and opens the file; @p parent owns the writer. */
    BodyWriter(QNetworkReply* reply, const QString& path, QObject* parent);

    /** Writes on; false when nothing is left to do and the file is closed. */
    bool writeMore();
    /** Closes the file, which is not whole then unless it already was. */
    void close();

    [[nodiscard]] QNetworkReply* reply() const { return m_reply; }
    [[nodiscard]] QString path() const { return m_file.fileName(); }
    /** The file could be opened. */
    [[nodiscard]] bool isOpened() const { return m_isOpened; }
    /** Every byte of the body has been written and flushed. */
    [[nodiscard]] bool isWhole() const { return m_isWhole; }

private:
    QNetworkReply* const m_reply;
    QFile m_file;
    bool m_isOpened = false;
    bool m_isWhole = false;

    [[nodiscard]] bool hasMore() const;
};

} // namespace zk
