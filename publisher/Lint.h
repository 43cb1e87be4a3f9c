#pragma once

#include "publisher/Finding.h"

#include <QByteArray>

namespace publisher {

/**
 * All mistakes in the update document @p bytes, ordered by position.
 *
 * Files with a relative address are looked up in @p folder and compared with the document; skipped
 * if @p folder is empty.
 */
Findings lint(const QByteArray& bytes, const QString& folder);

} // namespace publisher
