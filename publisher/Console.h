#pragma once

#include <QString>

namespace publisher {

/** Output of this program: results, errors and progress; UTF-8 whatever the locale. */
class Console
{
public:
    enum Colour { eRed = 31, eGreen = 32, eYellow = 33, eBlue = 34 };

    Console();

    /** Prints one line of the result on standard output. */
    void print(const QString& line) const;
    /** Prints one error message on standard error. */
    void complain(const QString& line) const;

    /** @p text in a colour if standard output is a terminal. */
    [[nodiscard]] QString coloured(const QString& text, Colour colour) const;

    /**
     * Draws a progress bar on standard error if that is a terminal: @p done of @p total, which may
     * be unknown (0). Call endProgress() afterwards.
     */
    void progress(const QString& label, qint64 done, qint64 total);
    void endProgress();

private:
    bool m_isOutTerminal;
    bool m_isErrorTerminal;
    int m_shown = -1;
};

} // namespace publisher
