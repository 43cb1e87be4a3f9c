#include "UiTestSupport.h"
#include "tests/support/MessageFilter.h"
#include "tests/support/Rows.h"
#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateDialog.h"
#include "ui/SoftwareUpdateTranslator.h"
#include "ui/SoftwareUpdateWidget.h"

#include <QCryptographicHash>
#include <QFile>
#include <QMap>
#include <QPushButton>
#include <QResource>
#include <QXmlStreamReader>
#include <QtEndian>

#include <algorithm>

using namespace zk;

namespace {

using ContextAndText = QPair<QString, QString>;
/** Texts with their translations, empty for those of a form. */
using Texts = QMap<ContextAndText, QString>;

QString cataloguePath(const QString& language)
{
    return QStringLiteral(":/Translations/SoftwareUpdateClient_%1.qm").arg(language);
}

/** How many messages a .qm file holds: eight bytes each in the section of the hashes (tag 0x42). */
int messageCount(const QByteArray& catalogue)
{
    const int magicSize = 16;
    for (int at = magicSize; at + 5 <= catalogue.size();) {
        const auto size = int(qFromBigEndian<quint32>(catalogue.constData() + at + 1));
        if (catalogue[at] == 0x42) {
            return size / 8;
        }
        at += 5 + size;
    }
    return -1;
}

/** The texts of a form that uic will mark for translation, or those of a .ts file. */
Texts textsOf(const QString& name)
{
    QFile file(QStringLiteral(SOFTWAREUPDATE_UI_DIR "/") + name);
    Texts result;
    if (!file.open(QIODevice::ReadOnly)) {
        return result;
    }
    ContextAndText last;
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        const QString element = xml.name().toString();
        const bool isKept = xml.attributes().value(QLatin1String("notr")) != QLatin1String("true");
        if (element == QLatin1String("class") || element == QLatin1String("name")) {
            last.first = xml.readElementText();
        } else if (element == QLatin1String("source") || element == QLatin1String("string")) {
            last.second = xml.readElementText();
            if (isKept && !last.second.isEmpty()) {
                result.insert(last, QString());
            }
        } else if (element == QLatin1String("translation")) {
            result[last] = xml.readElementText();
        }
    }
    return result;
}

/** The text as it is built in: the sources have a mark in the maker's place. */
QString withHost(QString text)
{
    return text.replace(QStringLiteral("@SOFTWAREUPDATE_MAKER_HOST@"),
                        QStringLiteral(SOFTWAREUPDATE_MAKER_HOST));
}

Texts textsIn(const QString& language)
{
    return textsOf(QStringLiteral("translations/SoftwareUpdateClient_%1.ts").arg(language));
}

} // namespace

class tst_Translations : public QObject
{
    Q_OBJECT

public:
    // What Unix takes for the user's languages, read once when the application starts.
    static void initMain() { qputenv("LANGUAGE", "it:en_GB:de"); }

private slots:
    void initTestCase() { zk::test::dropOffscreenSizeHintLine(); }
    void translatesEveryText_data();
    void translatesEveryText();
    void coversTheForms();
    void choosesTheLanguage_data();
    void choosesTheLanguage();
    void prefersEnglishToALaterLanguage();
    void plainTranslatorLeavesTheClassesEnglish();
    void showsEverythingInFull_data();
    void showsEverythingInFull();
};

void tst_Translations::translatesEveryText_data()
{
    test::columns<QString, QByteArray>("language", "fingerprint");
    test::row("French", "fr", QByteArray("1363b1b1"));
    test::row("German", "de", QByteArray("95cef6a6"));
}

void tst_Translations::translatesEveryText()
{
    QFETCH(QString, language);
    QTranslator plain;
    QVERIFY(plain.load(cataloguePath(language)));
    SoftwareUpdateTranslator own;
    QVERIFY(own.load(QLocale(language)));
    QCryptographicHash hash(QCryptographicHash::Sha1);
    const Texts texts = textsIn(language);
    for (auto text = texts.cbegin(); text != texts.cend(); ++text) {
        const QByteArray context = text.key().first.toUtf8();
        const QByteArray source = withHost(text.key().second).toUtf8();
        const QString expected = withHost(text.value());
        QVERIFY2(!expected.isEmpty(), source.constData());
        QCOMPARE(plain.translate(context.constData(), source.constData()), expected);
        QCOMPARE(own.translate(context.constData(), source.constData()), expected);
        QCOMPARE(own.translate(("zk::" + context).constData(), source.constData()),
                 context.endsWith("Gui") ? QString() : expected);
        hash.addData((text.key().first + text.key().second + text.value()).toUtf8());
    }
    // The texts are agreed with their translators: none changes by accident.
    QTEST(hash.result().toHex().left(8), "fingerprint");

    QFile file(cataloguePath(language));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(messageCount(file.readAll()), 49);
    QCOMPARE(QResource(file.fileName()).compressionAlgorithm(), QResource::NoCompression);
}

