#pragma once

#include "catalogue/MemoryEstimate.h"

#include <QString>

namespace zk::UpdateDocument {

/** What is left of the limits while packages are made of the records of a document. */
class MemoryBudget
{
public:
    /** Allows @p bytes, and @p values that levels take over from those above. */
    MemoryBudget(qint64 bytes, qint64 values)
        : m_bytes(bytes)
        , m_values(values)
    {
    }

    /** For words and links, each of which is stored once more. */
    void spendValues(qint64 values)
    {
        m_values -= values;
        spend(values * MemoryEstimate::inheritedValue, "packages inherit too many words and links");
    }
    /** For an address, which is stored once more. */
    void spendAddress(qint64 characters)
    {
        spend(characters * qint64(sizeof(QChar)), "addresses that packages inherit are too long");
    }
    /** For anything else. */
    void spendBytes(qint64 bytes) { spend(bytes, "the packages take too much memory"); }

    [[nodiscard]] bool isSpent() const { return m_excess != nullptr; }
    /** What there was too much of. */
    [[nodiscard]] QString excess() const { return QLatin1String(m_excess); }

private:
    void spend(qint64 bytes, const char* excess)
    {
        m_bytes -= bytes;
        if ((m_bytes < 0 || m_values < 0) && !m_excess) {
            m_excess = excess;
        }
    }

    qint64 m_bytes;
    qint64 m_values;
    const char* m_excess = nullptr;
};

} // namespace zk::UpdateDocument
