#include "Rows.h"
#include "ZipBuilder.h"

#include "support/Connect.h"
#include "support/Unzipper.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace zk;
using namespace zk::test;

class tst_Unzipper : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void announcesInTheCreatorsThreadAfterALateConnect();
    void connectsByName();
    void deletesTheArchiveOnlyAfterSuccess_data();
    void deletesTheArchiveOnlyAfterSuccess();
    void reportsCancelling();
    void staysSilentWhenDestroyed();
    void mayBeDeletedFromItsSignal();

public slots:
    void done(const QString& folder) { m_done << folder; }
    void failed(const QString& message) { m_failed << message; }

private:
    std::unique_ptr<Unzipper> make(bool deleteArchive = false);
    [[nodiscard]] int answers() const { return m_done.size() + m_failed.size(); }
    void writeLongArchive() const;

    std::unique_ptr<QTemporaryDir> m_temp;
    QString m_zip;
    QString m_out;
    QStringList m_done;
    QStringList m_failed;
};

void tst_Unzipper::init()
{
    m_temp = std::make_unique<QTemporaryDir>();
    m_zip = m_temp->filePath(QStringLiteral("Prøve & 测试.zip"));
    m_out = m_temp->filePath(QStringLiteral("Prøve & 测试 dir"));
    ZipBuilder().add("a/b", "contents").write(m_zip);
    m_done.clear();
    m_failed.clear();
}

std::unique_ptr<Unzipper> tst_Unzipper::make(bool deleteArchive)
{
    auto unzipper = std::make_unique<Unzipper>(m_zip, m_out, deleteArchive);
    connect(unzipper.get(), &Unzipper::unzippingDone, this, &tst_Unzipper::done);
    connect(unzipper.get(), &Unzipper::unzippingFailed, this, &tst_Unzipper::failed);
    return unzipper;
}

void tst_Unzipper::writeLongArchive() const
{
    ZipBuilder builder;
    for (int i = 0; i < 20'000; ++i) {
        builder.add(QByteArray::number(i));
    }
    builder.write(m_zip);
}

void tst_Unzipper::announcesInTheCreatorsThreadAfterALateConnect()
{
    Unzipper unzipper(m_zip, m_out, false);
    QVERIFY(unzipper.wait()); // all done before anybody listens
    QThread* emitter = nullptr;
    connect(
        &unzipper, &Unzipper::unzippingDone, &unzipper,
        [&emitter] { emitter = QThread::currentThread(); }, Qt::DirectConnection);
    connect(&unzipper, &Unzipper::unzippingDone, this, &tst_Unzipper::done);
    QTRY_COMPARE(m_done, QStringList(m_out));
    QCOMPARE(emitter, QThread::currentThread());
    QCOMPARE(readFile(m_out + QStringLiteral("/a/b")), QByteArray("contents"));
    unzipper.cancel(); // too late to change anything
    QCoreApplication::processEvents();
    QCOMPARE(m_done.size(), 1);
    QVERIFY(m_failed.isEmpty());
}

void tst_Unzipper::connectsByName()
{
    Unzipper unzipper(m_zip, m_out, false);
    QVERIFY(zk::connect(&unzipper, "2unzippingDone( const QString & )", this, SLOT(done(QString)),
                        Qt::AutoConnection));
    QVERIFY(zk::connect(&unzipper, "2unzippingFailed( const QString & )", this,
                        SLOT(failed(QString)), Qt::AutoConnection));
    QTRY_COMPARE(m_done, QStringList(m_out));
    unzipper.removeZipFile();
    QVERIFY(!QFile::exists(m_zip));
}

void tst_Unzipper::deletesTheArchiveOnlyAfterSuccess_data()
{
    columns<bool, bool>("good", "deleteArchive");
    row("good, to be kept", true, false);
    row("good, to be deleted", true, true);
    row("bad, to be deleted", false, true);
}

void tst_Unzipper::deletesTheArchiveOnlyAfterSuccess()
{
    QFETCH(bool, good);
    QFETCH(bool, deleteArchive);
    if (!good) {
        ZipBuilder().add("a").add("../evil").write(m_zip);
    }
    const auto unzipper = make(deleteArchive);
    unzipper->removeZipFile(); // too early
    QVERIFY(QFile::exists(m_zip));
    QTRY_COMPARE(answers(), 1);
    QCOMPARE(m_done.size(), good ? 1 : 0);
    QVERIFY(good || m_failed.value(0).contains(QStringLiteral("../evil")));
    QCOMPARE(QFile::exists(m_out), good);
    QCOMPARE(QFile::exists(m_zip), !good || !deleteArchive);
    unzipper->removeZipFile();
    QCOMPARE(QFile::exists(m_zip), !good);
}

void tst_Unzipper::reportsCancelling()
{
    writeLongArchive();
    const auto unzipper = make();
    unzipper->cancel();
    QTRY_COMPARE(answers(), 1);
    QVERIFY2(m_failed.value(0).contains(QStringLiteral("cancelled")),
             qPrintable(m_failed.value(0)));
    QVERIFY(!QFile::exists(m_out));
    QVERIFY(QFile::exists(m_zip));
}

void tst_Unzipper::staysSilentWhenDestroyed()
{
    make().reset();
    auto unzipper = make();
    QVERIFY(unzipper->wait()); // its answer is in the queue
    unzipper.reset();
    QVERIFY(QFile::exists(m_out));
    writeLongArchive();
    m_out += QStringLiteral("/large");
    unzipper = make();
    const QDeadlineTimer deadline(30'000);
    while (!QFile::exists(m_out) && !deadline.hasExpired()) {
        QThread::yieldCurrentThread(); // no event loop: the work must not get far
    }
    QVERIFY(QFile::exists(m_out));
    unzipper.reset();
    QVERIFY(!QFile::exists(m_out));
    QCoreApplication::processEvents();
    QCOMPARE(answers(), 0);
}

void tst_Unzipper::mayBeDeletedFromItsSignal()
{
    Unzipper* unzipper = make().release();
    connect(unzipper, &Unzipper::unzippingDone, this, [unzipper] { delete unzipper; });
    QTRY_COMPARE(m_done.size(), 1);
    QCoreApplication::processEvents();
    QCOMPARE(answers(), 1);
}

QTEST_GUILESS_MAIN(tst_Unzipper)
#include "tst_Unzipper.moc"
