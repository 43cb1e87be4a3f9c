#include "Files.h"
#include "InstallFixture.h"
#include "Rows.h"
#include "ToolRun.h"

#include "install/FileDownloader.h"
#include "install/PackageSignature.h"

#include <QSignalSpy>
#include <QStandardPaths>

using namespace zk;
using test::Answer;

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

private:
    QTemporaryDir m_folder;
    QString m_key;
    QString m_otherKey;

    void minisign(const QStringList& arguments) const
    {
        test::runTool(u"minisign"_s, m_folder.path(), arguments);
    }
    [[nodiscard]] QString makeKey(const QString& name) const
    {
        const QString publicKey = name + u".pub"_s;
        minisign({u"-GW"_s, u"-s"_s, name, u"-p"_s, publicKey});
        return QString::fromUtf8(test::readFile(m_folder.filePath(publicKey)));
    }
    [[nodiscard]] QByteArray sign(const QByteArray& bytes, const QString& trustedComment = comment,
                                  const QString& key = ours, const char* form = "-S") const
    {
        test::writeFile(m_folder.filePath(u"signed"_s), bytes);
        minisign(
            {QLatin1String(form), u"-m"_s, u"signed"_s, u"-s"_s, key, u"-t"_s, trustedComment});
        return test::readFile(m_folder.filePath(u"signed.minisig"_s));
    }

private slots:
    void initTestCase()
    {
        test::dropOffscreenSizeHintLine();
        if (QStandardPaths::findExecutable(u"minisign"_s).isEmpty()) {
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
        test::row("of another file", sign("package", u"file:setup-old.exe"_s),
                  "made for the file 'setup-old.exe'");
        test::row("of no file in particular", sign("package", u"release:4.3"_s),
                  "made for the file ''");
        test::row("of another release", sign("package", u"file:setup.exe\trelease:4.2"_s),
                  "made for release '4.2'");
        test::row("damaged global signature", damaged(good, 3), "comment is not signed");
        test::row("cut off", good.left(good.size() - 10), "cannot be decoded");
        test::row("a megabyte", good + QByteArray(1'000'000, '\n'), "not a signature file");
    }
    void judges()
    {
        QFETCH(QByteArray, signature);
        QFETCH(QString, complaint);
        const QString file = m_folder.filePath(u"x"_s);
        test::writeFile(file, "package");
        PackageInfo package;
        package.url = QUrl(u"http://h/a/setup.exe"_s);
        package.release = u"4.3.0"_s;
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
        f.robot.press(u"Installation process failed"_s, u"OK"_s);
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
        QTRY_VERIFY2(f.end().contains(u"the file has changed meanwhile"_s), qPrintable(f.end()));
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
        QTRY_COMPARE(f.end(), u"window"_s);
        QTest::qWait(0);
        QCOMPARE(f.end(), u"window"_s);
    }

    void installsWhatIsSigned()
    {
        test::InstallFixture f;
        f.robot.press(u"Installation process failed"_s, u"OK"_s);
        f.client->setPackagePublicKeys({m_otherKey, m_key});
        const Answer endless = test::partial(QByteArray(50'000'000, 'x'), 900, Answer::eSilence);
        for (const Answer& answer : {test::http(404), endless}) {
            f.server.answer("/setup.exe.minisig", answer);
            const int boxes = f.robot.seen().size();
            f.install();
            QTRY_COMPARE(f.robot.seen().size(), boxes + 2);
            QCOMPARE(f.robot.seen().last(), u"Installation failed: Installation process failed. If "
                                            "problem persists try manual install."_s);
            QTRY_VERIFY2(f.end().startsWith(u"window, "_s), qPrintable(f.end()));
            QVERIFY2(f.log.lines(Log::eError).constLast().contains(u"could not be downloaded"_s),
                     qPrintable(f.end()));
        }
        f.server.answer("/setup.exe.minisig", {test::redirect(302, "/elsewhere"), test::http(404)});
        f.server.answer("/elsewhere", test::http(200, sign(f.program)));
        f.install();
        QTRY_VERIFY2(f.end().startsWith(u"started, setup.exe"_s), qPrintable(f.end()));
    }
};

QTEST_MAIN(tst_SignedPackages)
#include "tst_SignedPackages.moc"
