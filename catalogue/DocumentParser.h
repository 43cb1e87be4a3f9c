#pragma once

#include "catalogue/DocumentLimits.h"
#include "catalogue/PackageInfo.h"

class QIODevice;

namespace zk::UpdateDocument {

/**
 * Parses the document in @p device (open for reading); returns all packages in document order.
 *
 * Empty on any error; two log records then give the error and its position. Entity declarations and
 * exceeded @p limits are errors. Throws nothing; reentrant.
 */
PackageInfoList parse(QIODevice* device, const DocumentLimits& limits = DocumentLimits());

} // namespace zk::UpdateDocument
