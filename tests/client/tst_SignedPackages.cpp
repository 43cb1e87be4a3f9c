#include "Files.h"
#include "InstallFixture.h"
#include "RangeOrigin.h"
#include "Rows.h"
#include "ToolRun.h"

#include "download/BodyHash.h"
#include "download/DownloadCache.h"
#include "download/PackageSignature.h"
#include "install/FileDownloader.h"

#include <QSignalSpy>
#include <QStandardPaths>

using namespace zk;
using namespace zk::test;

namespace {

const auto ours = u"ours"_s;
const auto other = u"other"_s;
const auto comment = u"timestamp:1\tfile:setup.exe\trelease:4.3"_s;

/** With one bit turned over in the middle of the base64 in line @p line. */
QByteArray damaged(const QByteArray& text, int line)
{
    QList<QByteArray> lines = text.split('\n');
    QByteArray bytes = QByteArray::fromBase64(lines[line]);
    bytes[bytes.size() / 2] = char(bytes.at(bytes.size() / 2) ^ 1);
    lines[line] = bytes.toBase64();
    return lines.join('\n');
}

} // namespace

/** Signatures are made by the real minisign, and then damaged. */
class tst_SignedPackages : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    QString m_key;
    QString m_otherKey;

    void minisign(const QStringList& args) const { runTool(u"minisign"_s, m_folder.path(), args); }
    QString makeKey(const QString& name) const
    {
        const QString publicKey = name + u".pub"_s;
        minisign({u"-GW"_s, u"-s"_s, name, u"-p"_s, publicKey});
        return QString::fromUtf8(readFile(m_folder.filePath(publicKey)));
    }
    QByteArray sign(const QByteArray& bytes, const QString& trusted = comment,
                    const QString& key = ours, const char* form = "-S") const
    {
        writeFile(m_folder.filePath(u"signed"_s), bytes);
        minisign({QLatin1String(form), u"-m"_s, u"signed"_s, u"-s"_s, key, u"-t"_s, trusted});
        return readFile(m_folder.filePath(u"signed.minisig"_s));
    }

    /** Why @p file is not @p package, given its signature; empty if it is. */
    static QString judged(const SignedPackage& package, const QString& file,
                          const QByteArray& signature, const QStringList& keys)
    {
        const auto accepted = PackageSignature::accept(signature, package, keys);
        if (const auto* const complaint = std::get_if<QString>(&accepted)) {
            return *complaint;
        }
        const auto& good = std::get<PackageSignature>(accepted);
        BodyHash hash;
        hash.add(readFile(file).left(3).constData(), 3);
        hash.add(readFile(file).mid(3).constData(), readFile(file).size() - 3);
        return good.isLegacy() ? good.complaintAboutFile(file)
                               : good.complaintAboutHash(hash.result());
    }

    /** Calls @p act when the second download has ended, that of the package. */
    static void installAndThen(InstallFixture& f, const std::function<void()>& act)
    {
        int downloads = 0;
        const QObject context;
        connect(f.client->findChild<FileDownloader*>(), &FileDownloader::finished, &context, [&] {
            if (++downloads == 2) {
                act();
            }
        });
        f.install();
        QTRY_COMPARE(downloads, 2);
    }

