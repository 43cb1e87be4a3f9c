// softwareupdate-publish, a tool for publishers of update documents.

#include "publisher/Commands.h"

#include <QCoreApplication>

namespace {

using namespace publisher;

struct Command
{
    const char* name;
    const char* summary;
    int (*run)(const QStringList& arguments, Console& console);
};

constexpr Command commands[] = {
    {"lint", "find the mistakes in an update document", lintCommand},
    {"add", "add packages to it, or begin one", addCommand},
    {"preview", "show what a user would see of it", previewCommand},
    {"keys", "make a pair of keys for signatures", keysCommand},
    {"pack", "pack a folder as a ZIP package, always alike", packCommand},
    {"patch", "make patches for users of older packages", patchCommand},
    {"sign", "sign packages", signCommand},
    {"verify", "compare a folder with a package's manifest", verifyCommand},
    {"serve", "serve a folder on this machine, for trying out", serveCommand},
};

void printUsage(const Console& console)
{
    console.print(QStringLiteral("Usage: softwareupdate-publish COMMAND [ARGUMENTS]\n\n"
                                 "Commands (each with --help):"));
    for (const Command& command : commands) {
        console.print(QStringLiteral("  %1 %2")
                          .arg(QLatin1String(command.name), -10)
                          .arg(QLatin1String(command.summary)));
    }
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("softwareupdate-publish"));
    Console console;
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    const QString name = arguments.value(0);
    for (const Command& command : commands) {
        if (name == QLatin1String(command.name)) {
            return command.run(arguments, console);
        }
    }
    if (name.isEmpty() || name == QLatin1String("help") || name == QLatin1String("--help")) {
        printUsage(console);
        return name.isEmpty() ? eUsage : eFine;
    }
    console.complain(QStringLiteral("softwareupdate-publish: unknown command \"%1\"").arg(name));
    printUsage(console);
    return eUsage;
}
