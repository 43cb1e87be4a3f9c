#pragma once

#include "catalogue/PackageInfo.h"
#include "types/SoftwareUpdateTypes.h"

#include <QLocale>

namespace publisher {

/** The user of a host: the host's settings and the user's language. */
struct Audience
{
    /**
     * Only product name, version, platforms, package suffixes, cameras and includeBeta are used.
     */
    zk::SoftwareUpdate::SoftwareUpdateSettings host;
    QLocale locale = QLocale(QLocale::English);
};

/** A row of the table that the user sees. */
struct PreviewRow
{
    QStringList cells;
    /** Firmware in foreign languages is hidden until the user asks for it. */
    bool isHidden = false;
    QString comment; //!< HTML
    zk::PackageInfo package;
};

/** The result of a check. */
struct Preview
{
    zk::SoftwareUpdate::EState state = zk::SoftwareUpdate::eIdle;
    QString message; //!< shown to the user; empty if the table is shown instead
    QStringList headers;
    QList<PreviewRow> rows;
};

/**
 * The result of a check that reads @p packages for @p audience, by the library's own rules.
 *
 * Texts come from the translators installed in the application.
 */
Preview preview(zk::PackageInfoList packages, const Audience& audience);

} // namespace publisher