void tst_Translations::coversTheForms()
{
    for (const char* name :
         {"SoftwareUpdateGui", "SoftwareUpdateDialogGui", "SoftwareUpdateAvailableGui"}) {
        const QString form = QString::fromLatin1(name);
        const QList<ContextAndText> shown = textsOf(form + QStringLiteral(".ui")).keys();
        QVERIFY(!shown.isEmpty());
        for (const QString& language : {QStringLiteral("fr"), QStringLiteral("de")}) {
            QList<ContextAndText> known = textsIn(language).keys();
            known.erase(std::remove_if(known.begin(), known.end(),
                                       [&](const ContextAndText& t) { return t.first != form; }),
                        known.end());
            QCOMPARE(known, shown);
        }
    }
}

void tst_Translations::choosesTheLanguage_data()
{
    test::columns<QString, QString>("locale", "daily");
    test::row("German of Austria", "de_AT", "Täglich");
    test::row("French of Canada", "fr_CA", "Tous les jours");
    test::row("English", "en_US", "");
    test::row("a language without catalogue", "it", "");
    test::row("the C locale", "C", "");
}

void tst_Translations::choosesTheLanguage()
{
    QFETCH(QString, locale);
    QFETCH(QString, daily);
    SoftwareUpdateTranslator translator;
    QVERIFY(translator.load(QLocale(QStringLiteral("fr"))));
    QCOMPARE(translator.load(QLocale(locale)), !daily.isEmpty()); // and forgets the French texts
    QCOMPARE(translator.isEmpty(), daily.isEmpty());
    QCOMPARE(translator.translate("SoftwareUpdateGui", "Daily"), daily);
}

void tst_Translations::prefersEnglishToALaterLanguage()
{
#ifdef Q_OS_UNIX
    QVERIFY(QLocale::system().uiLanguages().contains(QStringLiteral("de")));
    SoftwareUpdateTranslator translator;
    QVERIFY(!translator.load(QLocale::system()));
#else
    QSKIP("the list of the user's languages cannot be set within a process on this platform");
#endif
}

void tst_Translations::plainTranslatorLeavesTheClassesEnglish()
{
    QTranslator plain;
    QVERIFY(plain.load(cataloguePath(QStringLiteral("fr"))));
    QCoreApplication::installTranslator(&plain);
    SoftwareUpdateWidget widget(nullptr);
    const char* const text = "No update available!";
    QCOMPARE(widget.findChild<QPushButton*>(QStringLiteral("updatePushButton"))->text(),
             QStringLiteral("Rechercher maintenant"));
    QCOMPARE(QCoreApplication::translate("zk::SoftwareUpdateClient", text),
             QString::fromLatin1(text));
    QCoreApplication::removeTranslator(&plain);

    SoftwareUpdateTranslator own;
    QVERIFY(own.load(QLocale(QStringLiteral("fr"))));
    QCOMPARE(QCoreApplication::translate("zk::SoftwareUpdateClient", text),
             QString::fromLatin1(text));
    QCoreApplication::installTranslator(&own);
    QCOMPARE(QCoreApplication::translate("zk::SoftwareUpdateClient", text),
             QString::fromUtf16(u"Aucune mise à jour disponible\u00a0!"));
}

void tst_Translations::showsEverythingInFull_data()
{
    test::columns<QString>("language");
    test::row("English", "en");
    test::row("French", "fr");
    test::row("German", "de");
}

void tst_Translations::showsEverythingInFull()
{
    QFETCH(QString, language);
    SoftwareUpdateTranslator translator;
    if (translator.load(QLocale(language))) {
        QCoreApplication::installTranslator(&translator);
    }
    SoftwareUpdateDialog settings(nullptr, Qt::Dialog);
    settings.updateWidget()->setMessage(QCoreApplication::translate(
        "zk::SoftwareUpdateClient", "Timeout error! Update server unreachable!"));
    SoftwareUpdateAvailableDialog available(nullptr, Qt::Dialog);
    for (QDialog* dialog : {static_cast<QDialog*>(&settings), static_cast<QDialog*>(&available)}) {
        dialog->show();
        QVERIFY(QTest::qWaitForWindowExposed(dialog));
        QTRY_VERIFY(dialog->minimumHeight() > 0);
        dialog->resize(dialog->minimumSize());
        QTRY_COMPARE(test::clippedTexts(*dialog), QStringList());
        const QList<QAbstractButton*> buttons = dialog->findChildren<QAbstractButton*>();
        for (const QAbstractButton* button : buttons) {
            QVERIFY2(!button->isVisible() || button->width() >= button->minimumSizeHint().width(),
                     qPrintable(button->text()));
        }
    }
}

QTEST_MAIN(tst_Translations)
#include "tst_Translations.moc"
