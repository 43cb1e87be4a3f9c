#include "InstallerRig.h"

#include "tests/support/Files.h"

#include <QDir>
#include <QtDebug>

#include <utility>
#include <windows.h>

QString InstallerRig::placeForFiles()
{
    return QDir::tempPath();
}

QByteArray InstallerRig::program(const QByteArray& version)
{
    // What stands behind the image does not matter.
    return version == "broken" ? "no program" : zk::test::readFile(sleepingProgram()) + version;
}

void InstallerRig::copyProgram(const QString& from, const QString& to)
{
    QFile::copy(from, to);
}

QString InstallerRig::sleepingProgram()
{
    return QStringLiteral(INSTALLED_PROGRAM);
}

QStringList InstallerRig::hold(int milliseconds)
{
    const QString file = QDir::toNativeSeparators(application() + u"/lib/libä.so"_s);
    m_heldFile = ::CreateFileW(reinterpret_cast<const wchar_t*>(file.utf16()), GENERIC_READ, 0,
                               nullptr, OPEN_EXISTING, 0, nullptr);
    if (m_heldFile == INVALID_HANDLE_VALUE) {
        qFatal("cannot hold %s", qPrintable(file));
    }
    m_holding.invalidate();
    m_holdFor = milliseconds;
    return {};
}

void InstallerRig::letGo()
{
    if (m_heldFile) {
        ::CloseHandle(std::exchange(m_heldFile, nullptr));
    }
}
