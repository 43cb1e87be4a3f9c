#pragma once

#include "publisher/SourceDocument.h"

#include "catalogue/PackageInfo.h"

namespace publisher {

/** A value as it is written somewhere. */
struct SourceValue
{
    QString text;
    int offset = 0;
};

/** A package as clients read it, and where each of its values comes from. */
struct PackageSource
{
    const SourceElement* element = nullptr;
    zk::PackageInfo info;

    /** The nearest value of that name, from the package's file upwards; nothing if there is none.
     */
    [[nodiscard]] std::optional<SourceValue> value(const char* key) const;
    /** Where the value stands, or else the package. */
    [[nodiscard]] int offset(const char* key) const;
};

/** The value that @p level itself gives: that of a child element before that of an attribute. */
std::optional<SourceValue> valueAt(const SourceElement& level, const char* key);

/** The packages that clients read in @p bytes; none when they refuse them. */
zk::PackageInfoList parsePackages(const QByteArray& bytes);

/** The packages of @p document; empty when a client refuses it. */
std::vector<PackageSource> readPackages(const QByteArray& bytes, const SourceDocument& document);

} // namespace publisher
