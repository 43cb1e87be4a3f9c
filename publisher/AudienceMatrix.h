#pragma once

#include "publisher/Preview.h"

namespace publisher {

/** The offers for the users of one platform or the owners of one camera model. */
struct MatrixRow
{
    QString audience; //!< "Camera Desk, Win64" or a camera's model
    Preview stable;
    Preview beta;
};

/**
 * The offers for all audiences of @p packages, with installed versions older than all packages:
 * each product on each of its platforms, then each camera model.
 */
QList<MatrixRow> audienceMatrix(const zk::PackageInfoList& packages, const QLocale& locale);

} // namespace publisher
