#include "catalogue/DateTable.h"

#include "catalogue/DocumentValues.h"

namespace zk::UpdateDocument {

quint32 DateTable::numberOf(const QString& text)
{
    constexpr int longestDate = 19;
    constexpr int mostKnown = 1024;
    const auto known = m_numbers.constFind(text);
    if (known != m_numbers.constEnd()) {
        return *known;
    }
    const auto number = quint32(m_dates.size());
    m_dates.push_back(parseReleaseDate(text));
    if (text.size() <= longestDate && m_numbers.size() < mostKnown) {
        m_numbers.insert(text, number);
    }
    return number;
}

} // namespace zk::UpdateDocument
