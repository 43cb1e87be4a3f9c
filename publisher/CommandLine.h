#pragma once

#include <QCommandLineParser>

#include <optional>

namespace publisher {

class Console;

/** The command line of one command: its options, and --help with examples. */
class CommandLine : public QCommandLineParser
{
public:
    /** @p examples are printed behind the help, one per line. */
    CommandLine(const QString& description, const QStringList& examples);

    /**
     * Reads @p arguments, which begin with the command's name. The exit code when there is nothing
     * left to do: help was asked for, or the arguments make no sense and that was said.
     */
    [[nodiscard]] std::optional<int> read(const QStringList& arguments, int fewest, int most,
                                          Console& console);

private:
    QStringList m_examples;
};

} // namespace publisher
