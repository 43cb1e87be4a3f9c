#pragma once

#include "publisher/DocumentEditor.h"

#include "catalogue/PackageInfo.h"

#include <variant>

namespace publisher {

/** What the document becomes, or why it stays what it is. */
using Addition = std::variant<QByteArray, QString>;

/**
 * The update document @p bytes with the packages of @p release; an empty one is begun for no bytes.
 *
 * Refuses packages that are there already, and any outcome in which a client would not read just
 * the packages it read before and the new ones.
 */
Addition addRelease(const QByteArray& bytes, const NewRelease& release);

/** Whether two packages are the same in all that a document says of them. */
bool isSamePackage(const zk::PackageInfo& one, const zk::PackageInfo& other);

} // namespace publisher
