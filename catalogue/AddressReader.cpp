#include "catalogue/AddressReader.h"

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

PackageAddress AddressReader::read(const QString& base, const QString& rest)
{
    if (base != m_base) {
        takeBase(base);
    }
    if (m_path.isEmpty() || !isPlainPath(rest)) {
        const QUrl url(base + rest, QUrl::TolerantMode);
        return {url, url.toString()};
    }
    PackageAddress address = m_parsed;
    address.url.setPath(m_path + rest, QUrl::TolerantMode);
    address.text += rest;
    return address;
}

void AddressReader::takeBase(const QString& base)
{
    m_base = base;
    m_parsed.url = QUrl(base, QUrl::TolerantMode);
    m_parsed.text = m_parsed.url.toString();
    const QUrl& url = m_parsed.url;
    const QString path = url.path();
    const bool endsInPath = url.isValid() && !url.host().isEmpty() && !url.hasQuery() &&
                            !url.hasFragment() && isPlainPath(path);
    m_path = endsInPath ? path : QString();
}

} // namespace zk::UpdateDocument
