#pragma once

#include "catalogue/PackageInfo.h"
#include "support/Minisign.h"

#include <QStringList>

namespace zk {

/** Where the signature of the package at @p url is published. */
QUrl signatureUrl(const QUrl& url);

/**
 * Why the downloaded @p file must not be taken for @p package, given the bytes of its signature
 * file and the public keys that the host trusts; empty when nothing speaks against it.
 *
 * The signature's trusted comment must name the file as the package's URL does, and may name its
 * release: an old package cannot be published again under a new name. Callable from any thread;
 * interrupted by @p progress, it complains.
 */
QString signatureComplaint(const QString& file, const PackageInfo& package,
                           const QByteArray& signature, const QStringList& publicKeys,
                           const Minisign::Progress& progress = {});

} // namespace zk
