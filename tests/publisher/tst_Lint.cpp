#include "Files.h"
#include "Rows.h"

#include "publisher/Lint.h"

#include <QTemporaryDir>

using namespace publisher;
using namespace zk::test;

/** Each mistake is found where it is, and nothing else with it. */
class tst_Lint : public QObject
{
    Q_OBJECT

private slots:
    void findsEachMistakeAtItsLine_data()
    {
        columns<int, QByteArray, QString>("line", "text", "expected");
        row("nothing", 0, QByteArray(), QString());
        const QStringList cases = casesIn(QFINDTESTDATA("mistakes.txt"));
        for (const QString& one : cases) {
            const QStringList lines = one.split(u'\n');
            const QString& text = lines.at(1);
            row(lines.at(0).toUtf8(), text.section(u'|', 0, 0).toInt(),
                text.section(u'|', 1).toUtf8(), lines.at(2).mid(3));
        }
    }

    void findsEachMistakeAtItsLine()
    {
        QFETCH(int, line);
        QFETCH(QByteArray, text);
        QList<QByteArray> lines = readFile(QFINDTESTDATA("flawless.xml")).split('\n');
        QVERIFY(lines.size() > line);
        if (line > 0) {
            lines[line - 1] = text;
        }
        QTemporaryDir folder;
        writeFile(folder.filePath(u"viewer-4.3.exe"_s), QByteArray(2600, 'x'));
        writeFile(folder.filePath(u"viewer-4.3.zip"_s), QByteArray(4096, 'x'));
        const Findings findings = lint(lines.join('\n'), folder.path());
        QStringList found;
        for (const Finding& one : findings) {
            found << u"%1:%2 %3"_s.arg(one.position.line).arg(one.position.column).arg(one.rule);
        }
        QTEST(found.join(u", "_s), "expected");
    }
};

QTEST_GUILESS_MAIN(tst_Lint)
#include "tst_Lint.moc"
