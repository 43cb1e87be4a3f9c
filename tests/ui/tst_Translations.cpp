#include "tests/support/Rows.h"
#include "ui/SoftwareUpdateTranslator.h"

#include <QCryptographicHash>
#include <QFile>
#include <QMap>
#include <QResource>
#include <QXmlStreamReader>

using namespace zk;

namespace {

using ContextAndText = QPair<QString, QString>;
/** Texts with their translations, empty for those of a form. */
using Texts = QMap<ContextAndText, QString>;

QString cataloguePath(const QString& language)
{
    return u":/Translations/SoftwareUpdateClient_%1.qm"_s.arg(language);
}

/** Adds the texts of a form that uic will mark for translation, or those of a .ts file. */
void collect(const QString& name, Texts& result)
{
    QFile file(QStringLiteral(SOFTWAREUPDATE_UI_DIR "/") + name);
    QVERIFY(file.open(QIODevice::ReadOnly));
    ContextAndText last;
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        const QString element = xml.name().toString();
        const bool isKept = xml.attributes().value(u"notr"_s) != u"true"_s;
        if (element == u"class"_s || element == u"name"_s) {
            last.first = xml.readElementText();
        } else if (element == u"source"_s || element == u"string"_s) {
            last.second = xml.readElementText();
            if (isKept && !last.second.isEmpty()) {
                result.insert(last, QString());
            }
        } else if (element == u"translation"_s) {
            result[last] = xml.readElementText();
        }
    }
}

/** The text as it is built in: the sources have a mark in the maker's place. */
QString withHost(QString raw)
{
    return raw.replace(u"@SOFTWAREUPDATE_MAKER_HOST@"_s, QStringLiteral(SOFTWAREUPDATE_MAKER_HOST));
}

} // namespace

class tst_Translations : public QObject
{
    Q_OBJECT

public:
    // What Unix takes for the user's languages, read once when the application starts.
    static void initMain() { qputenv("LANGUAGE", "it:en_GB:de"); }

private slots:
    void translatesEveryText_data()
    {
        test::columns<QString, QByteArray>("language", "fingerprint");
        test::row("French", "fr", QByteArray("1363b1b1"));
        test::row("German", "de", QByteArray("95cef6a6"));
    }
    void translatesEveryText()
    {
        QFETCH(QString, language);
        QTranslator plain;
        QVERIFY(plain.load(cataloguePath(language)));
        SoftwareUpdateTranslator own;
        QVERIFY(own.load(QLocale(language)));
        QCryptographicHash hash(QCryptographicHash::Sha1);
        Texts forms;
        Texts texts;
        collect(u"translations/SoftwareUpdateClient_%1.ts"_s.arg(language), texts);
        QCOMPARE(texts.size(), 49);
        for (auto text = texts.cbegin(); text != texts.cend(); ++text) {
            const QByteArray context = text.key().first.toUtf8();
            const QByteArray source = withHost(text.key().second).toUtf8();
            const QString expected = withHost(text.value());
            QVERIFY2(!expected.isEmpty(), source.constData());
            QCOMPARE(plain.translate(context.constData(), source.constData()), expected);
            QCOMPARE(own.translate(context.constData(), source.constData()), expected);
            QCOMPARE(own.translate(("zk::" + context).constData(), source.constData()),
                     context.endsWith("Gui") ? QString() : expected);
            if (context.endsWith("Gui")) {
                forms.insert(text.key(), {});
            }
            hash.addData((text.key().first + text.key().second + text.value()).toUtf8());
        }
        // The texts are agreed with their translators: none changes by accident.
        QTEST(hash.result().toHex().left(8), "fingerprint");
        QCOMPARE(QResource(cataloguePath(language)).compressionAlgorithm(),
                 QResource::NoCompression);
        Texts shown;
        for (const char* form : {"SoftwareUpdateGui.ui", "SoftwareUpdateDialogGui.ui",
                                 "SoftwareUpdateAvailableGui.ui"}) {
            collect(QLatin1String(form), shown);
        }
        QCOMPARE(shown.keys(), forms.keys());
    }

    void choosesTheLanguage()
    {
        const auto daily = [](const char* locale) {
            SoftwareUpdateTranslator translator;
            const bool isFrench = translator.load(QLocale(u"fr"_s)); // to be forgotten
            const bool isLoaded = translator.load(QLocale(QLatin1String(locale)));
            const QString text = translator.translate("SoftwareUpdateGui", "Daily");
            return isFrench && isLoaded != text.isEmpty() ? text : u"wrong"_s;
        };
        QCOMPARE(daily("de_AT"), u"Täglich"_s);
        QCOMPARE(daily("fr_CA"), u"Tous les jours"_s);
        QCOMPARE(daily("en_US") + daily("it") + daily("C"), QString());
#ifdef Q_OS_UNIX
        // The user's first language that there is counts, be it the one of the sources.
        QVERIFY(QLocale::system().uiLanguages().contains(u"de"_s));
        QVERIFY(!SoftwareUpdateTranslator().load(QLocale::system()));
#endif
    }
};

QTEST_GUILESS_MAIN(tst_Translations)
#include "tst_Translations.moc"
