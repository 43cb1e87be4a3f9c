#pragma once

#include "publisher/Finding.h"

#include <QByteArray>

namespace publisher {

/**
 * All mistakes in the update document @p bytes, by place.
 *
 * Files that its packages name by a relative address are looked for in @p folder and compared with
 * what the document says of them; none are when it is empty.
 */
Findings lint(const QByteArray& bytes, const QString& folder);

} // namespace publisher
