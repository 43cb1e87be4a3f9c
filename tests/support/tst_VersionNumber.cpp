#include "Rows.h"

#include "support/VersionNumber.h"

#include <QTest>

using zk::VersionNumber;

namespace {

VersionNumber version(const QString& text)
{
    return VersionNumber(text.toStdWString());
}

} // namespace

class tst_VersionNumber : public QObject
{
    Q_OBJECT

private slots:
    void ordersAscending();
    void treatsAsEqual_data();
    void treatsAsEqual();
    void printsForms_data();
    void printsForms();
    void longTextsCostLittle();
};

void tst_VersionNumber::ordersAscending()
{
    // Every entry is older than all that follow it.
    const QStringList ascending =
        QStringList{QString()} +
        zk::test::lines("0-alpha\n0\n0.0.1\n1.0.0-1\n1.0.0-2\n1.0.0-10\n1.0.0-alpha\n"
                        "1.0.0-alpha.1\n1.0.0-alpha.beta\n1.0.0-beta\n1.0.0-BETA.2\n"
                        "1.0.0-beta.11\n1.0 rc 1\n1.0RC2\n1.0.0\n1.0.0.1\n9.0\n10.0\n"
                        "10.0.00000000000000000000001\n99999999999999999999998\n"
                        "99999999999999999999999");
    for (int i = 0; i < ascending.size(); ++i) {
        for (int j = 0; j < ascending.size(); ++j) {
            const VersionNumber a = version(ascending[i]);
            const VersionNumber b = version(ascending[j]);
            const QByteArray row =
                QStringLiteral("%1 | %2").arg(ascending[i], ascending[j]).toUtf8();
            QVERIFY2((a < b) == (i < j), row.constData());
            QVERIFY2((a <= b) == (i <= j), row.constData());
            QVERIFY2((a > b) == (i > j), row.constData());
            QVERIFY2((a >= b) == (i >= j), row.constData());
            QVERIFY2((a == b) == (i == j), row.constData());
            QVERIFY2((a != b) == (i != j), row.constData());
        }
    }
}

void tst_VersionNumber::treatsAsEqual_data()
{
    zk::test::columns<QString, QString>("a", "b");
    zk::test::row("missing numbers count as zero", "4.3", "4.3.0.0");
    zk::test::row("leading zeros are ignored", "004.03", "4.3");
    zk::test::row("blanks and a leading v", "  V4.3\t", "4.3");
    zk::test::row("what follows + never orders", "4.3+build.7", "4.3+build.8");
    zk::test::row("a label's + too", "4.3-rc1+x", "4.3-rc1");
    zk::test::row("label set off in different ways", "4.3 RC 2", "4.3-rc.2");
    zk::test::row("label without separator", "4.3rc2", "4.3_rc2");
    zk::test::row("an empty label is none", "4.3-", "4.3");
    zk::test::row("no leading number is the empty version", "beta", "");
    zk::test::row("a lone v is the empty version", "v", "");
    zk::test::row("a lone + is the empty version", "+4", "");
}

void tst_VersionNumber::treatsAsEqual()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QVERIFY(version(a) == version(b));
    QVERIFY(!(version(a) != version(b)));
}

void tst_VersionNumber::printsForms_data()
{
    zk::test::columns<QString, QString, QString>("text", "full", "brief");
    zk::test::row("as written, trimmed", " 4.3 ", "4.3", "4.3");
    zk::test::row("three numbers", "4.3.1.778", "4.3.1.778", "4.3.1");
    zk::test::row("label kept, build dropped", "v4.3.1.778-beta.2+b5", "v4.3.1.778-beta.2+b5",
                  "4.3.1-beta.2");
    zk::test::row("blank label", "4.3 RC 2 +x", "4.3 RC 2 +x", "4.3 RC 2");
    zk::test::row("one number", "7", "7", "7");
    zk::test::row("empty version", "unknown", "", "");
}

void tst_VersionNumber::printsForms()
{
    QFETCH(QString, text);
    QTEST(QString::fromStdWString(version(text).toString()), "full");
    QTEST(QString::fromStdWString(version(text).toShortVersion()), "brief");
}

void tst_VersionNumber::longTextsCostLittle()
{
    // A server may send anything; a quadratic walk would take minutes here.
    QString dotted = QStringLiteral("1.").repeated(1000000);
    QString labels = QStringLiteral("1-") + QStringLiteral("a.1.").repeated(500000);
    QVERIFY(version(dotted) < version(dotted + QStringLiteral("2")));
    QVERIFY(version(labels) < version(labels + QStringLiteral("b")));
}

QTEST_APPLESS_MAIN(tst_VersionNumber)
#include "tst_VersionNumber.moc"
