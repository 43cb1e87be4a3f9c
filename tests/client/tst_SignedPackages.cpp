#include "InstallFixture.h"
#include "MessageFilter.h"

#include "install/PackageSignature.h"
#include "support/Minisign.h"

#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>

using namespace zk;
using test::Answer;

/** Signatures are made by the real minisign, and then damaged. */
class tst_SignedPackages : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void judgesSignatures_data();
    void judgesSignatures();
    void readsKeys();
    void startsWhatIsSigned();
    void refusesEverythingElse_data();
    void refusesEverythingElse();
    void canBeCancelledMeanwhile();
    void asksForNoneWithoutKeys();

private:
    QTemporaryDir m_folder;
    QString m_key;
    QString m_otherKey;

    QString makeKey(const QString& name);
    QByteArray sign(const QByteArray& file, const QString& key, const QString& comment,
                    bool isLegacy = false);
};

namespace {

const auto comment = QStringLiteral("timestamp:1\tfile:setup.exe\trelease:4.3");
const auto refused = QStringLiteral("Installation failed: Installation process failed. If problem "
                                    "persists try manual install.");

/** Runs minisign; what it says is shown when it fails. */
void minisign(const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral("minisign"), arguments);
    const bool isDone = process.waitForFinished() && process.exitCode() == 0;
    QVERIFY2(isDone, process.readAll().constData());
}

PackageInfo package()
{
    PackageInfo package;
    package.url = QUrl(QStringLiteral("http://h/a/setup.exe"));
    package.release = QStringLiteral("4.3.0");
    return package;
}

QByteArray withLine(const QByteArray& text, int line, const QByteArray& replacement)
{
    QList<QByteArray> lines = text.split('\n');
    lines[line] = replacement;
    return lines.join('\n');
}

/** With one bit of the base64 in line @p line turned over, far from what names the key. */
QByteArray damaged(const QByteArray& text, int line)
{
    QByteArray bytes = QByteArray::fromBase64(text.split('\n').at(line));
    bytes[bytes.size() / 2] = char(bytes.at(bytes.size() / 2) ^ 1);
    return withLine(text, line, bytes.toBase64());
}

} // namespace

void tst_SignedPackages::initTestCase()
{
    test::dropOffscreenSizeHintLine();
    if (QStandardPaths::findExecutable(QStringLiteral("minisign")).isEmpty()) {
        QSKIP("minisign, which makes the signatures, is not installed");
    }
    m_key = makeKey(QStringLiteral("ours"));
    m_otherKey = makeKey(QStringLiteral("other"));
}

