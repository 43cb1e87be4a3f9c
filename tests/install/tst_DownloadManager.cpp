#include "install/DownloadManager.h"

#include <QBuffer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace zk;

// Stands before the raw text below, which moc cannot read past.
class tst_DownloadManager : public QObject
{
    Q_OBJECT

private slots:
    void publishesItsMethods();
    void readsAndSelects();
    void findsBestMatchesByName();
    void recallsPackagesByName_data();
    void recallsPackagesByName();
    void knowsWhetherAPackageWaits_data();
    void knowsWhetherAPackageWaits();
    void keepsWhatIsInstalledLater();
};

namespace {

const char* const document = R"(<softwareList base-url="http://127.0.0.1/">
  <package-set type="Application" name="Viewer" platform="Win64" status="STABLE">
    <package release="4.2" release-date="2026-01-02"><file url="a.exe" file-size="2kB"/></package>
    <package release="4.3" release-date="2026-01-03"><file url="b.exe" file-size="3kB"/></package>
  </package-set>
</softwareList>)";

PackageInfoList parsed()
{
    QByteArray bytes(document);
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return DownloadManager::parseXML(&buffer);
}

} // namespace

void tst_DownloadManager::publishesItsMethods()
{
    const QMetaObject& meta = DownloadManager::staticMetaObject;
    for (const char* name :
         {"unzippingDone(QString)", "runInstaller(QString)", "unzippingFinished(QString)",
          "unzippingFailed(QString)", "incProgress(qint64)", "recentPackages(PackageInfo)",
          "recentPackages()", "recentPackages(QString)",
          "recentPackages(QString,QString,QString,QString,QDateTime,QSet<QString>,QSet<QString>)",
          "findBestMatches(PackageInfoList&,PackageInfo)"}) {
        QVERIFY2(meta.indexOfMethod(name) >= meta.methodOffset(), name);
    }
    QCOMPARE(meta.method(meta.methodOffset()).methodType(), QMetaMethod::Signal);
}

void tst_DownloadManager::readsAndSelects()
{
    PackageInfoList packages = parsed();
    QCOMPARE(packages.size(), 2);
    QCOMPARE(DownloadManager::countNew(packages), 2);
    packages[0].flags = 1;
    packages[1].flags = 2;
    QCOMPARE(DownloadManager::countNew(packages), 1);
    QCOMPARE(DownloadManager::countNew(PackageInfoList()), 0);

    PackageInfo product;
    product.release = QStringLiteral("4.1");
    const PackageInfoList found = DownloadManager::findPackageCandidates(
        packages, product, QStringLiteral("shown"), {QStringLiteral("exe")});
    QCOMPARE(found.size(), 1);
    QCOMPARE(found[0].release, QStringLiteral("4.3"));
    QCOMPARE(packages[0].type, QStringLiteral("shown"));

    packages.append(packages[0]);
    packages[2].name = QStringLiteral("another name");
    DownloadManager::eliminateDuplicatePackages(packages);
    QCOMPARE(packages.size(), 2);
    QCOMPARE(DownloadManager::parseFileSize(QStringLiteral("4kB")), 4096U);
    QCOMPARE(DownloadManager::parsePackageSuffix(QStringLiteral("http://h/a.tar.gz")),
             QStringLiteral("tar.gz"));
    QCOMPARE(DownloadManager::parseReleaseDate(QStringLiteral("2026-01-02")).date(),
             QDate(2026, 1, 2));
    QCOMPARE(DownloadManager::DOCUMENT_TAG, QStringLiteral("softwareList"));
}

void tst_DownloadManager::findsBestMatchesByName()
{
    DownloadManager manager;
    PackageInfoList packages = parsed();
    PackageInfoList best;
    QVERIFY(QMetaObject::invokeMethod(
        &manager, "findBestMatches", Q_RETURN_ARG(PackageInfoList, best),
        Q_ARG(PackageInfoList&, packages), Q_ARG(PackageInfo, PackageInfo())));
    QCOMPARE(best.size(), 1);
    QCOMPARE(best[0].release, QStringLiteral("4.3"));
}

void tst_DownloadManager::recallsPackagesByName_data()
{
    QTest::addColumn<int>("arguments");
    for (int arguments = 0; arguments <= 7; ++arguments) {
        QTest::addRow("%d arguments", arguments) << arguments;
    }
    QTest::newRow("a filter") << -1;
}

void tst_DownloadManager::recallsPackagesByName()
{
    QFETCH(int, arguments);
    const auto text = QStringLiteral("applied to nothing");
    const QDateTime date = QDateTime::currentDateTime();
    const QSet<QString> set{text};
    QGenericArgument given[7] = {Q_ARG(QString, text),     Q_ARG(QString, text),
                                 Q_ARG(QString, text),     Q_ARG(QString, text),
                                 Q_ARG(QDateTime, date),   Q_ARG(QSet<QString>, set),
                                 Q_ARG(QSet<QString>, set)};
    std::fill(given + qMax(arguments, 0), given + 7, QGenericArgument());
    const PackageInfo filter;
    if (arguments < 0) {
        given[0] = Q_ARG(PackageInfo, filter);
    }

    DownloadManager manager;
    for (const int stored : {0, 2}) {
        manager.setDocumentData(stored ? QByteArray(document) : QByteArray());
        PackageInfoList packages;
        QVERIFY(QMetaObject::invokeMethod(
            &manager, "recentPackages", Q_RETURN_ARG(PackageInfoList, packages), given[0], given[1],
            given[2], given[3], given[4], given[5], given[6]));
        QCOMPARE(packages.size(), stored);
        QCOMPARE(DownloadManager::countNew(packages), 0);
    }
}

void tst_DownloadManager::knowsWhetherAPackageWaits_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("recorded");
    QTest::addColumn<bool>("waits");
    QTest::newRow("there, of the size recorded") << QStringLiteral("file") << 5 << true;
    QTest::newRow("one byte short") << QStringLiteral("file") << 6 << false;
    QTest::newRow("one byte too many") << QStringLiteral("file") << 4 << false;
    QTest::newRow("not there") << QStringLiteral("other") << 0 << false;
    QTest::newRow("no path") << QString() << 0 << false;
    QTest::newRow("a folder") << QStringLiteral(".") << 4096 << false;
}

void tst_DownloadManager::knowsWhetherAPackageWaits()
{
    QFETCH(QString, name);
    QFETCH(int, recorded);
    QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("file")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("12345") == 5);
    file.close();
    DownloadManager manager;
    manager.installPackage().localFile = name.isEmpty() ? name : folder.filePath(name);
    manager.installPackage().fileSize = quint32(recorded);
    QTEST(manager.hasInstallPackage(), "waits");
}

void tst_DownloadManager::keepsWhatIsInstalledLater()
{
    DownloadManager manager;
    QVERIFY(!manager.hasInstallPackage());
    PackageInfo package;
    package.name = QStringLiteral("Viewer");
    manager.installLater(package, true);
    QVERIFY(manager.installPackage().installDeferred && !package.installDeferred);
    manager.installLater(QStringLiteral("/a"), QString(), QString(), QString());
    QCOMPARE(manager.installPackage().localFile, QStringLiteral("/a"));
    QCOMPARE(manager.installPackage().name, QStringLiteral("Viewer"));
}

QTEST_GUILESS_MAIN(tst_DownloadManager)
#include "tst_DownloadManager.moc"
