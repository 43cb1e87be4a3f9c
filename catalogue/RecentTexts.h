#pragma once

#include "catalogue/MemoryEstimate.h"

#include <QString>

#include <array>

namespace zk::UpdateDocument {

/** Shares the memory of equal short texts that come close together, and estimates that of all. */
class RecentTexts
{
public:
    [[nodiscard]] QString share(const QString& text)
    {
        constexpr int longestKept = 40;
        if (text.size() > longestKept) {
            return keep(text);
        }
        const auto hash = qHash(text);
        Known& known = m_known[hash % m_known.size()];
        // The hash is compared first, because the other text is rarely in the processor's cache.
        if (known.hash != hash || known.text != text) {
            known = {hash, keep(text)};
        }
        return known.text;
    }

    /** Estimated bytes of the texts so far. */
    [[nodiscard]] qint64 bytes() const { return m_bytes; }

private:
    struct Known
    {
        decltype(qHash(QString())) hash = 0;
        QString text;
    };

    // A copy, because Qt's reader leaves room for as many characters behind its texts.
    QString keep(const QString& text)
    {
        m_bytes += MemoryEstimate::ofText(text);
        return text.isEmpty() ? text : QString(text.constData(), text.size());
    }

    std::array<Known, 509> m_known;
    qint64 m_bytes = 0;
};

} // namespace zk::UpdateDocument
