#pragma once

#include <QString>

#include <array>

namespace zk::UpdateDocument {

/** Keeps short texts that were met lately, so that equal ones share their memory. */
class RecentTexts
{
public:
    const QString& share(const QString& text)
    {
        constexpr int longestKept = 40;
        if (text.size() > longestKept) {
            return text;
        }
        QString& known = m_texts[qHash(text) % m_texts.size()];
        if (known != text) {
            known = text;
        }
        return known;
    }

private:
    std::array<QString, 509> m_texts;
};

} // namespace zk::UpdateDocument
