#include "catalogue/DocumentSource.h"

#include <QIODevice>

#include <algorithm>

namespace zk::UpdateDocument {

DocumentSource::DocumentSource(QIODevice& device, const DocumentLimits& limits)
    : m_device(device)
    , m_limits(limits)
    , m_bytes(16 * 1024, Qt::Uninitialized)
{
}

QChar DocumentSource::nextAtStop()
{
    if (m_at == m_end && !goOn()) {
        ++m_endsPassed;
        return QChar(EndOfDocument);
    }
    const QChar c = *m_at++;
    m_stop = findStop();
    return isEnd(c) ? QChar(EndOfDocument) : c;
}

// Each character of the prolog is looked at; further on, those that would end the document.
const QChar* DocumentSource::findStop() const
{
    const auto length = inProlog ? 0 : QStringView(m_at, m_end).indexOf(QChar(EndOfData));
    return length < 0 ? m_end : m_at + length;
}

bool DocumentSource::isEnd(QChar c)
{
    if (inProlog) {
        m_parentheses += c == QLatin1Char('(') ? 1 : (c == QLatin1Char(')') ? -1 : 0);
    }
    return c == QChar(EndOfData) || m_parentheses > m_limits.depth;
}

bool DocumentSource::goOn()
{
    do {
        if (m_nextSkipped < m_skipped.size()) {
            m_at = m_skipped[m_nextSkipped++].end;
        } else if (!fetchPiece()) {
            return false;
        }
        m_end = m_nextSkipped < m_skipped.size() ? m_skipped[m_nextSkipped].begin : m_piece.cend();
    } while (m_at == m_end);
    return true;
}

// The first piece holds the encoding declaration. A piece is empty when it ends within a character.
bool DocumentSource::fetchPiece()
{
    if (m_at != m_piece.cend()) {
        return true;
    }
    const qint64 length = isTooLarge() ? 0 : m_device.read(m_bytes.data(), m_bytes.size());
    const bool isFirst = m_size == 0;
    m_remaining = m_device.bytesAvailable();
    m_size += qMax(qint64(0), length);
    if (length <= 0 || isTooLarge()) {
        return false;
    }
    const bool isLong = !isFirst && followPiece();
    m_before.add(m_piece.cbegin(), m_piece.cend());
    m_piece = fromRawData(QByteArray::fromRawData(m_bytes.constData(), int(length)), isFirst);
    m_at = m_piece.cbegin();
    m_tag = nullptr;
    m_nextSkipped = 0;
    m_skipped.clear();
    if (isLong) {
        m_skipped = m_filter.findNeedless(m_at, m_piece.cend());
    }
    m_isFiltered = isLong;
    return true;
}

// Brings the filter to the end of the piece; tells whether nothing but one text or tag is in it.
bool DocumentSource::followPiece()
{
    if (m_tag) {
        m_filter.restart(m_isTextKept);
        // The reader is at the end of the tag or one character behind it.
        m_filter.follow(m_tag - 1, m_piece.cend());
    } else if (!m_isFiltered) {
        m_filter.follow(m_piece.cbegin(), m_piece.cend());
    }
    return !m_tag;
}

Position DocumentSource::position() const
{
    LineCounter count = m_before;
    count.add(m_piece.cbegin(), m_at);
    for (int i = 0; i < m_endsPassed; ++i) {
        count.add(QChar(EndOfDocument));
    }
    return count.position();
}

} // namespace zk::UpdateDocument