private slots:
    void initTestCase()
    {
        dropOffscreenSizeHintLine();
        if (QStandardPaths::findExecutable(u"minisign"_s).isEmpty()) {
            QSKIP("minisign, which makes the signatures, is not installed");
        }
        m_key = makeKey(ours);
        m_otherKey = makeKey(other);
    }

    void judges_data()
    {
        columns<QByteArray, QString>("signature", "complaint");
        const QByteArray good = sign("package");
        row("good", good, "");
        row("of the legacy form", sign("package", comment, ours, "-Sl"), "");
        row("of another key", sign("package", comment, other), "unknown key");
        row("of other bytes", sign("Package"), "that was signed");
        row("of other bytes, legacy", sign("Package", comment, ours, "-Sl"), "that was signed");
        row("of another file", sign("package", u"file:old.exe"_s), "made for the file 'old.exe'");
        row("of no file in particular", sign("package", u"release:4.3"_s), "made for the file ''");
        row("of another release", sign("package", u"file:setup.exe\trelease:4.2"_s),
            "made for release '4.2'");
        row("damaged global signature", damaged(good, 3), "comment is not signed");
        row("cut off", good.left(good.size() - 10), "cannot be decoded");
        row("a megabyte", good + QByteArray(1'000'000, '\n'), "not a signature file");
    }
    void judges()
    {
        QFETCH(QByteArray, signature);
        QFETCH(QString, complaint);
        const QString file = m_folder.filePath(u"x"_s);
        writeFile(file, "package");
        const SignedPackage package{u"setup.exe"_s, u"4.3.0"_s};
        const auto said = judged(package, file, signature, {m_otherKey.left(9), m_key});
        QVERIFY2(complaint.isEmpty() ? said.isEmpty() : said.contains(complaint), qPrintable(said));
        // No key at all accepts nothing.
        QVERIFY(!judged(package, file, signature, {}).isEmpty());
    }

    void installsNothingWhileTheHostEnds()
    {
        InstallFixture f;
        f.robot.press(u"Installation process failed"_s, u"OK"_s);
        f.client->setPackagePublicKeys({m_key});
        // Of the form that is read in one go, and found good whatever happens meanwhile.
        f.server.answer("/setup.exe.minisig", http(200, sign(f.program, comment, ours, "-Sl")));
        // As soon as the verification has begun.
        installAndThen(f, [] {
            QTimer::singleShot(0, qApp, [] {
                QMetaObject::invokeMethod(qApp, "aboutToQuit", Qt::DirectConnection);
            });
        });
        QTRY_VERIFY2(f.end().contains(u"the file has changed meanwhile"_s), qPrintable(f.end()));
        QVERIFY(!f.wasStarted());
    }

    void letsTheUserCancelWhileItIsChecked()
    {
        InstallFixture f;
        f.client->setPackagePublicKeys({m_key});
        const QByteArray large(64 * 1024 * 1024, 'x');
        f.server.answer("/setup.exe", http(200, large));
        f.server.answer("/setup.exe.minisig", http(200, sign(large, comment, ours, "-Sl")));
        // After the client's own slot, which is queued, and long before the check ends.
        installAndThen(f,
                       [&f] { QTimer::singleShot(0, f.progress(), &QProgressDialog::canceled); });
        QTRY_VERIFY(!f.available()->findChild<QProgressDialog*>());
        QVERIFY(f.available()->isVisible());
        // The check itself cannot be interrupted, and has the file.
        QTRY_COMPARE(f.end(), u"window"_s);
    }

    void continuesWhatIsSigned()
    {
        InstallFixture f;
        const ScopedVariable variable("XDG_CACHE_HOME", f.temporary.path());
        QDir cache(DownloadCache(u"Viewer"_s).folder());
        f.robot.press(u"Installation process failed"_s, u"OK"_s);
        f.client->setPackagePublicKeys({m_key});
        f.client->setOptions(UpdateOptions::recommended());
        RangeOrigin origin;
        origin.body = f.program + QByteArray(200'000, 'x'); // what follows a program does no harm
        origin.serveAt(f.server, "/setup.exe");
        f.server.answer("/setup.exe.minisig", {http(200, sign("older"))});
        for (const bool isGood : {false, true}) {
            // A part of an earlier try, which is hashed again.
            origin.script = QStringList{u"stall 100000"_s, u"ok"_s};
            f.install();
            QTRY_VERIFY(cache.entryInfoList({u"*.part"_s}).value(0).size() == 100'000);
            QMetaObject::invokeMethod(f.progress(), "canceled");
            f.install();
            QTRY_VERIFY2(f.end().contains(isGood ? u"started, setup.exe"_s : u"that was signed"_s),
                         qPrintable(f.end()));
            QCOMPARE(origin.asked.constLast(), u"100000"_s);
            QCOMPARE(cache.entryList(QDir::Files), QStringList());
            f.server.answer("/setup.exe.minisig",
                            {partial("sig", 2, Answer::eClose), http(200, sign(origin.body))});
        }
    }

    void installsWhatIsSigned()
    {
        InstallFixture f;
        f.robot.press(u"Installation process failed"_s, u"OK"_s);
        f.client->setPackagePublicKeys({m_otherKey, m_key});
        const Answer endless = partial(QByteArray(50'000'000, 'x'), 900, Answer::eSilence);
        const QList<QPair<Answer, QString>> refusals{
            {http(404), u"could not be downloaded"_s},
            {endless, u"could not be downloaded"_s},
            {http(200, sign(f.program, u"file:setup.exe\trelease:4.2"_s)), u"release '4.2'"_s},
            {http(200, sign("older", comment)), u"not the one that was signed"_s}};
        for (const auto& [answer, complaint] : refusals) {
            f.server.forgetRequests();
            f.server.answer("/setup.exe.minisig", answer);
            const int boxes = f.robot.seen().size();
            f.install();
            QTRY_COMPARE(f.robot.seen().size(), boxes + 2);
            QCOMPARE(f.robot.seen().last(), u"Installation failed: Installation process failed. If "
                                            "problem persists try manual install."_s);
            QTRY_VERIFY2(f.end().startsWith(u"window, "_s), qPrintable(f.end()));
            QVERIFY2(f.log.lines(Log::eError).constLast().contains(complaint), qPrintable(f.end()));
            // Only the bytes themselves tell the last one; nothing else is worth fetching them.
            QCOMPARE(f.server.requests().size(), complaint.startsWith(u"not"_s) ? 2 : 1);
        }
        f.server.answer("/setup.exe.minisig", {redirect(302, "/elsewhere"), http(404)});
        f.server.answer("/elsewhere", http(200, sign(f.program)));
        f.install();
        QTRY_VERIFY2(f.end().startsWith(u"started, setup.exe"_s), qPrintable(f.end()));
    }
};

QTEST_MAIN(tst_SignedPackages)
#include "tst_SignedPackages.moc"
