#pragma once

#include <QProcess>
#include <QTest>

namespace zk::test {

/**
 * Runs an installed tool in @p folder, gives it @p input and returns what it said; ends the test
 * with that when the tool fails.
 */
inline QByteArray runTool(const QString& program, const QString& folder,
                          const QStringList& arguments, const QByteArray& input = {})
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished() || process.exitCode() != 0) {
        qFatal("%s: %s", qPrintable(program), process.readAllStandardError().constData());
    }
    return process.readAllStandardOutput();
}

} // namespace zk::test
