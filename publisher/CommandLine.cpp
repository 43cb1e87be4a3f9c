#include "publisher/CommandLine.h"

#include "publisher/Commands.h"

#include <limits>

namespace publisher {

CommandLine::CommandLine(const QString& description, const QStringList& examples)
    : m_examples(examples)
{
    setApplicationDescription(description);
    setSingleDashWordOptionMode(ParseAsLongOptions);
    addOption({{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Print this text.")});
}

std::optional<int> CommandLine::read(const QStringList& arguments, int fewest, int most,
                                     Console& console)
{
    const bool isUnderstood = parse(arguments);
    if (isUnderstood && isSet(QStringLiteral("help"))) {
        // Qt begins the usage line with the path of the program; show the name instead.
        QString text = helpText().trimmed();
        text.remove(0, text.indexOf(QLatin1Char(' ')) + 1);
        console.print(QStringLiteral("Usage: softwareupdate-publish %1 %2")
                          .arg(arguments.first(), text.mid(text.indexOf(QLatin1Char(' ')) + 1)));
        console.print(QStringLiteral("\nExamples:"));
        for (const QString& example : qAsConst(m_examples)) {
            console.print(QStringLiteral("  softwareupdate-publish ") + example);
        }
        return eFine;
    }
    const int count = positionalArguments().size();
    const QString complaint = !isUnderstood    ? errorText()
                              : count < fewest ? QStringLiteral("an argument is missing")
                              : count > most   ? QStringLiteral("too many arguments")
                                               : QString();
    if (complaint.isEmpty()) {
        return std::nullopt;
    }
    console.complain(QStringLiteral("softwareupdate-publish %1: %2; see softwareupdate-publish %1 "
                                    "--help")
                         .arg(arguments.first(), complaint));
    return eUsage;
}

} // namespace publisher
