#include "support/VersionNumber.h"

#include <algorithm>
#include <string_view>

namespace zk {

namespace {

using View = std::wstring_view;

bool isBlank(wchar_t c)
{
    return c == L' ' || (c >= L'\t' && c <= L'\r') || c == L'\u00a0';
}

bool isDigit(wchar_t c)
{
    return c >= L'0' && c <= L'9';
}

bool isLetter(wchar_t c)
{
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || c > 0x7f;
}

wchar_t lower(wchar_t c)
{
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
}

int sign(int value)
{
    return (value > 0) - (value < 0);
}

std::size_t skip(View text, std::size_t at, bool (*is)(wchar_t))
{
    while (at < text.size() && is(text[at])) {
        ++at;
    }
    return at;
}

View trimmed(View text)
{
    const std::size_t first = skip(text, 0, isBlank);
    std::size_t last = text.size();
    while (last > first && isBlank(text[last - 1])) {
        --last;
    }
    return text.substr(first, last - first);
}

int compareNumbers(View a, View b)
{
    a.remove_prefix(std::min(a.find_first_not_of(L'0'), a.size()));
    b.remove_prefix(std::min(b.find_first_not_of(L'0'), b.size()));
    if (a.size() != b.size()) {
        return a.size() < b.size() ? -1 : 1;
    }
    return sign(a.compare(b));
}

int compareWords(View a, View b)
{
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        const wchar_t left = lower(a[i]);
        const wchar_t right = lower(b[i]);
        if (left != right) {
            return left < right ? -1 : 1;
        }
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

// Removes and returns the first number of "4.3.1"; empty at the end.
View takeNumber(View& numbers)
{
    const std::size_t end = std::min(numbers.find(L'.'), numbers.size());
    const View number = numbers.substr(0, end);
    numbers.remove_prefix(std::min(end + 1, numbers.size()));
    return number;
}

// Removes and returns the first piece of a label, a run of digits or of letters; empty at the end.
View takePiece(View& label)
{
    std::size_t first = 0;
    while (first < label.size() && !isDigit(label[first]) && !isLetter(label[first])) {
        ++first;
    }
    label.remove_prefix(first);
    if (label.empty()) {
        return label;
    }
    const View piece = label.substr(0, skip(label, 0, isDigit(label.front()) ? isDigit : isLetter));
    label.remove_prefix(piece.size());
    return piece;
}

int comparePieces(View a, View b)
{
    const bool aIsNumber = isDigit(a.front());
    const bool bIsNumber = isDigit(b.front());
    if (aIsNumber != bIsNumber) {
        return aIsNumber ? -1 : 1;
    }
    return aIsNumber ? compareNumbers(a, b) : compareWords(a, b);
}

int compareLabels(View a, View b)
{
    // A release comes after its own pre-releases; below the first piece the longer label is newer.
    View left = takePiece(a);
    View right = takePiece(b);
    if (left.empty() || right.empty()) {
        return static_cast<int>(left.empty()) - static_cast<int>(right.empty());
    }
    while (!left.empty() && !right.empty()) {
        if (const int order = comparePieces(left, right)) {
            return order;
        }
        left = takePiece(a);
        right = takePiece(b);
    }
    return static_cast<int>(right.empty()) - static_cast<int>(left.empty());
}

/** The two parts of a version that count when it is compared. */
struct Parts
{
    Parts(View text, std::size_t numbersAt, std::size_t labelAt, std::size_t labelEnd)
        : isEmpty(text.empty())
        , numbers(text.substr(numbersAt, labelAt - numbersAt))
        , label(text.substr(labelAt, labelEnd - labelAt))
    {
    }

    bool isEmpty;
    View numbers;
    View label;
};

// Negative if a is older, positive if it is newer.
int compare(Parts a, Parts b)
{
    if (a.isEmpty || b.isEmpty) {
        return static_cast<int>(b.isEmpty) - static_cast<int>(a.isEmpty);
    }
    while (!a.numbers.empty() || !b.numbers.empty()) {
        if (const int order = compareNumbers(takeNumber(a.numbers), takeNumber(b.numbers))) {
            return order;
        }
    }
    return compareLabels(a.label, b.label);
}

} // namespace

VersionNumber::VersionNumber(const std::wstring& text)
{
    const View whole = trimmed(text);
    const std::size_t start = !whole.empty() && lower(whole.front()) == L'v' ? 1 : 0;
    if (start == whole.size() || !isDigit(whole[start])) {
        return;
    }
    m_text = whole;
    m_numbers = start;
    m_label = skip(whole, start, isDigit);
    while (m_label + 1 < whole.size() && whole[m_label] == L'.' && isDigit(whole[m_label + 1])) {
        m_label = skip(whole, m_label + 1, isDigit);
    }
    m_labelEnd = m_label;
    const std::size_t at = m_label;
    const bool dotted = at + 1 < whole.size() && whole[at] == L'.' && isLetter(whole[at + 1]);
    if (at < whole.size() && (dotted || isLetter(whole[at]) || isBlank(whole[at]) ||
                              whole[at] == L'-' || whole[at] == L'_')) {
        m_labelEnd = std::min(whole.find(L'+', at), whole.size());
    }
}

VersionNumber::~VersionNumber() = default;

bool VersionNumber::operator==(const VersionNumber& other) const
{
    return compare({m_text, m_numbers, m_label, m_labelEnd},
                   {other.m_text, other.m_numbers, other.m_label, other.m_labelEnd}) == 0;
}

bool VersionNumber::operator!=(const VersionNumber& other) const
{
    return !VersionNumber::operator==(other);
}

bool VersionNumber::operator<(const VersionNumber& other) const
{
    return compare({m_text, m_numbers, m_label, m_labelEnd},
                   {other.m_text, other.m_numbers, other.m_label, other.m_labelEnd}) < 0;
}

bool VersionNumber::operator<=(const VersionNumber& other) const
{
    return !other.VersionNumber::operator<(*this);
}

bool VersionNumber::operator>(const VersionNumber& other) const
{
    return other.VersionNumber::operator<(*this);
}

bool VersionNumber::operator>=(const VersionNumber& other) const
{
    return !VersionNumber::operator<(other);
}

std::wstring VersionNumber::toString() const
{
    return m_text;
}

std::wstring VersionNumber::toShortVersion() const
{
    const View numbers = View(m_text).substr(m_numbers, m_label - m_numbers);
    std::size_t end = 0;
    for (int count = 0; count < 3 && end < numbers.size(); ++count) {
        end = std::min(numbers.find(L'.', end + (count > 0 ? 1 : 0)), numbers.size());
    }
    const View label =
        trimmed(View(m_text).substr(0, m_labelEnd)).substr(std::min(m_label, m_text.size()));
    return std::wstring(numbers.substr(0, end)).append(label);
}

} // namespace zk
