#include <QFile>
#include <QLibrary>
#include <QTest>

class tst_LibraryResources : public QObject
{
    Q_OBJECT

private slots:
    void comeAndGoWithTheLibrary();
};

void tst_LibraryResources::comeAndGoWithTheLibrary()
{
    const QString french = QStringLiteral(":/Translations/SoftwareUpdateClient_fr.qm");
    const QString german = QStringLiteral(":/Translations/SoftwareUpdateClient_de.qm");
    QVERIFY(!QFile::exists(french) && !QFile::exists(german));
    for (int round = 0; round < 2; ++round) {
        QLibrary library(QStringLiteral(SOFTWAREUPDATE_LIBRARY));
        QVERIFY2(library.load(), qPrintable(library.errorString()));
        QVERIFY(QFile::exists(french) && QFile::exists(german));
        QVERIFY2(library.unload(), qPrintable(library.errorString()));
        QVERIFY(!QFile::exists(french) && !QFile::exists(german));
    }
}

QTEST_GUILESS_MAIN(tst_LibraryResources)
#include "tst_LibraryResources.moc"
