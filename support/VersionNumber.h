#pragma once

#include "support/Export.h"

#include <QMetaType>

#include <cstddef>
#include <string>

namespace zk {

/**
 * A release version such as "4.2.0", "v4.3-beta.2" or "4.3 RC 2".
 *
 * The text is: optional blanks, optionally a "v", dot-separated decimal numbers of any length, then
 * optionally a label that is set off by '-', '_' or a blank or by starting with a letter. Whatever
 * follows '+' is carried along but never orders.
 *
 * Order: numbers first (missing ones count as 0, leading zeros are ignored), then the label: a
 * version with a label is older than the same without; labels compare piece by piece, without
 * regard to case, numbers as numbers and below words (semver 2.0.0, rule 11).
 *
 * A text without a leading number gives the empty version, the one that the default constructor
 * makes: it stands for "unknown", is older than every other, differs from "0" and prints as an
 * empty text.
 *
 * A plain value: copy it freely, share it between threads as you would a std::wstring.
 */
class SOFTWAREUPDATE_EXPORT VersionNumber
{
public:
    VersionNumber() = default;
    /** Never fails: what cannot be read as a version gives the empty one. */
    explicit VersionNumber(const std::wstring& text);
    /** @{ A plain value. */
    VersionNumber(const VersionNumber&) = default;
    VersionNumber(VersionNumber&&) = default;
    VersionNumber& operator=(const VersionNumber&) = default;
    VersionNumber& operator=(VersionNumber&&) = default;
    /** @} */
    virtual ~VersionNumber();

    /** @{ By age, in one order of all versions; equal ones may be written differently. */
    virtual bool operator==(const VersionNumber& other) const;
    virtual bool operator!=(const VersionNumber& other) const;
    virtual bool operator<(const VersionNumber& other) const;
    virtual bool operator<=(const VersionNumber& other) const;
    virtual bool operator>(const VersionNumber& other) const;
    virtual bool operator>=(const VersionNumber& other) const;
    /** @} */

    /** The text as it was given, without blanks around it; empty for the empty version. */
    [[nodiscard]] virtual std::wstring toString() const;

    /** The first three numbers and the label, for display: "4.3.1-beta" for
     * "v4.3.1.778-beta+build5". */
    [[nodiscard]] std::wstring toShortVersion() const;

private:
    // Offsets into m_text: [m_numbers, m_label) are the numbers, [m_label, m_labelEnd) the label
    // with what sets it off. Comparing walks the text itself, so a version costs one string and no
    // more.
    std::wstring m_text;
    std::size_t m_numbers = 0;
    std::size_t m_label = 0;
    std::size_t m_labelEnd = 0;
};

} // namespace zk

Q_DECLARE_METATYPE(zk::VersionNumber)
