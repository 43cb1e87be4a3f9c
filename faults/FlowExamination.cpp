// The checks after a flow.

#include "Flow.h"

#include "Files.h"

#include "download/DownloadCache.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

namespace zk::faults {

void Flow::examineState()
{
    const QString end = m_client ? QStringLiteral("state %1").arg(m_client->state())
                                 : QStringLiteral("client deleted");
    m_outcome.end = m_wasHandedOver ? QStringLiteral("tree handed over") : end;
    if (!m_client) {
        return;
    }
    const int state = m_client->state();
    const bool isEnd = state >= SoftwareUpdate::eUpdateAvailable && state <= SoftwareUpdate::eError;
    // Without a parent nothing can be offered, and the state stays eChecking.
    const bool isParentless =
        m_wasParentClosed && (state == SoftwareUpdate::eChecking || state == SoftwareUpdate::eIdle);
    if (!isEnd && !isParentless) {
        violate(QStringLiteral("no end state: %1").arg(state));
    }
}

QStringList Flow::startedPrograms() const
{
    const QString text = QStringLiteral("installEXEPackage] trying to run ");
    QStringList paths;
    const QStringList lines = m_log->lines(Log::eInfo).filter(text);
    for (const QString& line : lines) {
        paths << line.section(text, 1);
    }
    return paths;
}

void Flow::examineStarts()
{
    const QStringList paths = startedPrograms();
    for (const QString& path : paths) {
        m_outcome.end = QStringLiteral("program started");
        const QByteArray content = test::readFile(path);
        const bool isGone = !QFile::exists(path);
        if (isGone ? m_plan.act.kind != Act::eRemoveTemporaryFolder : !m_peer.mayStart(content)) {
            violate(QStringLiteral("started %1, %2 bytes%3")
                        .arg(path, QString::number(content.size()),
                             isGone ? QStringLiteral(", gone") : QString()));
        }
        const auto hasRun = [&path] { return QFile::exists(path + QStringLiteral(".arguments")); };
        if (content.startsWith(Peer::firstLines()) && !QTest::qWaitFor(hasRun, 10'000) &&
            m_plan.mustSucceed()) {
            violate(QStringLiteral("the program did not run"));
        }
    }
    const bool isUnpacked =
        !m_log->lines(Log::eInfo).filter(QStringLiteral("installZIPPackage] unzipping ")).isEmpty();
    if (isUnpacked && !m_wasHandedOver && m_sandbox.leftovers().size() == 1) {
        m_outcome.end = QStringLiteral("tree unpacked");
    }
    const QString staged = stagedTree();
    if (!staged.isEmpty() && !m_wasHandedOver && m_peer.mayStage(Sandbox::tree(staged))) {
        m_outcome.end = QStringLiteral("tree put together");
    }
    if ((isUnpacked || !paths.isEmpty()) && !m_peer.mayDispatch()) {
        violate(QStringLiteral("dispatched without a valid signature"));
    }
}

int Flow::handOverTo(const QStringList& arguments)
{
    m_wasHandedOver = true;
    const QString folder = arguments.value(arguments.indexOf(QStringLiteral("-newDir")) + 1);
    const Tree tree = Sandbox::tree(folder);
    if (!m_peer.mayStage(tree) && (!m_peer.mayUnpack(tree) || !m_peer.mayDispatch())) {
        violate(QStringLiteral("handed over what is not the tree: ") + folder);
    }
    const QString record = arguments.first() + QStringLiteral(".arguments");
    if (QProcess::execute(arguments.first(), arguments.mid(1)) != 0 || !QFile::remove(record)) {
        violate(QStringLiteral("the installer did not run"));
    }
    return -1;
}

bool Flow::mayStay(const QString& folder, const Tree& files) const
{
    if (m_peer.mayUnpack(files)) {
        return true;
    }
    // During unpacking: the rest may stay, but must never be handed over.
    if (m_hasActed && m_plan.act.kind == Act::eRemoveTemporaryFolder && !files.isEmpty() &&
        m_peer.mayBePartOfTree(files)) {
        return true;
    }
    const QStringList started = startedPrograms();
    for (const QString& path : started) {
        if (path.section(QLatin1Char('/'), -2, -2) == folder) {
            Tree rest = files;
            rest.remove(QStringLiteral("setup.exe"));
            rest.remove(QStringLiteral("setup.exe.arguments"));
            return rest.isEmpty();
        }
    }
    // By design: there is nobody to inform, and nothing is erased without the user's knowledge.
    return m_wasParentClosed;
}

void Flow::examineLeftovers()
{
    const QMap<QString, Tree> left = m_sandbox.leftovers();
    for (auto it = left.cbegin(); it != left.cend(); ++it) {
        if (!mayStay(it.key(), it.value())) {
            violate(QStringLiteral("left in the temporary folder: %1 with %2")
                        .arg(it.key(), QStringList(it.value().keys()).join(QStringLiteral(", "))));
        }
    }
}

// The staging folder: the path of its tree, empty if there is none.
QString Flow::stagedTree() const
{
    const QDir cache(DownloadCache(QStringLiteral("Viewer")).folder());
    const QStringList folders = cache.entryList({QStringLiteral("staging-*")}, QDir::Dirs);
    return folders.isEmpty() ? QString()
                             : cache.filePath(folders.constFirst()) + QStringLiteral("/tree");
}

// No file in it has other contents than the package, however far it came.
void Flow::examineStaging(QStringList& files)
{
    static const QRegularExpression ours(QStringLiteral("^staging-[0-9a-f]{16}$"));
    static const QStringList known{
        QStringLiteral("manifest"), QStringLiteral("manifest.minisig"), QStringLiteral("new"),
        QStringLiteral("section"),  QStringLiteral("section.json"),     QStringLiteral("tree")};
    const QStringList folders = files.filter(ours);
    for (const QString& folder : folders) {
        files.removeOne(folder);
    }
    if (folders.isEmpty()) {
        return;
    }
    const QString tree = stagedTree();
    Tree staged = Sandbox::tree(tree);
    staged.remove(QStringLiteral(".softwareupdate-manifest"));
    QStringList others =
        QDir(tree.chopped(5)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    for (const QString& name : known) {
        others.removeOne(name);
    }
    const QStringList names = staged.keys();
    if (!m_plan.isDifferential || folders.size() > 1 || !others.isEmpty() ||
        (!staged.isEmpty() && !m_peer.mayBePartOfTree(staged))) {
        violate(QStringLiteral("staged: %1; %2")
                    .arg(names.join(QStringLiteral(", ")), others.join(QStringLiteral(", "))));
    }
}

// Parts with their records, at most two, and nothing of what has been installed.
void Flow::examineCache()
{
    static const QRegularExpression ours(QStringLiteral("^[0-9a-f]{64}\\.(part|json)$"));
    QDir cache(DownloadCache(QStringLiteral("Viewer")).folder());
    QStringList files =
        cache.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    examineStaging(files);
    if (m_plan.leftBehind > 0 && files.size() == 3) {
        files = files.filter(ours); // nobody has asked for it since its host died
    }
    const bool isDescribed =
        files.size() % 2 == 0 && files.size() <= 4 && files.filter(ours).size() == files.size();
    // Who fetches only what has changed does not need the part of the whole.
    const bool isWanted = m_plan.retries > 0 && (!m_plan.mustSucceed() || m_plan.isDifferential);
    if (!isDescribed || (!files.isEmpty() && !isWanted)) {
        violate(QStringLiteral("left in the cache: ") + files.join(QStringLiteral(", ")));
    }
    m_sandbox.removeCache();
}

void Flow::examineSuccess()
{
    if (m_plan.mustSucceed()) {
        bool isUnpacked = false;
        const QMap<QString, Tree> left = m_sandbox.leftovers();
        for (const Tree& files : left) {
            isUnpacked = isUnpacked || m_peer.mayUnpack(files);
        }
        const QString staged = stagedTree();
        isUnpacked = isUnpacked || (!staged.isEmpty() && m_peer.mayStage(Sandbox::tree(staged)));
        const bool isDone = m_plan.isArchive ? isUnpacked && m_wasHandedOver == m_plan.restartsNow
                                             : startedPrograms().size() == 1;
        if (!isDone) {
            violate(QStringLiteral("nothing came of it, and nothing was in the way; boxes: ") +
                    m_robot.seen().join(QStringLiteral(" | ")));
        }
    }
}

} // namespace zk::faults
