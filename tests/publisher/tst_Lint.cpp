#include "Files.h"
#include "Rows.h"

#include "publisher/Lint.h"

#include <QTemporaryDir>
#include <QTest>

using namespace publisher;

/** Each mistake is found where it is, and nothing else with it. */
class tst_Lint : public QObject
{
    Q_OBJECT

private slots:
    void findsEachMistakeAtItsLine_data()
    {
        zk::test::columns<int, QByteArray, QString>("line", "text", "expected");
        zk::test::row("nothing", 0, QByteArray(), QString());
        // What precedes the first case is a comment.
        const QStringList cases =
            QString::fromUtf8(zk::test::readFile(QFINDTESTDATA("mistakes.txt")))
                .remove(u'\r')
                .split(u"\n== "_s)
                .mid(1);
        for (const QString& one : cases) {
            const QStringList lines = one.split(u'\n');
            const QString& text = lines.at(1);
            zk::test::row(qPrintable(lines.at(0)), text.section(u'|', 0, 0).toInt(),
                          text.section(u'|', 1).toUtf8(), lines.at(2).mid(3));
        }
    }

    void findsEachMistakeAtItsLine()
    {
        QFETCH(int, line);
        QFETCH(QByteArray, text);
        QList<QByteArray> lines = zk::test::readFile(QFINDTESTDATA("flawless.xml")).split('\n');
        QVERIFY(lines.size() > line);
        if (line > 0) {
            lines[line - 1] = text;
        }
        QTemporaryDir folder;
        for (const auto& [name, size] :
             {std::pair("viewer-4.3.exe", 2600), {"viewer-4.3.zip", 4096}}) {
            zk::test::writeFile(folder.filePath(QLatin1String(name)), QByteArray(size, 'x'));
        }
        const Findings findings = lint(lines.join('\n'), folder.path());
        QStringList found;
        for (const Finding& finding : findings) {
            found << u"%1:%2 %3"_s.arg(finding.position.line)
                         .arg(finding.position.column)
                         .arg(finding.rule);
        }
        QTEST(found.join(u", "_s), "expected");
    }
};

QTEST_GUILESS_MAIN(tst_Lint)
#include "tst_Lint.moc"
