#pragma once

#include <QUrl>

namespace zk::UpdateDocument {

/** An address. */
struct PackageAddress
{
    QUrl url;
    /** What QUrl::toString() gives of it. */
    QString text;
    /** Estimated bytes that it does not share, without its characters. */
    qint64 cost = 0;
};

/**
 * Reads addresses of which most begin with the same base: it is parsed once, and they share the
 * memory of its scheme and host.
 */
class AddressReader
{
public:
    /** Reads @p base and @p rest as one text, with QUrl's tolerance. */
    [[nodiscard]] const PackageAddress& read(const QString& base, const QString& rest);

private:
    void takeBase(const QString& base);

    [[nodiscard]] PackageAddress parse(const QString& base, const QString& rest) const;

    QString m_base;
    PackageAddress m_parsedBase;
    /** The path of the base; empty if what follows it may change the meaning of the base. */
    QString m_path;
    QString m_rest;
    /** What was read last: packages without an address of their own have it in common. */
    PackageAddress m_last;
};

} // namespace zk::UpdateDocument
