#pragma once

#include <QUrl>

namespace zk::UpdateDocument {

/** An address, and the text that QUrl::toString() gives of it. */
struct PackageAddress
{
    QUrl url;
    QString text;
};

/**
 * Reads addresses of which most begin with the same base: it is parsed once, and they share the
 * memory of its scheme and host.
 */
class AddressReader
{
public:
    /** Reads @p base and @p rest as one text, with QUrl's tolerance. */
    [[nodiscard]] PackageAddress read(const QString& base, const QString& rest);

private:
    void takeBase(const QString& base);

    QString m_base;
    PackageAddress m_parsed;
    /** The path of the base; empty if what follows it may change the meaning of the base. */
    QString m_path;
};

} // namespace zk::UpdateDocument
