#pragma once

#include <QString>

#include <array>

namespace zk::UpdateDocument {

/** Shares the memory of equal short texts that come close together, and estimates that of all. */
class RecentTexts
{
public:
    [[nodiscard]] const QString& share(const QString& text)
    {
        constexpr int longestKept = 40;
        QString* const known =
            text.size() > longestKept ? nullptr : &m_texts[qHash(text) % m_texts.size()];
        if (known && *known == text) {
            return *known;
        }
        constexpr qint64 overhead = 40; // header, allocation and the place of the string
        m_bytes += overhead + qint64(sizeof(QChar)) * text.size();
        if (known) {
            *known = text;
        }
        return text;
    }

    /** Estimated bytes of the texts so far. */
    [[nodiscard]] qint64 bytes() const { return m_bytes; }

private:
    std::array<QString, 509> m_texts;
    qint64 m_bytes = 0;
};

} // namespace zk::UpdateDocument
