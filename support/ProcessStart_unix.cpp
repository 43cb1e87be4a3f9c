#include "support/CommandLine.h"
#include "support/ProcessStart.h"

#include <QFile>
#include <QProcess>

#include <unistd.h>

#include <vector>

namespace zk {

void startInstaller(const QString& path)
{
    // What was downloaded may be read and written, but nobody has said yet that it is a program.
    QFile::setPermissions(path, QFile::permissions(path) | QFileDevice::ExeOwner);
    QProcess::startDetached(path, QStringList());
}

void startCopyAndLaunch(const QString& program, const CopyAndLaunch& job)
{
    QProcess::startDetached(
        program, copyAndLaunchArguments(job, [](const QString& argument) { return argument; }));
}

void replaceProcess(const QString& program, const QStringList& arguments)
{
    Q_ASSERT(arguments.size() == 6);
    std::vector<QByteArray> bytes{QFile::encodeName(program)};
    for (const QString& argument : arguments) {
        bytes.push_back(QFile::encodeName(argument));
    }
    std::vector<char*> pointers;
    pointers.reserve(bytes.size() + 1);
    for (QByteArray& argument : bytes) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    execv(pointers.front(), pointers.data());
}

} // namespace zk
