#include "InstallerRig.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

QString InstallerRig::placeForFiles()
{
    const QString memory = u"/dev/shm"_s;
    return QFileInfo(memory).isWritable() ? memory : QDir::tempPath();
}

QByteArray InstallerRig::program(const QByteArray& version)
{
    return (version == "broken" ? "#!/nowhere/sh\n" : "#!/bin/sh\n") +
           ("echo \"" + version + "|$0|$PWD|$#\" >\"$REPORT\"\n");
}

void InstallerRig::copyProgram(const QString& from, const QString& to)
{
    // A link costs nothing.
    (void)!::link(QFile::encodeName(from).constData(), QFile::encodeName(to).constData());
}

QString InstallerRig::sleepingProgram()
{
    return u"/bin/sleep"_s;
}

QStringList InstallerRig::hold(int milliseconds)
{
    return {u"FAULT_HELD=Camera & Desk/camera desk"_s, u"FAULT_HELD_MS=%1"_s.arg(milliseconds)};
}

void InstallerRig::letGo() {}
