#pragma once

#include "catalogue/PackageInfo.h"
#include "types/SoftwareUpdateTypes.h"

#include <QLocale>

namespace publisher {

/** Somebody who runs a host: what the host says of itself, and which language its user has. */
struct Audience
{
    /** Of these, product name, version, platforms, package suffixes, cameras and the wish for beta
     * releases count. */
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

/** What a check ends with. */
struct Preview
{
    zk::SoftwareUpdate::EState state = zk::SoftwareUpdate::eIdle;
    QString message; //!< that the user is told; empty when there is the table instead
    QStringList headers;
    QList<PreviewRow> rows;
};

/**
 * What a check that reads @p packages ends with for @p audience, by the library's own rules.
 *
 * Texts are those of the translators that are installed in the application.
 */
Preview preview(zk::PackageInfoList packages, const Audience& audience);

} // namespace publisher
