#pragma once

#include <QChar>

namespace zk::UpdateDocument {

/** A place in a document, counted from 1. */
struct Position
{
    int line = 0;
    int column = 0;
};

/**
 * Counts lines and columns of a text that comes in pieces, as Qt's XML reader does.
 *
 * A line ends with the character behind its end: until then it is not known whether "\r" is all.
 */
class LineCounter
{
public:
    void add(const QChar* begin, const QChar* end)
    {
        for (const QChar* at = begin; at != end; ++at) {
            const bool isNewLine = m_last == QLatin1Char('\n') ||
                                   (m_last == QLatin1Char('\r') && *at != QLatin1Char('\n'));
            m_line += isNewLine ? 1 : 0;
            m_column = isNewLine ? 0 : m_column + 1;
            m_last = *at;
        }
    }

    /** Where the last character is. */
    [[nodiscard]] Position position() const { return {m_line + 1, m_column + 1}; }

private:
    int m_line = 0;
    int m_column = -1;
    QChar m_last;
};

} // namespace zk::UpdateDocument
