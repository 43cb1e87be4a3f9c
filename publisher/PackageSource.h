#pragma once

#include "publisher/SourceDocument.h"

#include "catalogue/PackageInfo.h"

namespace publisher {

/** A value and its position. */
struct SourceValue
{
    QString text;
    int offset = 0;
};

/** A package as clients read it, with the origin of its values. */
struct PackageSource
{
    const SourceElement* element = nullptr;
    zk::PackageInfo info;

    /**
     * The nearest value with this name, from the package's file upwards; nothing if there is none.
     */
    [[nodiscard]] std::optional<SourceValue> value(const char* key) const;
    /** The position of the value, otherwise that of the package. */
    [[nodiscard]] int offset(const char* key) const;
};

/** The value in @p level itself; a child element takes precedence over an attribute. */
std::optional<SourceValue> valueAt(const SourceElement& level, const char* key);

/** The packages that clients read from @p bytes; none if they refuse the document. */
zk::PackageInfoList parsePackages(const QByteArray& bytes);

/** The packages of @p document; empty if clients refuse it. */
std::vector<PackageSource> readPackages(const QByteArray& bytes, const SourceDocument& document);

} // namespace publisher
