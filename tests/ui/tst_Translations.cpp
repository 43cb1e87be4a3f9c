#include "CatalogueTable.h"
#include "UiTestSupport.h"
#include "tests/support/MessageFilter.h"
#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateDialog.h"
#include "ui/SoftwareUpdateTranslator.h"
#include "ui/SoftwareUpdateWidget.h"

#include <QFile>
#include <QPushButton>
#include <QResource>
#include <QSet>
#include <QXmlStreamReader>
#include <QtEndian>

using namespace zk;
using test::catalogueTexts;

namespace {

using ContextAndText = QPair<QString, QString>;

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

/** The texts of a form that uic will mark for translation. */
QSet<ContextAndText> textsOfForm(const QString& path)
{
    QFile file(path);
    QSet<ContextAndText> result;
    if (!file.open(QIODevice::ReadOnly)) {
        return result;
    }
    QString context;
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        if (xml.name() == QLatin1String("class")) {
            context = xml.readElementText();
        } else if (xml.name() == QLatin1String("string") &&
                   xml.attributes().value(QLatin1String("notr")) != QLatin1String("true")) {
            const QString text = xml.readElementText();
            if (!text.isEmpty()) {
                result.insert({context, text});
            }
        }
    }
    return result;
}

QSet<ContextAndText> textsOfSource(const QString& path)
{
    QFile file(path);
    QSet<ContextAndText> result;
    if (!file.open(QIODevice::ReadOnly)) {
        return result;
    }
    QString context;
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        if (xml.name() == QLatin1String("name")) {
            context = xml.readElementText();
        } else if (xml.name() == QLatin1String("source")) {
            result.insert({context, xml.readElementText()});
        }
    }
    return result;
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
    void holdsNothingElse_data();
    void holdsNothingElse();
    void coversTheForms_data();
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
    QTest::addColumn<QString>("language");
    QTest::addColumn<QByteArray>("context");
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<QString>("expected");
    for (const test::CatalogueText& text : catalogueTexts) {
        QTest::addRow("fr %s: %s", text.context, text.source)
            << "fr" << QByteArray(text.context) << QByteArray(text.source)
            << QString::fromUtf16(text.french);
        QTest::addRow("de %s: %s", text.context, text.source)
            << "de" << QByteArray(text.context) << QByteArray(text.source)
            << QString::fromUtf16(text.german);
    }
}

void tst_Translations::translatesEveryText()
{
    QFETCH(QString, language);
    QFETCH(QByteArray, context);
    QFETCH(QByteArray, source);
    QFETCH(QString, expected);
    QTranslator plain;
    QVERIFY(plain.load(cataloguePath(language)));
    QCOMPARE(plain.translate(context.constData(), source.constData()), expected);

    SoftwareUpdateTranslator own;
    QVERIFY(own.load(QLocale(language)));
    QCOMPARE(own.translate(context.constData(), source.constData()), expected);
    const bool ofAClass = !context.endsWith("Gui");
    const QByteArray qualified = "zk::" + context;
    QCOMPARE(own.translate(qualified.constData(), source.constData()),
             ofAClass ? expected : QString());
}

void tst_Translations::holdsNothingElse_data()
{
    QTest::addColumn<QString>("language");
    QTest::newRow("French") << "fr";
    QTest::newRow("German") << "de";
}

void tst_Translations::holdsNothingElse()
{
    QFETCH(QString, language);
    const QResource resource(cataloguePath(language));
    QVERIFY(resource.isValid());
    QCOMPARE(resource.compressionAlgorithm(), QResource::NoCompression);
    QFile file(cataloguePath(language));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(messageCount(file.readAll()), 49);
    QCOMPARE(int(std::size(catalogueTexts)), 49);
}

void tst_Translations::coversTheForms_data()
{
    QTest::addColumn<QString>("form");
    QTest::newRow("panel") << "SoftwareUpdateGui";
    QTest::newRow("settings dialog") << "SoftwareUpdateDialogGui";
    QTest::newRow("update-available dialog") << "SoftwareUpdateAvailableGui";
}

void tst_Translations::coversTheForms()
{
    QFETCH(QString, form);
    const QString folder = QStringLiteral(SOFTWAREUPDATE_UI_DIR);
    const QSet<ContextAndText> shown = textsOfForm(QStringLiteral("%1/%2.ui").arg(folder, form));
    QVERIFY(!shown.isEmpty());
    for (const QString& language : {QStringLiteral("fr"), QStringLiteral("de")}) {
        QSet<ContextAndText> known;
        const QSet<ContextAndText> all = textsOfSource(
            QStringLiteral("%1/translations/SoftwareUpdateClient_%2.ts").arg(folder, language));
        for (const ContextAndText& text : all) {
            if (text.first == form) {
                known.insert(text);
            }
        }
        QCOMPARE(shown - known, QSet<ContextAndText>());
        QCOMPARE(known - shown, QSet<ContextAndText>());
    }
}

void tst_Translations::choosesTheLanguage_data()
{
    QTest::addColumn<QLocale>("locale");
    QTest::addColumn<QString>("daily");
    QTest::newRow("German of Austria") << QLocale(QStringLiteral("de_AT")) << "Täglich";
    QTest::newRow("French of Canada") << QLocale(QStringLiteral("fr_CA")) << "Tous les jours";
    QTest::newRow("English") << QLocale(QStringLiteral("en_US")) << "";
    QTest::newRow("a language without catalogue") << QLocale(QStringLiteral("it")) << "";
    QTest::newRow("the C locale") << QLocale::c() << "";
}

void tst_Translations::choosesTheLanguage()
{
    QFETCH(QLocale, locale);
    QFETCH(QString, daily);
    SoftwareUpdateTranslator translator;
    QVERIFY(translator.load(QLocale(QStringLiteral("fr"))));
    QCOMPARE(translator.load(locale), !daily.isEmpty()); // and forgets the French texts
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
    QTest::addColumn<QString>("language");
    QTest::newRow("English") << "en";
    QTest::newRow("French") << "fr";
    QTest::newRow("German") << "de";
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
