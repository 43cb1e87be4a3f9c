#pragma once

#include "support/ContentDecoder.h"
#include "support/FilePlacement.h"

#include <QFile>
#include <QNetworkReply>
#include <QObject>

#include <functional>
#include <optional>

namespace zk {

/**
 * Writes the body of a reply to the disk while it arrives, decoded: into a partial file first,
 * which becomes the file under its name when everything is there.
 *
 * Memory stays below a few MiB, and no call takes longer than writing one of them, whatever the
 * size of the body. Lives in the GUI thread, as does the reply, which it does not own and which
 * must outlive it. Destroying it removes the partial file.
 */
class BodyWriter final : public QObject
{
public:
    /** Bytes that the reply should hold at most: what is there is written within one turn. */
    static constexpr qint64 readBufferSize = 2LL * 1024 * 1024;

    /** Called with each piece that has been written, decoded. */
    using Observer = std::function<void(const char* data, qint64 size)>;

    /** @p parent owns the writer. */
    BodyWriter(QNetworkReply* reply, QObject* parent, Observer observer = {});
    ~BodyWriter() override;

    /**
     * Writes a part of what has arrived, or of what is announced, for a file @p path; returns false
     * when there is nothing left to write, or no way to. The partial file is beside @p path, in the
     * nearest folder that exists: those above @p path are only made at the end.
     */
    bool receive(const QString& path);
    /** Counts what has arrived and drops it: Qt receives no more when its buffer is full. */
    void drain();

    /**
     * After the end of the reply: takes the next step towards the whole file @p path, and returns
     * false when that is closed. A file that is there already is written over in place.
     */
    bool finish(const QString& path);
    /** Ends early: a new file @p path holds what has been written so far, and is not whole. */
    void close(const QString& path);

    [[nodiscard]] QNetworkReply* reply() const { return m_reply; }
    /** Bytes of the body that have arrived, encoded as they were. */
    [[nodiscard]] qint64 received() const { return m_received + m_reply->bytesAvailable(); }
    /** The file under its name, once finish() or close() was called. */
    [[nodiscard]] QString path() const { return m_path; }
    /** It could be opened. */
    [[nodiscard]] bool isOpened() const { return m_isOpened; }
    /** Every byte of the body that has arrived is in the file, and flushed. */
    [[nodiscard]] bool isWhole() const { return m_step == eEnd && m_isFine; }
    /** The rest cannot be written: receiving it makes no sense. */
    [[nodiscard]] bool hasFailed() const { return !m_isFine; }
    /** What is wrong with the body, not with the disk: it is cut, damaged, or too large. */
    [[nodiscard]] QNetworkReply::NetworkError bodyError() const;
    /** What the system said of a file that could not be opened or written; else empty. */
    [[nodiscard]] QString systemError() const { return m_systemError; }

private:
    enum Step { eReceiving, ePlacing, eEnd };

    QNetworkReply* const m_reply;
    const Observer m_observer;
    Step m_step = eReceiving;
    QFile m_partial;
    QString m_path;
    std::optional<ContentDecoder> m_decoder;
    std::optional<FilePlacement> m_placement;
    QByteArray m_buffer;
    qint64 m_received = 0;
    qint64 m_written = 0;
    QString m_systemError;
    bool m_isFine = true;
    bool m_isOpened = false;

    [[nodiscard]] bool hasMore() const;
    [[nodiscard]] bool open(const QString& path);
    [[nodiscard]] bool hasRoom(const QString& folder);
    [[nodiscard]] bool writePiece();
    void place(const QString& path);
    void endPlacing();
    void fail(const QString& reason);
};

} // namespace zk
