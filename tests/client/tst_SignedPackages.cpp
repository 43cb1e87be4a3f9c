#include "Files.h"
#include "InstallFixture.h"
#include "MessageFilter.h"
#include "Rows.h"
#include "ToolRun.h"

#include "install/FileDownloader.h"
#include "install/PackageSignature.h"

#include <QSignalSpy>
#include <QStandardPaths>

using namespace zk;
using test::Answer;

namespace {

const auto ours = QStringLiteral("ours");
const auto other = QStringLiteral("other");
const auto comment = QStringLiteral("timestamp:1\tfile:setup.exe\trelease:4.3");

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

private:
    QTemporaryDir m_folder;
    QString m_key;
    QString m_otherKey;

    void minisign(const QStringList& arguments) const
    {
        test::runTool(QStringLiteral("minisign"), m_folder.path(), arguments);
    }
    [[nodiscard]] QString makeKey(const QString& name) const
    {
        const QString publicKey = name + QStringLiteral(".pub");
        minisign(
            {QStringLiteral("-GW"), QStringLiteral("-s"), name, QStringLiteral("-p"), publicKey});
        return QString::fromUtf8(test::readFile(m_folder.filePath(publicKey)));
    }
    [[nodiscard]] QByteArray sign(const QByteArray& bytes, const QString& trustedComment = comment,
                                  const QString& key = ours, const char* form = "-S") const
    {
        test::writeFile(m_folder.filePath(QStringLiteral("signed")), bytes);
        minisign({QLatin1String(form), QStringLiteral("-m"), QStringLiteral("signed"),
                  QStringLiteral("-s"), key, QStringLiteral("-t"), trustedComment});
        return test::readFile(m_folder.filePath(QStringLiteral("signed.minisig")));
    }

private slots:
    void initTestCase()
    {
        test::dropOffscreenSizeHintLine();
        if (QStandardPaths::findExecutable(QStringLiteral("minisign")).isEmpty()) {
            QSKIP("minisign, which makes the signatures, is not installed");
        }
        m_key = makeKey(ours);
        m_otherKey = makeKey(other);
    }

    void judges_data()
    {
        test::columns<QByteArray, QString>("signature", "complaint");
        const QByteArray good = sign("package");
        test::row("good", good, "");
        test::row("of the legacy form", sign("package", comment, ours, "-Sl"), "");
        test::row("of another key", sign("package", comment, other), "unknown key");
        test::row("of other bytes", sign("Package"), "not the one that was signed");
        test::row("of other bytes, legacy", sign("Package", comment, ours, "-Sl"),
                  "not the one that was signed");
        test::row("of another file", sign("package", QStringLiteral("file:setup-old.exe")),
                  "made for the file 'setup-old.exe'");
        test::row("of no file in particular", sign("package", QStringLiteral("release:4.3")),
                  "made for the file ''");
        test::row("of another release",
                  sign("package", QStringLiteral("file:setup.exe\trelease:4.2")),
                  "made for release '4.2'");
        test::row("damaged global signature", damaged(good, 3), "comment is not signed");
        test::row("cut off", good.left(good.size() - 10), "cannot be decoded");
        test::row("a megabyte", good + QByteArray(1'000'000, '\n'), "not a signature file");
    }
    void judges()
    {
        QFETCH(QByteArray, signature);
        QFETCH(QString, complaint);
        const QString file = m_folder.filePath(QStringLiteral("x"));
        test::writeFile(file, "package");
        PackageInfo package;
        package.url = QUrl(QStringLiteral("http://h/a/setup.exe"));
        package.release = QStringLiteral("4.3.0");
        const QString found =
            signatureComplaint(file, package, signature, {m_otherKey.left(30), m_key});
        QVERIFY2(complaint.isEmpty() ? found.isEmpty() : found.contains(complaint),
                 qPrintable(found));
        // No key at all accepts nothing.
        QVERIFY(!signatureComplaint(file, package, signature, {}).isEmpty());
    }

    void installsNothingWhileTheHostEnds()
    {
        test::InstallFixture f;
        f.robot.press(QStringLiteral("Installation process failed"), QStringLiteral("OK"));
        f.client->setPackagePublicKeys({m_key});
        // Of the form that is read in one go, and found good whatever happens meanwhile.
        f.server.answer("/setup.exe.minisig",
                        test::http(200, sign(f.program, comment, ours, "-Sl")));
        int downloads = 0;
        const QObject context;
        connect(f.client->findChild<FileDownloader*>(), &FileDownloader::finished, &context, [&] {
            if (++downloads == 2) {
                // As soon as the verification has begun.
                QTimer::singleShot(0, qApp, [] {
                    QMetaObject::invokeMethod(qApp, "aboutToQuit", Qt::DirectConnection);
                });
            }
        });
        f.install();
        QTRY_COMPARE(downloads, 2);
        QTRY_VERIFY2(f.end().contains(QLatin1String("the file has changed meanwhile")),
                     qPrintable(f.end()));
        QVERIFY(!f.wasStarted());
    }

    void letsTheUserCancelWhileItIsChecked()
    {
        test::InstallFixture f;
        f.client->setPackagePublicKeys({m_key});
        const QByteArray large(64 * 1024 * 1024, 'x');
        f.server.answer("/setup.exe", test::http(200, large));
        f.server.answer("/setup.exe.minisig", test::http(200, sign(large)));
        int downloads = 0;
        const QObject context;
        connect(f.client->findChild<FileDownloader*>(), &FileDownloader::finished, &context, [&] {
            if (++downloads == 2) {
                // After the client's own slot, which is queued, and long before the check ends.
                QTimer::singleShot(0, f.progress(), &QProgressDialog::canceled);
            }
        });
        f.install();
        QTRY_COMPARE(downloads, 2);
        QTRY_COMPARE(f.end(), QStringLiteral("window"));
        QTest::qWait(0);
        QCOMPARE(f.end(), QStringLiteral("window"));
    }

    void installsWhatIsSigned()
    {
        test::InstallFixture f;
        f.robot.press(QStringLiteral("Installation process failed"), QStringLiteral("OK"));
        f.client->setPackagePublicKeys({m_otherKey, m_key});
        const Answer endless = test::partial(QByteArray(50'000'000, 'x'), 900, Answer::eSilence);
        for (const Answer& answer : {test::http(404), endless}) {
            f.server.answer("/setup.exe.minisig", answer);
            const int boxes = f.robot.seen().size();
            f.install();
            QTRY_COMPARE(f.robot.seen().size(), boxes + 2);
            QCOMPARE(f.robot.seen().last(),
                     QStringLiteral("Installation failed: Installation process failed. If problem "
                                    "persists try manual install."));
            QTRY_VERIFY2(f.end().startsWith(QLatin1String("window, ")), qPrintable(f.end()));
            QVERIFY2(f.log.lines(Log::eError)
                         .constLast()
                         .contains(QStringLiteral("could not be downloaded")),
                     qPrintable(f.end()));
        }
        f.server.answer("/setup.exe.minisig", {test::redirect(302, "/elsewhere"), test::http(404)});
        f.server.answer("/elsewhere", test::http(200, sign(f.program)));
        f.install();
        QTRY_VERIFY2(f.end().startsWith(QLatin1String("started, setup.exe")), qPrintable(f.end()));
    }
};

QTEST_MAIN(tst_SignedPackages)
#include "tst_SignedPackages.moc"
