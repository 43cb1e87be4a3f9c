// Parses an arbitrary update document and selects packages from it.

#include "catalogue/DocumentParser.h"
#include "catalogue/PackageSelection.h"

#include <QBuffer>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    zk::PackageInfoList packages = zk::UpdateDocument::parse(&buffer);
    zk::PackageInfo product;
    product.release = QStringLiteral("4.2.0");
    const QString type = QStringLiteral("type");
    (void)zk::PackageSelection::findCandidates(packages, product, type, QStringList());
    zk::PackageSelection::eliminateDuplicates(packages);
    return 0;
}
