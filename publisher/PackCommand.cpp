#include "publisher/CommandLine.h"
#include "publisher/Commands.h"
#include "publisher/ZipWriter.h"

#include <QDir>
#include <QFileInfo>

#include <optional>

namespace publisher {

namespace {

/** The time for all entries; nothing if it is not one that archives can have. */
std::optional<QDateTime> readTime(const QString& option)
{
    QDateTime time(QDate(1980, 1, 1), QTime(0, 0), Qt::UTC);
    if (!option.isEmpty()) {
        time = QDateTime::fromString(option.trimmed().replace(QLatin1Char(' '), QLatin1Char('T')),
                                     Qt::ISODate);
        time.setTimeSpec(Qt::UTC);
    } else if (qEnvironmentVariableIsSet("SOURCE_DATE_EPOCH")) {
        bool isNumber = false;
        const qint64 seconds = qEnvironmentVariable("SOURCE_DATE_EPOCH").toLongLong(&isNumber);
        time = isNumber ? QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC) : QDateTime();
    }
    return isZipTime(time) ? std::optional(time) : std::nullopt;
}

/** Whether the next run would pack the package, too. */
bool isInside(const QString& package, const QString& folder)
{
    const QString root = QDir(folder).canonicalPath();
    const QString parent = QDir(QFileInfo(package).absolutePath()).canonicalPath();
    return parent == root || parent.startsWith(root + QLatin1Char('/'));
}

/** What to pack, in order; the error if that is not possible. */
std::variant<PackageTree, QString> plan(const QString& folder, const QString& package,
                                        const QString& previous)
{
    if (!QFileInfo(folder).isDir()) {
        return QStringLiteral("no such folder: ") + folder;
    }
    if (isInside(package, folder)) {
        return QStringLiteral("%1 would be inside %2").arg(package, folder);
    }
    auto tree = readTree(folder);
    if (auto* const entries = std::get_if<PackageTree>(&tree)) {
        if (entries->empty()) {
            return QStringLiteral("%1 is empty").arg(folder);
        }
        const QString error = previous.isEmpty() ? QString() : orderLike(previous, *entries);
        if (!error.isEmpty()) {
            return error;
        }
    }
    return tree;
}

/** Returns the exit code. */
int write(const QString& package, const PackageTree& tree, const QDateTime& time, Console& console)
{
    constexpr int steps = 1000;
    const QString error = writeZip(package, tree, time, [&](double done) {
        console.progress(QFileInfo(package).fileName(), qint64(done * steps), steps);
    });
    console.endProgress();
    if (!error.isEmpty()) {
        console.complain(error);
        return eFailed;
    }
    console.print(QStringLiteral("written: ") + package);
    return eFine;
}

} // namespace

int packCommand(const QStringList& arguments, Console& console)
{
    CommandLine line(
        QStringLiteral("Packs a folder as a ZIP package: the same files become the same bytes, "
                       "whenever and wherever."),
        {QStringLiteral("pack CameraDesk desk-4.3.zip"),
         QStringLiteral("pack --previous desk-4.2.zip CameraDesk desk-4.3.zip")});
    line.addPositionalArgument(QStringLiteral("folder"), QStringLiteral("What to pack."));
    line.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The ZIP to write."));
    const QCommandLineOption previous(
        QStringLiteral("previous"),
        QStringLiteral("An older package: what has not changed comes first, in its order, so that "
                       "clients fetch the rest at once."),
        QStringLiteral("file"));
    const QCommandLineOption timeOption(
        QStringLiteral("time"),
        QStringLiteral("The time of all files, in UTC, as 2026-09-14 or \"2026-09-14 09:30:00\" "
                       "(default: SOURCE_DATE_EPOCH, else 1980-01-01)."),
        QStringLiteral("date"));
    line.addOptions({previous, timeOption});
    if (const auto code = line.read(arguments, 2, 2, console)) {
        return *code;
    }
    const auto time = readTime(line.value(timeOption));
    if (!time) {
        console.complain(QStringLiteral("softwareupdate-publish pack: the time is not one from "
                                        "1980 to 2107"));
        return eUsage;
    }
    const QString package = line.positionalArguments().at(1);
    const auto tree = plan(line.positionalArguments().constFirst(), package, line.value(previous));
    if (const auto* const error = std::get_if<QString>(&tree)) {
        console.complain(*error);
        return eFailed;
    }
    return write(package, std::get<PackageTree>(tree), *time, console);
}

} // namespace publisher
