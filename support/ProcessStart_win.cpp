#include "support/CommandLine.h"
#include "support/ProcessStart.h"

#include <QProcess>

#include <process.h>

#include <string>
#include <vector>

namespace zk {

namespace {

void execute(const std::wstring& program, const std::vector<std::wstring>& a)
{
    _wexecl(program.c_str(), a[0].c_str(), a[1].c_str(), a[2].c_str(), a[3].c_str(), a[4].c_str(),
            a[5].c_str(), a[6].c_str(), nullptr);
}

} // namespace

void startInstaller(const QString& path)
{
    QProcess::startDetached(path, QStringList());
}

void startCopyAndLaunch(const QString& program, const CopyAndLaunch& job)
{
    QProcess process;
    process.setProgram(program);
    // QProcess quotes for programs; the command interpreter has rules of its own.
    process.setNativeArguments(
        copyAndLaunchArguments(job, quoteForCommandInterpreter).join(QLatin1Char(' ')));
    process.startDetached();
}

void replaceProcess(const QString& program, const QStringList& arguments)
{
    Q_ASSERT(arguments.size() == 6);
    // The runtime joins the arguments with blanks and quotes nothing.
    std::vector<std::wstring> quoted{quoteForProgram(program).toStdWString()};
    for (const QString& argument : arguments) {
        quoted.push_back(quoteForProgram(argument).toStdWString());
    }
    execute(program.toStdWString(), quoted);
    // Without an extension the runtime tries .com, .exe, .bat and .cmd only; with a dot at the end
    // it tries the name as it stands.
    execute((program + QLatin1Char('.')).toStdWString(), quoted);
}

} // namespace zk
