#include <QFile>
#include <QLibrary>
#include <QTest>

class tst_LibraryResources : public QObject
{
    Q_OBJECT

private slots:
    void comeAndGoWithTheLibrary()
    {
        const QString french = QStringLiteral(":/Translations/SoftwareUpdateClient_fr.qm");
        QVERIFY(!QFile::exists(french));
        for (int round = 0; round < 2; ++round) {
            QLibrary library(QStringLiteral(SOFTWAREUPDATE_LIBRARY));
            QVERIFY2(library.load() && QFile::exists(french), qPrintable(library.errorString()));
            QVERIFY2(library.unload(), qPrintable(library.errorString()));
            QVERIFY(!QFile::exists(french));
        }
    }
};

QTEST_GUILESS_MAIN(tst_LibraryResources)
#include "tst_LibraryResources.moc"
