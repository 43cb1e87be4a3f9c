#pragma once

#include <QProcess>
#include <QTest>

namespace zk::test {

/** What an installed tool answers in @p folder to @p input; ends the test where it fails. */
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
