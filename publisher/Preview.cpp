#include "publisher/Preview.h"

#include "catalogue/PackageSelection.h"
#include "install/PackagePresentation.h"

#include <QCoreApplication>

namespace publisher {

namespace {

QString clientText(const char* text)
{
    return QCoreApplication::translate("zk::SoftwareUpdateClient", text);
}

} // namespace

Preview preview(zk::PackageInfoList packages, const Audience& audience)
{
    using namespace zk;
    if (packages.isEmpty()) {
        return {SoftwareUpdate::eNoUpdateAvailable, clientText("No update available!"), {}, {}};
    }
    const PackageInfoList updates = PackageSelection::findUpdates(packages, audience.host);
    if (updates.isEmpty()) {
        return {SoftwareUpdate::eUpToDate,
                clientText("Congratulations! Your product is up-to-date!"),
                {},
                {}};
    }
    Preview result;
    result.state = SoftwareUpdate::eUpdateAvailable;
    for (const char* const header : {"Name", "File Size", "File Type", "Languages", "Platforms"}) {
        result.headers << clientText(header);
    }
    const QString language = audience.locale.name().section(QLatin1Char('_'), 0, 0);
    const auto hidden = PackagePresentation::foreignLanguageRows(updates, language);
    for (int i = 0; i < updates.size(); ++i) {
        const PackageInfo& package = updates.at(i);
        result.rows << PreviewRow{PackagePresentation::row(package), hidden.contains(i),
                                  PackagePresentation::comment(package, audience.locale), package};
    }
    return result;
}

} // namespace publisher
