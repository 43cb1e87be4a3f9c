#pragma once

#include "publisher/DocumentEditor.h"

#include "catalogue/PackageInfo.h"

#include <variant>

namespace publisher {

/** The new document, or the reason why nothing was added. */
using Addition = std::variant<QByteArray, QString>;

/**
 * Adds the packages of @p release to the update document @p bytes; no bytes start a new document.
 *
 * Refuses packages that the document has already, and any result from which a client would not read
 * exactly the previous packages and the new ones.
 */
Addition addRelease(const QByteArray& bytes, const NewRelease& release);

/** Whether two packages are equal in everything that a document can specify. */
bool isSamePackage(const zk::PackageInfo& one, const zk::PackageInfo& other);

} // namespace publisher
