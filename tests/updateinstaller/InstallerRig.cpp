#include "InstallerRig.h"

#include "tests/support/Files.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
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
    : m_dir(placeForFiles() + u"/installer-XXXXXX"_s)
{
    QFile::copy(QStringLiteral(REAL_INSTALLER), root() + u"/real"_s);
    QFile::copy(QStringLiteral(FAULTY_INSTALLER), root() + u"/faulty"_s);
    for (const char* const version : {"old", "new", "third", "broken"}) {
        const QString tree = root() + u"/trees/"_s + QString::fromLatin1(version);
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
    QDir(root() + u"/tmp"_s).removeRecursively();
    makeTree(application(), "old");
    QDir().mkpath(QFileInfo(unpacked()).path());
}

QString InstallerRig::workFolder() const
{
    return application() + u".UpdateInstaller"_s;
}

void InstallerRig::makeTree(const QString& folder, const QByteArray& version)
{
    QDir().mkpath(folder + u"/lib/deep"_s);
    QDir().mkpath(folder + u"/empty"_s);
    const QString executable = folder + u"/camera desk"_s;
    write(executable, program(version));
    QFile::setPermissions(executable, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    write(folder + u"/read me"_s, version + " text");
    write(folder + u"/lib/libä.so"_s, version + " library");
    const QString data = folder + u"/lib/deep/read only"_s;
    QFile::setPermissions(data, readOnly | QFile::WriteOwner);
    write(data, version + " data");
    QFile::setPermissions(data, readOnly);
#ifndef Q_OS_WIN
    QFile::setPermissions(folder + u"/lib/deep"_s,
                          readOnly | QFile::ExeGroup | QFile::WriteOwner | QFile::ExeOwner);
    QFile::link(u"lib/"_s + QString::fromLatin1(version), folder + u"/link"_s);
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
            line += u" -> "_s + info.symLinkTarget().mid(folder.size());
        } else {
            line += u" %1"_s.arg(int(info.permissions()), 0, 16);
        }
        if (info.isFile()) {
            line += u" %1 %2"_s.arg(info.lastModified().toMSecsSinceEpoch())
                        .arg(QString::fromLatin1(zk::test::readFile(path).toHex()));
        }
        lines << line;
    }
    lines.sort();
    return lines.join(u'\n').toUtf8();
}

QByteArray InstallerRig::treeIn(const QString& folder) const
{
    return m_versions.value(contentsOf(folder));
}

QStringList InstallerRig::commandLine(const QString& oldDir, const QString& newDir,
                                      const QString& exe)
{
    return {u"-oldDir"_s, oldDir, u"-newDir"_s, newDir, u"-exe"_s, exe};
}

InstallerRig::Run InstallerRig::run(Build build, const QStringList& arguments,
                                    const QStringList& environment)
{
    start(build, arguments, environment);
    return finish();
}

void InstallerRig::start(Build build, const QStringList& arguments, const QStringList& environment)
{
    const QString installer = parent() + u"/UpdateInstaller"_s;
    QFile::remove(installer);
    copyProgram(root() + (build == Build::eReal ? u"/real"_s : u"/faulty"_s), installer);

    // A new one for each run: a program that an earlier, killed run has started may be late.
    m_report = root() + u"/report%1"_s.arg(++m_runs);
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    variables.insert(u"REPORT"_s, m_report);
    variables.insert(u"FAULT_PATIENCE_MS"_s, u"2000"_s);
    for (const QString& setting : environment) {
        variables.insert(setting.section(u'=', 0, 0), setting.section(u'=', 1));
    }
    m_process.setProcessEnvironment(variables);
    m_process.setStandardErrorFile(root() + u"/stderr"_s, QIODevice::Append);
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
    names.removeAll(u"UpdateInstaller.retired-1"_s);
#endif
    return names;
}

QByteArray InstallerRig::logText() const
{
    return zk::test::readFile(log());
}
