#include "catalogue/AddressReader.h"

#include "catalogue/MemoryEstimate.h"

#include <algorithm>

namespace zk::UpdateDocument {

namespace {

// Whether nothing in the text separates parts of an address, or is written otherwise in one.
bool isPlainPath(QStringView text)
{
    return std::all_of(text.begin(), text.end(), [](QChar character) {
        const ushort c = character.unicode();
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '-' && c <= '9') ||
               c == '_' || c == '~';
    });
}

} // namespace

const PackageAddress& AddressReader::read(const QString& base, const QString& rest)
{
    if (base != m_base) {
        takeBase(base);
    } else if (rest == m_rest) {
        m_last.cost = 0;
        return m_last;
    }
    m_rest = rest;
    m_last = parse(base, rest);
    return m_last;
}

PackageAddress AddressReader::parse(const QString& base, const QString& rest) const
{
    if (base.isEmpty() && rest.isEmpty()) {
        return {};
    }
    if (m_path.isEmpty() || !isPlainPath(rest)) {
        const QUrl url(base + rest, QUrl::TolerantMode);
        return {url, url.toString(),
                MemoryEstimate::url + (url.isRelative() ? 0 : MemoryEstimate::schemeAndHost)};
    }
    PackageAddress address = m_parsedBase;
    address.cost = MemoryEstimate::url;
    address.url.setPath(m_path + rest, QUrl::TolerantMode);
    address.text += rest;
    return address;
}

void AddressReader::takeBase(const QString& base)
{
    m_base = base;
    m_parsedBase.url = QUrl(base, QUrl::TolerantMode);
    m_parsedBase.text = m_parsedBase.url.toString();
    const QUrl& url = m_parsedBase.url;
    const QString path = url.path();
    const bool endsInPath = url.isValid() && !url.host().isEmpty() && !url.hasQuery() &&
                            !url.hasFragment() && isPlainPath(path);
    m_path = endsInPath ? path : QString();
}

} // namespace zk::UpdateDocument
