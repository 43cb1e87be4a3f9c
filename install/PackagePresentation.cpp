#include "install/PackagePresentation.h"

#include "catalogue/PackageSelection.h"
#include "catalogue/Vocabulary.h"
#include "support/DisplayText.h"
#include "support/LinkRule.h"

#include <QCoreApplication>

namespace zk::PackagePresentation {

using PackageSelection::isCameraFirmware;

namespace {

// The texts belong to the client, in whose name they are looked up.
QString translate(const char* text)
{
    return QCoreApplication::translate("zk::SoftwareUpdateClient", text);
}

// In the set's own order, so that a table shows the same text again and again within one run.
QString joined(const QSet<QString>& words)
{
    QString text;
    for (const QString& word : words) {
        text += text.isEmpty() ? word : QStringLiteral(", ") + word;
    }
    return text;
}

// Text of the document as HTML. Laying out a megabyte would block the window.
QString shown(const QString& text)
{
    constexpr int longest = 1000;
    return displayText(text, longest).toHtmlEscaped();
}

} // namespace

QString title(const PackageInfo& package)
{
    // The internal name but the public version: users know the product by the one and the other.
    QString text = package.name.isEmpty() ? package.publicName : package.name;
    text += QLatin1Char(' ');
    text += package.publicRelease.isEmpty() ? package.release : package.publicRelease;
    if (package.status == QLatin1String(Vocabulary::statusBeta)) {
        text += QLatin1String(" BETA");
    }
    return text;
}

QStringList row(const PackageInfo& package)
{
    constexpr double megabytesPerByte = 9.5367431640625e-7;
    return {title(package),
            QString::number(package.fileSize * megabytesPerByte, 'f', 1) + QStringLiteral(" MB"),
            package.suffix,
            isCameraFirmware(package) ? joined(package.languages) : translate("Multilingual"),
            joined(package.platforms)};
}

QString comment(const PackageInfo& package, const QLocale& locale)
{
    QString published;
    if (!package.releaseDate.isNull()) {
        const QString date = locale.toString(package.releaseDate.date(), QLocale::LongFormat);
        published = translate("Published on %1").arg(date) + QStringLiteral("<br />");
    }
    const QString url = shown(package.url.toString());
    const bool isLink = package.url.isRelative() || isOpenableLink(package.url);
    const QString target = package.url.toString().toHtmlEscaped();
    const QString link = isLink ? QStringLiteral("<a href=\"") + target + QStringLiteral("\">") +
                                      url + QStringLiteral("</a>")
                                : url;
    return QStringLiteral("<b>") + shown(title(package)) + QStringLiteral(", ") +
           shown(package.type) + QStringLiteral("</b><br />") + published + link +
           QStringLiteral("<br />");
}

SoftwareUpdate::SoftUpIndexList foreignLanguageRows(const PackageInfoList& packages,
                                                    const QString& hostLanguage)
{
    const bool isEnglish = hostLanguage == QLatin1String("en");
    SoftwareUpdate::SoftUpIndexList rows;
    for (int row = 0; row < packages.size(); ++row) {
        const PackageInfo& package = packages.at(row);
        const bool isForeign = !package.languages.contains(hostLanguage) ||
                               (isEnglish && !package.languages.contains(QStringLiteral("de")));
        if (isCameraFirmware(package) && isForeign) {
            rows.append(row);
        }
    }
    return rows;
}

} // namespace zk::PackagePresentation
