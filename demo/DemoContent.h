#pragma once

#include <QByteArray>
#include <QString>

namespace demo {

class UpdateServer;

/** The product whose updates are published. */
QString productName();

/**
 * Publishes the update document of "Camera Desk" and its cameras on @p server, with all package
 * files, release notes and readme pages that it links to.
 *
 * There is a stable release 4.3.0 and a beta 4.4.0-beta, each for both platforms as exe and zip,
 * and firmware for each model in several languages. Package files take about three seconds to
 * download.
 */
void publishUpdates(UpdateServer& server);

/** Where publishUpdates() puts a product package, e.g. ("4.3.0", "win64", "exe"). */
QString packagePath(const QString& release, const QString& platform, const QString& suffix);

/** A well-formed update document without a single package. */
QByteArray emptyDocument();

} // namespace demo
