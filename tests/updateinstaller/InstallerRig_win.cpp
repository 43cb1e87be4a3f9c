#include "InstallerRig.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QtDebug>

#include <windows.h>

namespace {

void write(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size()) {
        qFatal("cannot write %s", qPrintable(path));
    }
    file.close();
    // A time that a copy made today does not have by chance.
    (void)file.open(QIODevice::ReadWrite);
    file.setFileTime(QDateTime::fromSecsSinceEpoch(1'600'000'000 + contents.size()),
                     QFileDevice::FileModificationTime);
}

} // namespace

QString InstallerRig::placeForFiles()
{
    return QDir::tempPath();
}

QString InstallerRig::sleepingProgram()
{
    return QStringLiteral(INSTALLED_PROGRAM);
}

QStringList InstallerRig::hold(int milliseconds)
{
    const QString file = QDir::toNativeSeparators(application() + QStringLiteral("/lib/libä.so"));
    m_heldFile = ::CreateFileW(reinterpret_cast<const wchar_t*>(file.utf16()), GENERIC_READ, 0,
                               nullptr, OPEN_EXISTING, 0, nullptr);
    if (m_heldFile == INVALID_HANDLE_VALUE) {
        qFatal("cannot hold %s", qPrintable(file));
    }
    m_holding.invalidate();
    m_holdFor = milliseconds;
    return {};
}

void InstallerRig::makeTree(const QString& folder, const QByteArray& version)
{
    QDir().mkpath(folder + QStringLiteral("/lib/deep"));
    QDir().mkpath(folder + QStringLiteral("/empty"));
    QByteArray program = "no program";
    if (version != "broken") {
        QFile file(QStringLiteral(INSTALLED_PROGRAM));
        (void)file.open(QIODevice::ReadOnly);
        program = file.readAll() + version; // what stands behind the image does not matter
    }
    write(folder + QStringLiteral("/camera desk"), program);
    write(folder + QStringLiteral("/read me"), version + " text");
    write(folder + QStringLiteral("/lib/libä.so"), version + " library");
    const QString readOnly = folder + QStringLiteral("/lib/deep/read only");
    QFile::setPermissions(readOnly, QFile::ReadOwner | QFile::WriteOwner);
    write(readOnly, version + " data");
    QFile::setPermissions(readOnly, QFile::ReadOwner);
}

QByteArray InstallerRig::hashOf(const QString& folder)
{
    QStringList lines;
    QDirIterator entries(folder,
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        const QFileInfo info = entries.fileInfo();
        QString line = path.mid(folder.size());
        if (info.isFile()) {
            QFile file(path);
            (void)file.open(QIODevice::ReadOnly);
            line += QStringLiteral(" %1 %2 %3")
                        .arg(int(info.isWritable()))
                        .arg(info.lastModified().toMSecsSinceEpoch())
                        .arg(QString::fromLatin1(file.readAll().toHex()));
        }
        lines << line;
    }
    lines.sort();
    return QCryptographicHash::hash(lines.join(QLatin1Char('\n')).toUtf8(),
                                    QCryptographicHash::Sha256);
}

void InstallerRig::start(Build build, const QStringList& arguments, const QStringList& environment)
{
    const QString program = parent() + QStringLiteral("/UpdateInstaller");
    QFile::remove(program);
    QFile::copy(root() +
                    (build == Build::eReal ? QStringLiteral("/real") : QStringLiteral("/faulty")),
                program);

    // A new one for each run: a program that an earlier, killed run has started may be late.
    m_report = (root() + QStringLiteral("/report%1").arg(++m_runs)).toUtf8();
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    variables.insert(QStringLiteral("REPORT"), QString::fromUtf8(m_report));
    variables.insert(QStringLiteral("FAULT_PATIENCE_MS"), QStringLiteral("2000"));
    for (const QString& setting : environment) {
        variables.insert(setting.section(QLatin1Char('='), 0, 0),
                         setting.section(QLatin1Char('='), 1));
    }
    m_process.setProcessEnvironment(variables);
    m_process.setStandardErrorFile(root() + QStringLiteral("/stderr"), QIODevice::Append);
    m_process.start(program, arguments);
    if (!m_process.waitForStarted()) {
        qFatal("cannot start %s: %s", qPrintable(program), qPrintable(m_process.errorString()));
    }
}

InstallerRig::Run InstallerRig::finish()
{
    constexpr int untilNextLook = 20;
    while (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(untilNextLook)) {
        // Counted from where the program has noticed: who knows how long it takes to start.
        if (!m_holding.isValid() && logText().contains("waiting")) {
            m_holding.start();
        }
        if (m_heldFile && m_holding.isValid() && m_holding.hasExpired(m_holdFor)) {
            ::CloseHandle(std::exchange(m_heldFile, nullptr));
        }
    }
    if (m_heldFile) {
        ::CloseHandle(std::exchange(m_heldFile, nullptr));
    }
    return {m_process.exitCode(), false};
}

QByteArray InstallerRig::started() const
{
    QElapsedTimer waiting;
    waiting.start();
    QFile file(QString::fromUtf8(m_report));
    while (!file.exists() && !waiting.hasExpired(20'000)) {
        QThread::msleep(10);
    }
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
