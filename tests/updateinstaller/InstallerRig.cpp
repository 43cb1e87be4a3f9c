#include "InstallerRig.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>

InstallerRig::InstallerRig()
    : m_dir(placeForFiles() + QStringLiteral("/installer-XXXXXX"))
{
    // Linked from here into the parent folder, which costs nothing.
    QFile::copy(QStringLiteral(REAL_INSTALLER), root() + QStringLiteral("/real"));
    QFile::copy(QStringLiteral(FAULTY_INSTALLER), root() + QStringLiteral("/faulty"));
    for (const char* const version : {"old", "new", "third", "broken"}) {
        const QString tree = root() + QStringLiteral("/trees/") + QString::fromLatin1(version);
        makeTree(tree, version);
        m_versions[hashOf(tree)] = version;
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

QByteArray InstallerRig::treeIn(const QString& folder) const
{
    return m_versions.value(hashOf(folder));
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

QStringList InstallerRig::leftovers() const
{
    QStringList names = QDir(parent()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                                 QDir::NoDotAndDotDot);
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
    QFile file(log());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
