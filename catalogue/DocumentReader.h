#pragma once

#include "catalogue/DocumentLimits.h"
#include "catalogue/DocumentRecords.h"

#include <variant>

class QIODevice;

namespace zk::UpdateDocument {

/**
 * Reads the records of the document that @p device holds, or tells what is wrong with it.
 *
 * The device is read once, in pieces. A document that declares an entity or passes @p limits is
 * refused as soon as that is met: one entity of 100 kB used 20,000 times would end in bad_alloc,
 * and 100,000 nested parentheses in an element declaration overflow the stack of Qt's reader.
 */
[[nodiscard]] std::variant<DocumentRecord, ParseError> readDocument(QIODevice& device,
                                                                    const DocumentLimits& limits);

} // namespace zk::UpdateDocument
