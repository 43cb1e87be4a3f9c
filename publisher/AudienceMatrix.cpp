#include "publisher/AudienceMatrix.h"

#include "catalogue/PackageSelection.h"

#include <QMap>

namespace publisher {

namespace {

MatrixRow row(const QString& name, const zk::PackageInfoList& packages, Audience audience)
{
    MatrixRow result{name, preview(packages, audience), {}};
    audience.host.includeBeta = true;
    result.beta = preview(packages, audience);
    return result;
}

} // namespace

QList<MatrixRow> audienceMatrix(const zk::PackageInfoList& packages, const QLocale& locale)
{
    QMap<QString, Audience> products;
    QMap<QString, Audience> cameras;
    for (const zk::PackageInfo& package : packages) {
        const bool isFirmware = zk::PackageSelection::isCameraFirmware(package);
        for (const QString& platform : package.platforms) {
            Audience audience;
            audience.locale = locale;
            if (isFirmware) {
                // A name that no product has, so only the camera counts.
                audience.host.productName = QStringLiteral("\n");
                audience.host.cameraVersions = {{platform, zk::VersionNumber(L"0")}};
                cameras.insert(platform, audience);
            } else if (!package.name.isEmpty()) {
                audience.host.productName = package.name;
                audience.host.platforms = QStringList{platform};
                audience.host.version = zk::VersionNumber(L"0");
                products.insert(package.name + QStringLiteral(", ") + platform, audience);
            }
        }
    }
    QList<MatrixRow> rows;
    for (const auto& audiences : {products, cameras}) {
        for (auto it = audiences.cbegin(); it != audiences.cend(); ++it) {
            rows << row(it.key(), packages, it.value());
        }
    }
    return rows;
}

} // namespace publisher
