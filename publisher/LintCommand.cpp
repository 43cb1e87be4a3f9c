#include "publisher/CommandLine.h"
#include "publisher/Commands.h"
#include "publisher/Files.h"
#include "publisher/FindingReport.h"
#include "publisher/Lint.h"

namespace publisher {

int lintCommand(const QStringList& arguments, Console& console)
{
    CommandLine line(QStringLiteral("Finds the mistakes in an update document."),
                     {QStringLiteral("lint updates.xml"),
                      QStringLiteral("lint --json https://updates.example.com/updates.xml")});
    line.addPositionalArgument(QStringLiteral("document"),
                               QStringLiteral("The document: a file, or its address."));
    const QCommandLineOption json(QStringLiteral("json"),
                                  QStringLiteral("Print the findings as JSON, for machines."));
    line.addOption(json);
    if (const auto code = line.read(arguments, 1, 1, console)) {
        return *code;
    }
    const QString place = line.positionalArguments().constFirst();
    const DocumentFile document = readDocument(place, console);
    if (!document.bytes) {
        return eFailed;
    }
    const Findings findings = lint(*document.bytes, document.folder);
    if (line.isSet(json)) {
        console.print(QString::fromUtf8(toJson(findings, place)));
    } else {
        printFindings(findings, place, console);
    }
    return exitCode(findings);
}

} // namespace publisher
