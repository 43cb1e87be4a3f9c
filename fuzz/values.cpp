// Values of a document: sizes, dates, suffixes, file names, links.

#include "catalogue/DocumentValues.h"
#include "download/DownloadFileName.h"
#include "install/PackagePresentation.h"
#include "support/LinkRule.h"

#include <QDateTime>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), int(size));
    (void)zk::UpdateDocument::parseFileSize(text);
    (void)zk::UpdateDocument::parseReleaseDate(text);
    const QString suffix = zk::UpdateDocument::parsePackageSuffix(text);
    const QUrl url(text);
    (void)zk::isOpenableLink(url);
    (void)zk::logText(url);
    const QString name = zk::downloadFileName(url, suffix);
    const bool isOneComponent = !name.isEmpty() && name != QLatin1String(".") &&
                                name != QLatin1String("..") && !name.contains(QLatin1Char('/')) &&
                                !name.contains(QLatin1Char('\\')) &&
                                !name.contains(QLatin1Char(':'));
    if (!isOneComponent) {
        std::abort();
    }
    return 0;
}
