#pragma once

#include "catalogue/DocumentLimits.h"
#include "catalogue/LineCounter.h"
#include "catalogue/LongTextFilter.h"

#include <QByteArray>
#include <QXmlInputSource>

class QIODevice;

namespace zk::UpdateDocument {

QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

/**
 * Hands a document to Qt's reader character by character, and counts lines and columns.
 *
 * Ends the document where it is too large, or where its prolog nests parentheses deeper than the
 * limit.
 */
class DocumentSource final : public QXmlInputSource
{
public:
    DocumentSource(QIODevice& device, const DocumentLimits& limits);

    void fetchData() override {}
    QChar next() override
    {
        // Called for each character: whatever takes more than this has a stop of its own.
        return m_at != m_stop ? *m_at++ : nextAtStop();
    }

    /** To be called for each tag; tells whether the text that follows is a value. */
    void tagPassed(bool isTextKept)
    {
        m_tag = m_at;
        m_isTextKept = isTextKept;
    }

    /** Where the character that the reader has got last stands. */
    [[nodiscard]] Position position() const;
    /** Bytes that the device still holds. */
    [[nodiscard]] qint64 remaining() const { return m_remaining; }
    [[nodiscard]] bool isTooLarge() const { return m_size > m_limits.bytes; }

    /** Whether the root element is still to come. */
    bool inProlog = true;

private:
    QChar nextAtStop();
    [[nodiscard]] bool isEnd(QChar c);
    [[nodiscard]] const QChar* findStop() const;
    bool goOn();
    bool fetchPiece();
    bool followPiece();

    QIODevice& m_device;
    const DocumentLimits& m_limits;
    QByteArray m_bytes;
    QString m_piece;
    const QChar* m_at = m_piece.cbegin();
    /** Where the next range to skip begins, or the end. */
    const QChar* m_end = m_at;
    /** Where the next character is not simply handed on. */
    const QChar* m_stop = m_at;
    /** Where the reader was when it told of a tag last; null when that was not in this piece. */
    const QChar* m_tag = nullptr;
    bool m_isTextKept = true;
    bool m_isFiltered = false;
    LongTextFilter m_filter;
    std::vector<LongTextFilter::Range> m_skipped;
    std::size_t m_nextSkipped = 0;
    LineCounter m_before;
    int m_endsPassed = 0;
    int m_parentheses = 0;
    qint64 m_size = 0;
    qint64 m_remaining = 0;
};

QT_WARNING_POP

} // namespace zk::UpdateDocument
