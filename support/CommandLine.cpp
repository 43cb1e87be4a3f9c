#include "support/CommandLine.h"

namespace zk {

namespace {

/**
 * Whether the percent sign at @p index has another one in the same component of the path. With
 * a separator or a quote between them they enclose no variable's name and stay as they are.
 */
bool mayEncloseVariable(const QString& argument, int index)
{
    const auto isSeparator = [](QChar c) {
        return c == QLatin1Char('\\') || c == QLatin1Char('/');
    };
    int first = index;
    while (first > 0 && !isSeparator(argument.at(first - 1))) {
        --first;
    }
    int end = index;
    while (end < argument.size() && !isSeparator(argument.at(end))) {
        ++end;
    }
    return QStringView(argument).mid(first, end - first).count(QLatin1Char('%')) > 1;
}

} // namespace

QString quoteForProgram(const QString& argument)
{
    const QString special = QStringLiteral(" \t\n\v\"");
    bool isPlain = !argument.isEmpty();
    for (const QChar c : argument) {
        isPlain = isPlain && !special.contains(c);
    }
    if (isPlain) {
        return argument;
    }
    QString quoted(QLatin1Char('"'));
    int backslashes = 0;
    for (const QChar c : argument) {
        if (c == QLatin1Char('"')) {
            // Backslashes count double in front of a quote, and only there.
            quoted += QString(backslashes + 1, QLatin1Char('\\'));
        }
        backslashes = c == QLatin1Char('\\') ? backslashes + 1 : 0;
        quoted += c;
    }
    return quoted + QString(backslashes, QLatin1Char('\\')) + QLatin1Char('"');
}

QString quoteForCommandInterpreter(const QString& argument)
{
    QString quoted(QLatin1Char('"'));
    int backslashes = 0;
    for (int i = 0; i < argument.size(); ++i) {
        const QChar c = argument.at(i);
        if (c == QLatin1Char('"') || c.unicode() < 0x20) {
            continue;
        }
        backslashes = c == QLatin1Char('\\') ? backslashes + 1 : 0;
        if (c == QLatin1Char('%') && mayEncloseVariable(argument, i)) {
            // Variables are replaced within quotes too. Outside of them a caret takes the meaning
            // away; what then stands between two percent signs is no variable's name.
            quoted += QLatin1String("\"^%\"");
        } else {
            quoted += c;
        }
    }
    return quoted + QString(backslashes, QLatin1Char('\\')) + QLatin1Char('"');
}

QStringList copyAndLaunchArguments(const CopyAndLaunch& job, QString (*quote)(const QString&))
{
    const int nameStart =
        qMax(job.program.lastIndexOf(QLatin1Char('/')), job.program.lastIndexOf(QLatin1Char('\\')));
    const QString message = QLatin1String("Launching ") + job.program.mid(nameStart + 1) +
                            QLatin1String(". Please wait...");
    const QString then = QStringLiteral("&&");
    return {QStringLiteral("/Q"),
            QStringLiteral("/S"),
            QStringLiteral("/C"),
            QStringLiteral("xcopy"),
            QStringLiteral("/I"),
            QStringLiteral("/R"),
            QStringLiteral("/Q"),
            QStringLiteral("/S"),
            QStringLiteral("/Y"),
            quote(job.unpackDir),
            quote(job.installDir),
            then,
            QStringLiteral("rmdir"),
            QStringLiteral("/S"),
            QStringLiteral("/Q"),
            quote(job.unpackDir),
            then,
            QStringLiteral("echo"),
            quote(message),
            then,
            quote(job.program)};
}

} // namespace zk
