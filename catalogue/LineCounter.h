#pragma once

#include <QChar>

#include <algorithm>
#include <iterator>

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
    void add(QChar c)
    {
        const bool isNewLine =
            m_last == QLatin1Char('\n') || (m_last == QLatin1Char('\r') && c != QLatin1Char('\n'));
        m_line += isNewLine ? 1 : 0;
        m_column = isNewLine ? 0 : m_column + 1;
        m_last = c;
    }

    void add(const QChar* begin, const QChar* end)
    {
        if (begin == end) {
            return;
        }
        add(*begin);
        // Most texts have no "\r": then every "\n" with something behind it is the end of a line.
        if (count(begin, end, u'\r') > 0) {
            std::for_each(begin + 1, end, [this](QChar c) { add(c); });
            return;
        }
        const QChar* const last = end - 1;
        const int lines = count(begin, last, u'\n');
        m_line += lines;
        m_column += int(last - begin);
        if (lines > 0) {
            const auto newLine = std::find(std::make_reverse_iterator(last),
                                           std::make_reverse_iterator(begin), QLatin1Char('\n'));
            m_column = int(last - newLine.base());
        }
        m_last = *last;
    }

    /** Where the last character is. */
    [[nodiscard]] Position position() const { return {m_line + 1, m_column + 1}; }

private:
    // A loop that compilers vectorise, other than std::count() and std::find() with QChar.
    static int count(const QChar* begin, const QChar* end, char16_t wanted)
    {
        int found = 0;
        for (const QChar* at = begin; at != end; ++at) {
            found += at->unicode() == wanted ? 1 : 0;
        }
        return found;
    }

    int m_line = 0;
    int m_column = -1;
    QChar m_last;
};

} // namespace zk::UpdateDocument
