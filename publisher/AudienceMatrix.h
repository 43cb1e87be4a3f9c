#pragma once

#include "publisher/Preview.h"

namespace publisher {

/** What the users of one platform, or the owners of one camera, are offered. */
struct MatrixRow
{
    QString audience; //!< "Camera Desk, Win64" or a camera's model
    Preview stable;
    Preview beta;
};

/**
 * What everybody whom @p packages are for is offered, the version they have being older than any:
 * each product on each of its platforms, then each camera model.
 */
QList<MatrixRow> audienceMatrix(const zk::PackageInfoList& packages, const QLocale& locale);

} // namespace publisher
