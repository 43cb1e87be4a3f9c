#include "InstallerRig.h"

#include "tests/support/Files.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QtDebug>

namespace {

constexpr auto readOnly = QFile::ReadOwner | QFile::ReadGroup;
constexpr auto allEntries = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;

void write(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) ||
        file.write(contents) != contents.size() ||
        // A time that a copy made today does not have by chance.
        !file.setFileTime(QDateTime::fromMSecsSinceEpoch(1'600'000'000'123 + contents.size()),
                          QFileDevice::FileModificationTime)) {
        qFatal("cannot write %s", qPrintable(path));
    }
}

} // namespace

InstallerRig::InstallerRig()
    : m_dir(placeForFiles() + QStringLiteral("/installer-XXXXXX"))
{
    QFile::copy(QStringLiteral(REAL_INSTALLER), root() + QStringLiteral("/real"));
    QFile::copy(QStringLiteral(FAULTY_INSTALLER), root() + QStringLiteral("/faulty"));
    for (const char* const version : {"old", "new", "third", "broken"}) {
        const QString tree = root() + QStringLiteral("/trees/") + QString::fromLatin1(version);
        makeTree(tree, version);
        m_versions[contentsOf(tree)] = version;
    }
}

void InstallerRig::reset() const
{
    // On Windows the program that the last run has started keeps its folder for as long as it runs.
    QElapsedTimer waiting;
    waiting.start();
    while (!QDir(parent()).removeRecursively() && !waiting.hasExpired(5000)) {
        QThread::msleep(20);
    }
    QDir(root() + QStringLiteral("/tmp")).removeRecursively();
    makeTree(application(), "old");
    QDir().mkpath(QFileInfo(unpacked()).path());
}

QString InstallerRig::workFolder() const
{
    return application() + QStringLiteral(".UpdateInstaller");
}

void InstallerRig::makeTree(const QString& folder, const QByteArray& version)
{
    QDir().mkpath(folder + QStringLiteral("/lib/deep"));
    QDir().mkpath(folder + QStringLiteral("/empty"));
    const QString executable = folder + QStringLiteral("/camera desk");
    write(executable, program(version));
    QFile::setPermissions(executable, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    write(folder + QStringLiteral("/read me"), version + " text");
    write(folder + QStringLiteral("/lib/libä.so"), version + " library");
    const QString data = folder + QStringLiteral("/lib/deep/read only");
    QFile::setPermissions(data, readOnly | QFile::WriteOwner);
    write(data, version + " data");
    QFile::setPermissions(data, readOnly);
#ifndef Q_OS_WIN
    QFile::setPermissions(folder + QStringLiteral("/lib/deep"),
                          readOnly | QFile::ExeGroup | QFile::WriteOwner | QFile::ExeOwner);
    QFile::link(QStringLiteral("lib/") + QString::fromLatin1(version),
                folder + QStringLiteral("/link"));
#endif
}

QByteArray InstallerRig::contentsOf(const QString& folder)
{
    QStringList lines;
    QDirIterator entries(folder, allEntries, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        const QFileInfo info = entries.fileInfo();
        QString line = path.mid(folder.size());
        if (info.isSymLink()) {
            line += QStringLiteral(" -> ") + info.symLinkTarget().midRef(folder.size());
        } else {
            line += QStringLiteral(" %1").arg(int(info.permissions()), 0, 16);
        }
        if (info.isFile()) {
            line += QStringLiteral(" %1 %2")
                        .arg(info.lastModified().toMSecsSinceEpoch())
                        .arg(QString::fromLatin1(zk::test::readFile(path).toHex()));
        }
        lines << line;
    }
    lines.sort();
    return lines.join(QLatin1Char('\n')).toUtf8();
}

QByteArray InstallerRig::treeIn(const QString& folder) const
{
    return m_versions.value(contentsOf(folder));
}

QStringList InstallerRig::commandLine(const QString& oldDir, const QString& newDir,
                                      const QString& exe)
{
    return {QStringLiteral("-oldDir"), oldDir, QStringLiteral("-newDir"), newDir,
            QStringLiteral("-exe"),    exe};
}

InstallerRig::Run InstallerRig::run(Build build, const QStringList& arguments,
                                    const QStringList& environment)
{
    start(build, arguments, environment);
    return finish();
}

void InstallerRig::start(Build build, const QStringList& arguments, const QStringList& environment)
{
    const QString installer = parent() + QStringLiteral("/UpdateInstaller");
    QFile::remove(installer);
    copyProgram(root() +
                    (build == Build::eReal ? QStringLiteral("/real") : QStringLiteral("/faulty")),
                installer);

    // A new one for each run: a program that an earlier, killed run has started may be late.
    m_report = root() + QStringLiteral("/report%1").arg(++m_runs);
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    variables.insert(QStringLiteral("REPORT"), m_report);
    variables.insert(QStringLiteral("FAULT_PATIENCE_MS"), QStringLiteral("2000"));
    for (const QString& setting : environment) {
        variables.insert(setting.section(QLatin1Char('='), 0, 0),
                         setting.section(QLatin1Char('='), 1));
    }
    m_process.setProcessEnvironment(variables);
    m_process.setStandardErrorFile(root() + QStringLiteral("/stderr"), QIODevice::Append);
    m_process.setStandardOutputFile(QProcess::nullDevice());
    m_process.start(installer, arguments);
    if (!m_process.waitForStarted()) {
        qFatal("cannot start %s: %s", qPrintable(installer), qPrintable(m_process.errorString()));
    }
}

InstallerRig::Run InstallerRig::finish()
{
    constexpr int untilNextLook = 20;
    while (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(untilNextLook)) {
        // Counted from where the program has noticed: who knows how long it takes to start.
        if (m_heldFile && !m_holding.isValid() && logText().contains("waiting")) {
            m_holding.start();
        }
        if (m_holding.isValid() && m_holding.hasExpired(m_holdFor)) {
            letGo();
        }
    }
    letGo();
    const bool wasKilled = m_process.exitStatus() == QProcess::CrashExit;
    return {wasKilled ? -1 : m_process.exitCode(), wasKilled};
}

QByteArray InstallerRig::started() const
{
    QElapsedTimer waiting;
    waiting.start();
    QByteArray report;
    while (!(report = zk::test::readFile(m_report)).contains('\n') && !waiting.hasExpired(20'000)) {
        QThread::msleep(1);
    }
    return report.split('\n').first();
}

QStringList InstallerRig::leftovers() const
{
    QStringList names = QDir(parent()).entryList(allEntries);
    names.removeAll(QFileInfo(application()).fileName());
    names.removeAll(QFileInfo(log()).fileName());
#ifdef Q_OS_WIN
    // It cannot remove itself there while it runs.
    names.removeAll(QStringLiteral("UpdateInstaller.retired-1"));
#endif
    return names;
}

QByteArray InstallerRig::logText() const
{
    return zk::test::readFile(log());
}
