#pragma once

#include "catalogue/PackageInfo.h"
#include "types/SoftwareUpdateTypes.h"

#include <QLocale>
#include <QStringList>

namespace zk::PackagePresentation {

/** Name, version and " BETA" where it is one: "Camera Desk 4.3 BETA". */
QString title(const PackageInfo& package);

/** The cells of a package's row: title, size in MB, format, languages, platforms. */
QStringList row(const PackageInfo& package);

/** What the comment pane shows of a package, as HTML; texts of the document are escaped. Dates are
 * written as @p locale has them. */
QString comment(const PackageInfo& package, const QLocale& locale = QLocale::system());

/**
 * Rows of the camera firmware that a user of @p hostLanguage (e.g. "de") has no use for, ascending.
 * For an English user that is also firmware without German: it is never built for English alone.
 */
SoftwareUpdate::SoftUpIndexList foreignLanguageRows(const PackageInfoList& packages,
                                                    const QString& hostLanguage);

} // namespace zk::PackagePresentation
