#pragma once

#include <QCommandLineParser>

#include <optional>

namespace publisher {

class Console;

/** The command line of one command: its options, and --help with examples. */
class CommandLine : public QCommandLineParser
{
public:
    /** @p examples are printed after the help, one per line. */
    CommandLine(const QString& description, const QStringList& examples);

    /**
     * Parses @p arguments, which begin with the command's name. Returns an exit code if nothing is
     * left to do: help was printed, or an error in the arguments was reported.
     */
    [[nodiscard]] std::optional<int> read(const QStringList& arguments, int fewest, int most,
                                          Console& console);

private:
    QStringList m_examples;
};

} // namespace publisher
