#include "publisher/SecretKey.h"

#include "install/PackageSignature.h"
#include "support/Minisign.h"

#include <QBuffer>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace publisher;

/** Keys and signatures go both ways between this program, the client, and the real minisign. */
class tst_Signing : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { write("package.exe", "what is signed"); }

    void clientsAcceptWhatIsSigned()
    {
        const SecretKey key = SecretKey::generate();
        zk::PackageInfo package;
        package.url = QUrl(QStringLiteral("http://h/package.exe"));
        package.release = QStringLiteral("4.3");
        const QStringList keys{QString::fromLatin1(key.publicKey())};
        const auto complaint = [&](const QByteArray& comment) {
            return zk::signatureComplaint(path("package.exe"), package, sign(key, comment), keys);
        };
        QCOMPARE(complaint("timestamp:1\tfile:package.exe\trelease:4.3\thashed"), QString());
        QVERIFY(!complaint("file:package.exe\trelease:4.2").isEmpty());
        QVERIFY(!complaint("file:other.exe").isEmpty());
    }

    void keyFilesComeBack_data()
    {
        QTest::addColumn<QByteArray>("password");
        QTest::newRow("without a password") << QByteArray();
        QTest::newRow("with one") << QByteArray("pässword");
    }

    void keyFilesComeBack()
    {
        QFETCH(QByteArray, password);
        const SecretKey key = SecretKey::generate();
        const QByteArray file = key.encode(password);
        if (file.isEmpty()) {
            QSKIP("there is not the gigabyte of memory that a password takes");
        }
        QCOMPARE(SecretKey::isEncrypted(file), !password.isEmpty());
        const auto read = SecretKey::decode(file, password);
        QVERIFY(std::holds_alternative<SecretKey>(read));
        QCOMPARE(std::get<SecretKey>(read).publicKey(), key.publicKey());
        QByteArray damaged = file;
        damaged[file.size() - 80] = file.at(file.size() - 80) == 'A' ? 'B' : 'A';
        QVERIFY(std::holds_alternative<QString>(SecretKey::decode(damaged, password)));
        QVERIFY(std::holds_alternative<QString>(SecretKey::decode(file.left(100), password)));
    }

    void minisignTakesOursAndWeItsOwn()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("minisign")).isEmpty()) {
            QSKIP("minisign is not installed");
        }
        const SecretKey key = SecretKey::generate();
        write("our.pub", key.publicKeyFile());
        write("our.key", key.encode(QByteArray()));
        write("package.exe.minisig", sign(key, "file:package.exe"));
        QVERIFY(minisign({"-Vm", "package.exe", "-p", "our.pub"}));
        QVERIFY(minisign({"-Sm", "package.exe", "-s", "our.key"}));
        QVERIFY(minisign({"-Vm", "package.exe", "-p", "our.pub"}));

        QVERIFY(minisign({"-GW", "-p", "its.pub", "-s", "its.key"}));
        const auto its = SecretKey::decode(read("its.key"), QByteArray());
        QVERIFY(std::holds_alternative<SecretKey>(its));
        write("package.exe.minisig", sign(std::get<SecretKey>(its), "file:package.exe"));
        QVERIFY(minisign({"-Vm", "package.exe", "-p", "its.pub"}));
        QVERIFY(!minisign({"-Vm", "package.exe", "-p", "our.pub"}));
    }

private:
    QTemporaryDir m_folder;

    [[nodiscard]] QString path(const char* name) const
    {
        return m_folder.filePath(QLatin1String(name));
    }
    void write(const char* name, const QByteArray& bytes) const
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }
    [[nodiscard]] QByteArray read(const char* name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    [[nodiscard]] QByteArray sign(const SecretKey& key, const QByteArray& comment) const
    {
        QFile file(path("package.exe"));
        return file.open(QIODevice::ReadOnly) ? key.sign(*zk::Minisign::hashOf(file), comment)
                                              : QByteArray();
    }
    [[nodiscard]] bool minisign(const QList<const char*>& arguments) const
    {
        QProcess process;
        process.setWorkingDirectory(m_folder.path());
        QStringList list;
        for (const char* const argument : arguments) {
            list << QLatin1String(argument);
        }
        process.start(QStringLiteral("minisign"), list);
        return process.waitForFinished() && process.exitCode() == 0;
    }
};

QTEST_GUILESS_MAIN(tst_Signing)
#include "tst_Signing.moc"
