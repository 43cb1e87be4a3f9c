#include "Rows.h"

#include "support/VersionNumber.h"

using zk::VersionNumber;

class tst_VersionNumber : public QObject
{
    Q_OBJECT

    static VersionNumber version(const QString& text) { return VersionNumber(text.toStdWString()); }

private slots:
    void orders()
    {
        // Each line is older than all that follow it; what stands in one is equal.
        const QStringList ascending = zk::test::lines(
            "|beta|v|+4\n0-alpha\n0\n0.0.1\n1.0.0-1\n1.0.0-2\n1.0.0-10\n1.0.0-alpha\n"
            "1.0.0-alpha.1\n1.0.0-alpha.beta\n1.0.0-beta\n1.0.0-BETA.2\n1.0.0-beta.11\n"
            "1.0 rc 1|1.0rc1+x\n1.0RC2|1.0 RC 2|1.0-rc.2|1.0_rc2\n"
            "1.0.0|  V1.0\t|01.00|1.0-|1.0+build.7|1.0+build.8\n1.0.0.1\n9.0\n10.0\n"
            "10.0.00000000000000000000001\n99999999999999999999998\n99999999999999999999999");
        QVector<QPair<int, QString>> all;
        for (int age = 0; age < ascending.size(); ++age) {
            const QStringList equal = ascending[age].split(u'|');
            for (const QString& text : equal) {
                all.append({age, text});
            }
        }
        for (const auto& [ageOfA, a] : qAsConst(all)) {
            for (const auto& [ageOfB, b] : qAsConst(all)) {
                QVERIFY2((version(a) < version(b)) == (ageOfA < ageOfB) &&
                             (version(a) == version(b)) == (ageOfA == ageOfB),
                         qPrintable(a + u" | "_s + b));
            }
        }
    }

    void printsForms()
    {
        const QStringList forms =
            zk::test::lines(" 4.3 |4.3|4.3\n4.3.1.778|4.3.1.778|4.3.1\n7|7|7\nunknown||\n"
                            "v4.3.1.778-beta.2+b5|v4.3.1.778-beta.2+b5|4.3.1-beta.2\n"
                            "4.3 RC 2 +x|4.3 RC 2 +x|4.3 RC 2");
        for (const QString& form : forms) { // as given, in full, in brief
            const VersionNumber given = version(form.section(u'|', 0, 0));
            QCOMPARE(QString::fromStdWString(given.toString() + L'|' + given.toShortVersion()),
                     form.section(u'|', 1));
        }
    }

    void longTextsCostLittle()
    {
        // A server may send anything; a quadratic walk would take minutes here.
        const QString dotted = u"1."_s.repeated(1000000);
        const QString labels = u"1-"_s + u"a.1."_s.repeated(500000);
        QVERIFY(version(dotted) < version(dotted + u"2"_s));
        QVERIFY(version(labels) < version(labels + u"b"_s));
    }
};

QTEST_APPLESS_MAIN(tst_VersionNumber)
#include "tst_VersionNumber.moc"
