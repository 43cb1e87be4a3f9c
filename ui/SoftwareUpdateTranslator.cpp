#include "ui/SoftwareUpdateTranslator.h"

#include <QLocale>
#include <QStringList>

namespace zk {

namespace {

/** The part of the language tag before the country, e.g. "de" of "de-AT". */
QString languageOf(const QString& tag)
{
    return tag.section(QLatin1Char('-'), 0, 0);
}

QString preferredLanguage(const QStringList& tags)
{
    const QStringList known{QStringLiteral("en"), QStringLiteral("de"), QStringLiteral("fr")};
    for (const QString& tag : tags) {
        QString language = languageOf(tag);
        if (known.contains(language)) {
            return language;
        }
    }
    return known.first();
}

/** The context that the catalogues use for @p context. */
const char* catalogueContext(const char* context)
{
    const QByteArray name = QByteArray::fromRawData(context, int(qstrlen(context)));
    if (name == "zk::SoftwareUpdateClient" || name == "zk::DownloadManager") {
        return context + qstrlen("zk::");
    }
    return context;
}

} // namespace

SoftwareUpdateTranslator::SoftwareUpdateTranslator(QObject* parent)
    : QTranslator(parent)
{
}

bool SoftwareUpdateTranslator::load(const QLocale& locale)
{
    // There is no English catalogue: loading one fails and unloads the previous one.
    return QTranslator::load(QStringLiteral(":/Translations/SoftwareUpdateClient_") +
                             preferredLanguage(locale.uiLanguages()));
}

QString SoftwareUpdateTranslator::translate(const char* context, const char* sourceText,
                                            const char* disambiguation, int n) const
{
    return QTranslator::translate(catalogueContext(context), sourceText, disambiguation, n);
}

} // namespace zk
