#include "Files.h"

#include "publisher/SecretKey.h"

#include "download/FileHash.h"

#include <QBuffer>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace publisher;
using namespace zk::test;

/** Keys and signatures go both ways between this program and the real minisign. */
class tst_Signing : public QObject
{
    Q_OBJECT

private slots:
    void keyFilesComeBack()
    {
        for (const QByteArray& password : {QByteArray(), QByteArray("pässword")}) {
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
            for (const QByteArray& bad : {damaged, file.left(100)}) {
                QVERIFY(std::holds_alternative<QString>(SecretKey::decode(bad, password)));
            }
        }
    }

    void wipesSharedBytesToo()
    {
        QByteArray secret(32, 's');
        const QByteArray shared = secret;
        wipe(secret);
        QVERIFY(secret.isEmpty());
        QCOMPARE(shared, QByteArray(32, '\0'));
    }

    void minisignTakesOursAndWeItsOwn()
    {
        if (QStandardPaths::findExecutable(u"minisign"_s).isEmpty()) {
            QSKIP("minisign is not installed");
        }
        const SecretKey key = SecretKey::generate();
        write("package.exe", "what is signed");
        write("our.pub", key.publicKeyFile());
        write("our.key", key.encode(QByteArray()));
        write("package.exe.minisig", sign(key, "file:package.exe"));
        QVERIFY(minisign("-Vm package.exe -p our.pub"));
        QVERIFY(minisign("-Sm package.exe -s our.key"));
        QVERIFY(minisign("-Vm package.exe -p our.pub"));

        QVERIFY(minisign("-GW -p its.pub -s its.key"));
        const auto its = SecretKey::decode(readFile(path("its.key")), {});
        QVERIFY(std::holds_alternative<SecretKey>(its));
        write("package.exe.minisig", sign(std::get<SecretKey>(its), "file:package.exe"));
        QVERIFY(minisign("-Vm package.exe -p its.pub"));
        QVERIFY(!minisign("-Vm package.exe -p our.pub"));
    }

private:
    QTemporaryDir m_folder;

    QString path(const char* name) const { return m_folder.filePath(QLatin1String(name)); }
    void write(const char* name, const QByteArray& bytes) const { writeFile(path(name), bytes); }
    QByteArray sign(const SecretKey& key, const QByteArray& comment) const
    {
        const QByteArray file = readFile(path("package.exe"));
        return key.sign(zk::bytesOf(trust::Blake2b512::of(zk::viewOf(file))), comment);
    }
    /** Whether minisign ends well. */
    bool minisign(const char* arguments) const
    {
        QProcess process;
        process.setWorkingDirectory(m_folder.path());
        process.start(u"minisign"_s, QString::fromLatin1(arguments).split(u' '));
        return process.waitForFinished() && process.exitCode() == 0;
    }
};

QTEST_GUILESS_MAIN(tst_Signing)
#include "tst_Signing.moc"
