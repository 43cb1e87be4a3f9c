#pragma once

#include <QString>

#include <vector>

namespace zk::UpdateDocument {

/**
 * Finds what may be left out of a document because its text is only passed over.
 *
 * Qt's reader collects all of a text, comment or attribute before it tells of it, in twice the
 * memory; of those that are no values one character in a row is enough. Which documents are
 * accepted does not change: every character that may end a text, or be an error in it, is needed.
 */
class LongTextFilter
{
public:
    struct Range
    {
        const QChar* begin;
        const QChar* end;
    };

    /** A tag has been passed, and the text that follows is a value or not. */
    void restart(bool isTextKept);
    /** Goes on over @p begin to @p end, all of which is needed. */
    void follow(const QChar* begin, const QChar* end);
    /** Goes on over @p begin to @p end, and gives what is not needed until a tag is passed. */
    [[nodiscard]] std::vector<Range> findNeedless(const QChar* begin, const QChar* end);

private:
    enum class Place { Text, Markup, Tag, Value, Comment, Instruction, CharacterData, Unknown };

    [[nodiscard]] bool isNeeded(QChar c);
    [[nodiscard]] bool isTextNeeded(QChar c, bool isKept);
    [[nodiscard]] bool isInstructionNeeded(QChar c);
    [[nodiscard]] bool isFirstUnless(bool isNeeded);
    void beginMarkup(QChar c);
    void followTag(QChar c);
    void leaveAfter(QChar repeated, int times, QChar c);

    Place m_place = Place::Text;
    bool m_isTextKept = true;
    bool m_isInRun = false;
    bool m_isReference = false;
    /** The beginning of a piece of markup, or the local name in a tag. */
    QString m_name;
    bool m_isNameOver = false;
    bool m_isPrefixOver = false;
    QChar m_quote;
    int m_repeated = 0;
};

} // namespace zk::UpdateDocument