QString tst_SignedPackages::makeKey(const QString& name)
{
    const QString key = m_folder.filePath(name);
    minisign({QStringLiteral("-G"), QStringLiteral("-W"), QStringLiteral("-p"),
              key + QStringLiteral(".pub"), QStringLiteral("-s"), key});
    QFile file(key + QStringLiteral(".pub"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QByteArray tst_SignedPackages::sign(const QByteArray& file, const QString& key,
                                    const QString& trustedComment, bool isLegacy)
{
    const QString path = m_folder.filePath(QStringLiteral("signed"));
    QFile signedFile(path);
    QFile signature(path + QStringLiteral(".minisig"));
    if (!signedFile.open(QIODevice::WriteOnly) || signedFile.write(file) != file.size()) {
        return {};
    }
    signedFile.close();
    QStringList arguments{QStringLiteral("-S"),
                          QStringLiteral("-s"),
                          m_folder.filePath(key),
                          QStringLiteral("-m"),
                          path,
                          QStringLiteral("-t"),
                          trustedComment};
    if (isLegacy) {
        arguments.insert(1, QStringLiteral("-l"));
    }
    minisign(arguments);
    return signature.open(QIODevice::ReadOnly) ? signature.readAll() : QByteArray();
}

void tst_SignedPackages::judgesSignatures_data()
{
    QTest::addColumn<QByteArray>("signature");
    QTest::addColumn<QString>("complaint");
    const auto row = [](const char* name, const QByteArray& signature, const char* complaint) {
        QTest::newRow(name) << signature << QString::fromLatin1(complaint);
    };
    const auto ours = QStringLiteral("ours");
    const QByteArray good = sign("package", ours, comment);
    row("of our key", good, "");
    row("with Windows line ends", QByteArray(good).replace('\n', "\r\n"), "");
    row("of the legacy form", sign("package", ours, comment, true), "");
    row("of no release in particular", sign("package", ours, QStringLiteral("file:setup.exe")), "");
    row("of another key", sign("package", QStringLiteral("other"), comment), "not known");
    row("of other bytes", sign("Package", ours, comment), "not what the key has signed");
    row("of other bytes, legacy", sign("Package", ours, comment, true), "not what the key has");
    row("of another file", sign("package", ours, QStringLiteral("file:setup-old.exe")),
        "made for the file 'setup-old.exe'");
    row("of no file in particular", sign("package", ours, QStringLiteral("release:4.3")),
        "made for the file ''");
    row("of another release", sign("package", ours, QStringLiteral("file:setup.exe\trelease:4.2")),
        "made for release '4.2'");
    row("with another comment", withLine(good, 2, "trusted comment: file:setup.exe"),
        "comment is not signed");
    row("damaged", damaged(good, 1), "comment is not signed");
    row("damaged global signature", damaged(good, 3), "comment is not signed");
    row("cut off", good.left(good.size() - 10), "cannot be decoded");
    row("without the global signature", good.left(good.lastIndexOf('\n', good.size() - 2)),
        "no signature file");
    row("of an unknown algorithm",
        withLine(
            good, 1,
            QByteArray("EX" + QByteArray::fromBase64(good.split('\n').at(1)).mid(2)).toBase64()),
        "cannot be decoded");
    row("a web page", "<html>404</html>", "no signature file");
    row("nothing", "", "no signature file");
    row("a megabyte", good + QByteArray(1'000'000, '\n'), "no signature file");
}

void tst_SignedPackages::judgesSignatures()
{
    QFETCH(QByteArray, signature);
    QFETCH(QString, complaint);
    QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("x")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("package") == 7);
    file.close();
    const QString found =
        signatureComplaint(file.fileName(), package(), signature, {m_otherKey.left(30), m_key});
    QVERIFY2(complaint.isEmpty() ? found.isEmpty() : found.contains(complaint), qPrintable(found));
    // Another key of the same name says nothing, and no key at all accepts nothing.
    QVERIFY(!signatureComplaint(file.fileName(), package(), signature, {}).isEmpty());
}

void tst_SignedPackages::readsKeys()
{
    const QString line = m_key.split(QLatin1Char('\n')).at(1);
    QVERIFY(Minisign::parsePublicKey(m_key) && Minisign::parsePublicKey(line));
    for (const QString& bad : {QString(), line.left(20), line + line, m_key.left(20)}) {
        QVERIFY2(!Minisign::parsePublicKey(bad), qPrintable(bad));
    }
}

void tst_SignedPackages::startsWhatIsSigned()
{
    test::InstallFixture f;
    f.client->setPackagePublicKeys({m_otherKey, m_key});
    f.server.answer("/setup.exe.minisig", {test::redirect(302, "/elsewhere"), test::http(404)});
    f.server.answer("/elsewhere",
                    test::http(200, sign(f.program, QStringLiteral("ours"), comment)));
    f.install();
    QTRY_VERIFY(f.wasStarted());
    QCOMPARE(f.leftovers(), QStringList{QStringLiteral("setup.exe")});
    QCOMPARE(f.log.lines(Log::eError), QStringList());
}

void tst_SignedPackages::refusesEverythingElse_data()
{
    QTest::addColumn<Answer>("answer");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const Answer& answer, const char* reason) {
        QTest::newRow(name) << answer << QString::fromLatin1(reason);
    };
    row("no signature", test::http(404), "could not be downloaded, error code 203");
    row("half a signature", test::partial(QByteArray(200, 'x'), 100, Answer::eClose),
        "could not be downloaded");
    row("a web page", test::http(200, "<html>"), "no signature file");
    row("without an end", test::partial(QByteArray(50'000'000, 'x'), 900, Answer::eSilence),
        "could not be downloaded");
    row("one of other bytes", test::http(200, sign("other", QStringLiteral("ours"), comment)),
        "not what the key has");
}

void tst_SignedPackages::refusesEverythingElse()
{
    QFETCH(Answer, answer);
    QFETCH(QString, reason);
    test::InstallFixture f;
    f.robot.press(refused.mid(21), QStringLiteral("OK"));
    f.client->setPackagePublicKeys({m_key});
    f.server.answer("/setup.exe.minisig", answer);
    f.install();
    QTRY_VERIFY(f.robot.seen().contains(refused));
    QCOMPARE(f.robot.seen().size(), 2);
    QTRY_COMPARE(f.leftovers(), QStringList());
    QVERIFY(!f.wasStarted() && !f.progress());
    QVERIFY(f.available() && f.available()->isVisible());
    QCOMPARE(f.log.lines(Log::eError).size(), 1);
    QVERIFY2(f.log.lines(Log::eError).constFirst().contains(reason),
             qPrintable(f.log.lines(Log::eError).constFirst()));
}

void tst_SignedPackages::canBeCancelledMeanwhile()
{
    test::InstallFixture f;
    f.client->setPackagePublicKeys({m_key});
    f.server.answer("/setup.exe.minisig",
                    test::partial(QByteArray(400, 'x'), 100, Answer::eSilence));
    f.install();
    QTRY_COMPARE(f.server.requests().size(), 3);
    f.progress()->findChild<QPushButton*>()->click();
    QTRY_VERIFY(f.isUndone());
    QCOMPARE(f.robot.seen().size(), 1);
}

void tst_SignedPackages::asksForNoneWithoutKeys()
{
    test::InstallFixture f;
    f.client->setPackagePublicKeys({QStringLiteral("no key")});
    QCOMPARE(f.log.lines(Log::eError).size(), 1);
    f.client->setPackagePublicKeys({});
    f.install();
    QTRY_VERIFY(f.wasStarted());
    QCOMPARE(f.server.requests().size(), 2);
}

QTEST_MAIN(tst_SignedPackages)
#include "tst_SignedPackages.moc"
