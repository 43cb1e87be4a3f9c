#include "Files.h"
#include "Rows.h"

#include "publisher/Addition.h"
#include "publisher/PackageSource.h"

using namespace publisher;
using namespace zk::test;

namespace {

NewRelease firmware()
{
    NewRelease result;
    result.values = {{"type", u"Camera Firmware"_s},
                     {"name", u"Firmware <\"&>"_s},
                     {"release", u"2"_s},
                     {"status", u"STABLE"_s}};
    result.platforms = QStringList{u"Q"_s};
    result.languages = QStringList{u"en"_s};
    result.files = {{u"new.bin"_s, 77, QDateTime(QDate(2026, 11, 20), QTime(10, 0, 0))}};
    return result;
}

} // namespace

class tst_Addition : public QObject
{
    Q_OBJECT

private slots:
    void addsOrRefuses_data()
    {
        columns<QByteArray, QByteArray>("before", "result");
        const QStringList cases = casesIn(QFINDTESTDATA("additions.txt"));
        for (const QString& one : cases) {
            const QByteArray name = one.section(u'\n', 0, 0).toUtf8();
            const QByteArray before = one.section(u"\n->"_s, 0, 0).section(u'\n', 1).toUtf8();
            const QByteArray result = one.section(u"\n->"_s, 1).trimmed().toUtf8();
            row(name, before, result);
            if (before.contains('\n')) {
                row(name + ", with CR LF", QByteArray(before).replace("\n", "\r\n"),
                    QByteArray(result).replace("\n", "\r\n"));
            }
        }
    }
    void addsOrRefuses()
    {
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, result);
        const Addition addition = addRelease(before, firmware());
        if (const auto* const reason = std::get_if<QString>(&addition)) {
            QVERIFY2(!result.startsWith('<') && reason->contains(QString::fromUtf8(result)),
                     qPrintable(*reason));
            return;
        }
        QCOMPARE(std::get<QByteArray>(addition), result);
    }

    void keepsTheEncoding()
    {
        const QByteArray before = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<softwareList "
                                  "base-url=\"http://h/\" comment=\"\xe4\">\n</softwareList>";
        NewRelease release = firmware();
        release.values << NewValue{"comment", u"ä"_s};
        const Addition latin = addRelease(before, release);
        QCOMPARE(parsePackages(std::get<QByteArray>(latin)).value(0).comment, u"ä"_s);
        const QByteArray mark("\xef\xbb\xbf");
        const Addition marked = addRelease(mark + "<softwareList base-url='http://h/'/>", release);
        QVERIFY(std::get<QByteArray>(marked).startsWith(mark + '<'));
        release.values.last().text = u"测试"_s;
        QVERIFY(std::get<QString>(addRelease(before, release)).contains(u"encoding"_s));
    }
};

QTEST_GUILESS_MAIN(tst_Addition)
#include "tst_Addition.moc"
