#pragma once

#include "catalogue/DocumentLoader.h"
#include "catalogue/PackageInfo.h"

class QDomElement;
class QIODevice;

namespace zk::UpdateDocument {

/**
 * All packages of the document that @p device holds (open for reading), in document order.
 *
 * Empty on any error: two log records then say what is wrong and where. A document with entity
 * declarations or beyond @p limits is such an error. Throws nothing; reentrant.
 */
PackageInfoList parse(QIODevice* device, const DocumentLimits& limits = DocumentLimits());

/** Appends the packages of @p set, then those of its nested sets, to @p packages. */
void appendPackages(const QDomElement& set, PackageInfoList& packages);

/** Fills @p info with what @p package and the levels above it say. */
void readPackage(const QDomElement& package, PackageInfo& info);

} // namespace zk::UpdateDocument
