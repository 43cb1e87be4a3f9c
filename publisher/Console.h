#pragma once

#include <QString>

namespace publisher {

/** Where this program's answers, complaints and progress go; UTF-8 whatever the locale. */
class Console
{
public:
    enum Colour { eRed = 31, eGreen = 32, eYellow = 33, eBlue = 34 };

    Console();

    /** One line of the answer itself, on standard output. */
    void print(const QString& line) const;
    /** One line for the person, on the error output. */
    void complain(const QString& line) const;

    /** @p text in a colour where the answer is shown on a terminal. */
    [[nodiscard]] QString coloured(const QString& text, Colour colour) const;

    /**
     * Draws a bar on the error output if that is a terminal: @p done of @p total, which may be
     * unknown (0). What has begun ends with endProgress().
     */
    void progress(const QString& label, qint64 done, qint64 total);
    void endProgress();

private:
    bool m_isOutTerminal;
    bool m_isErrorTerminal;
    int m_shown = -1;
};

} // namespace publisher
