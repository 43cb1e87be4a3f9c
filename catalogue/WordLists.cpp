#include "catalogue/WordLists.h"

#include "catalogue/DocumentValues.h"
#include "catalogue/MemoryEstimate.h"

namespace zk::UpdateDocument {

void WordLists::add(Words& words, const QString& text, bool isInherited, MemoryBudget& budget)
{
    constexpr int longestKept = 64;
    constexpr int mostKept = 256;
    const QPair<int, QString> origin(words.id, text);
    const auto known = m_known.constFind(origin);
    if (known != m_known.constEnd()) {
        words = *known;
        return;
    }
    // Each word of a long text takes more memory than its characters.
    const int inherited = isInherited ? int(words.set.size()) : 0;
    budget.spendValues(inherited + (text.size() > longestKept ? text.size() / 4 : 0));
    if (budget.isSpent()) {
        return;
    }
    const auto before = words.set.size();
    addWords(words.set, text);
    budget.spendBytes(MemoryEstimate::wordList +
                      MemoryEstimate::word * (words.set.size() - before));
    words.id = ++m_lastId;
    if (text.size() <= longestKept && m_known.size() < mostKept) {
        m_known.insert(origin, words);
    }
}

} // namespace zk::UpdateDocument
