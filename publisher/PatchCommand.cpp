#include "publisher/CommandLine.h"
#include "publisher/Commands.h"
#include "publisher/PatchMaker.h"
#include "publisher/PatchWriter.h"

#include <QLocale>

#include <limits>

namespace publisher {

namespace {

void print(const UpdateCost& cost, const Console& console)
{
    const QLocale locale = QLocale::c();
    const auto share = [&cost](qint64 bytes) {
        constexpr double percent = 100;
        return QString::number(percent * double(bytes) / double(cost.archive), 'f', 1);
    };
    console.print(QStringLiteral("from %1: %2 bytes (%3 %) have changed; with %4 patches %5 bytes "
                                 "(%6 %) in %7 requests")
                      .arg(cost.oldPackage, locale.toString(cost.changed), share(cost.changed))
                      .arg(cost.patches)
                      .arg(locale.toString(cost.patched), share(cost.patched))
                      .arg(cost.requests));
}

} // namespace

int patchCommand(const QStringList& arguments, Console& console)
{
    CommandLine line(
        QStringLiteral("Makes patches for users of older packages: NEW.zip.patches is published "
                       "beside NEW.zip. Sign the package afterwards."),
        {QStringLiteral("patch desk-4.1.zip desk-4.2.zip desk-4.3.zip")});
    line.addPositionalArgument(QStringLiteral("package"),
                               QStringLiteral("The older packages, then the new one."),
                               QStringLiteral("old... new"));
    const QCommandLineOption best(
        QStringLiteral("best"),
        QStringLiteral("The smallest patches, which take twenty times as long."));
    line.addOption(best);
    if (const auto code = line.read(arguments, 2, std::numeric_limits<int>::max(), console)) {
        return *code;
    }
    QStringList packages = line.positionalArguments();
    const QString newPackage = packages.takeLast();
    const auto result =
        writePatches(packages, newPackage, line.isSet(best) ? highestPatchLevel : defaultPatchLevel,
                     [&console](const QString& path) { console.progress(path, 0, 0); });
    console.endProgress();
    if (const auto* const error = std::get_if<QString>(&result)) {
        console.complain(*error);
        return eFailed;
    }
    for (const UpdateCost& cost : std::get<std::vector<UpdateCost>>(result)) {
        print(cost, console);
    }
    console.print(QStringLiteral("written: %1.patches").arg(newPackage));
    return eFine;
}

} // namespace publisher
