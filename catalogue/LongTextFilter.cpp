#include "catalogue/LongTextFilter.h"

#include "catalogue/Vocabulary.h"

namespace zk::UpdateDocument {

namespace {

constexpr int longestName = 32; // longer than any in the vocabulary

bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\n') ||
           c == QLatin1Char('\r');
}

} // namespace

void LongTextFilter::restart(bool isTextKept)
{
    m_place = Place::Text;
    m_isTextKept = isTextKept;
    m_isInRun = false;
    m_isReference = false;
}

void LongTextFilter::follow(const QChar* begin, const QChar* end)
{
    for (const QChar* at = begin; at != end && m_place != Place::Unknown; ++at) {
        (void)isNeeded(*at);
    }
}

std::vector<LongTextFilter::Range> LongTextFilter::findNeedless(const QChar* begin,
                                                                const QChar* end)
{
    std::vector<Range> ranges;
    for (const QChar* at = begin; at != end && m_place != Place::Unknown; ++at) {
        if (isNeeded(*at)) {
            continue;
        }
        if (!ranges.empty() && ranges.back().end == at) {
            ++ranges.back().end;
        } else {
            ranges.push_back({at, at + 1});
        }
    }
    return ranges;
}

bool LongTextFilter::isNeeded(QChar c)
{
    if (c.unicode() >= 0xFFFE) { // ends the document, wherever it is
        return isFirstUnless(true);
    }
    switch (m_place) {
    case Place::Text:
        if (c == QLatin1Char('<')) {
            m_place = Place::Markup;
            m_name.clear();
            m_isInRun = m_isReference = false;
            return true;
        }
        return isTextNeeded(c, m_isTextKept);
    case Place::Value:
        if (c == m_quote) {
            m_place = Place::Tag;
            m_isInRun = m_isReference = false;
            return true;
        }
        return isTextNeeded(c, Vocabulary::keyOf(Vocabulary::localName(m_name)) !=
                                   Vocabulary::KeyCount);
    case Place::Comment:
        leaveAfter(QLatin1Char('-'), 2, c);
        return isFirstUnless(c == QLatin1Char('-') || c == QLatin1Char('>'));
    case Place::CharacterData:
        leaveAfter(QLatin1Char(']'), 2, c);
        return isFirstUnless(m_isTextKept || c == QLatin1Char(']') || c == QLatin1Char('>'));
    case Place::Instruction:
        return isInstructionNeeded(c);
    case Place::Markup:
        beginMarkup(c);
        return true;
    case Place::Tag:
        followTag(c);
        return true;
    case Place::Unknown:
        break;
    }
    return true;
}

bool LongTextFilter::isTextNeeded(QChar c, bool isKept)
{
    m_isReference = c == QLatin1Char('&') || (m_isReference && c != QLatin1Char(';'));
    const bool isSpecial = c == QLatin1Char('<') || c == QLatin1Char('&') ||
                           c == QLatin1Char(';') || c == QLatin1Char(']') || c == QLatin1Char('>');
    return isFirstUnless(isKept || m_isReference || isSpecial);
}

// What follows the name is free text, but not in an XML declaration.
bool LongTextFilter::isInstructionNeeded(QChar c)
{
    leaveAfter(QLatin1Char('?'), 1, c);
    m_isNameOver = m_isNameOver || isBlank(c);
    m_name += m_isNameOver || m_name.size() > longestName ? QString() : QString(c);
    return isFirstUnless(!m_isNameOver || c == QLatin1Char('?') || c == QLatin1Char('>') ||
                         m_name.compare(QLatin1String("?xml"), Qt::CaseInsensitive) == 0);
}

// The first of a row of characters must stay: with it, a text is not empty and "] ]>" not an end.
bool LongTextFilter::isFirstUnless(bool isNeeded)
{
    const bool isFirst = !m_isInRun;
    m_isInRun = !isNeeded;
    return isNeeded || isFirst;
}

void LongTextFilter::beginMarkup(QChar c)
{
    static const QString comment = QStringLiteral("!--");
    static const QString characterData = QStringLiteral("![CDATA[");
    m_name += c;
    m_repeated = 0;
    m_isNameOver = m_isPrefixOver = false;
    if (m_name == comment) {
        m_place = Place::Comment;
    } else if (m_name == characterData) {
        m_place = Place::CharacterData;
    } else if (c == QLatin1Char('?')) {
        m_place = Place::Instruction;
    } else if (!m_name.startsWith(QLatin1Char('!'))) {
        m_place = Place::Tag;
    } else if (!comment.startsWith(m_name) && !characterData.startsWith(m_name)) {
        m_place = Place::Unknown; // a document type
    }
}

void LongTextFilter::followTag(QChar c)
{
    if (c == QLatin1Char('>')) {
        m_place = Place::Unknown;
    } else if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
        m_place = Place::Value;
        m_quote = c;
        m_isNameOver = true;
    } else if (c == QLatin1Char('=') || isBlank(c)) {
        m_isNameOver = true;
    } else if (m_isNameOver || (c == QLatin1Char(':') && !m_isPrefixOver)) {
        m_isPrefixOver = !m_isNameOver;
        m_isNameOver = false;
        m_name = m_isPrefixOver ? QString() : QString(c);
    } else if (m_name.size() < longestName) {
        m_name += c;
    }
}

// Back to the text at ">" behind so many repetitions of a character.
void LongTextFilter::leaveAfter(QChar repeated, int times, QChar c)
{
    if (c == QLatin1Char('>') && m_repeated >= times) {
        m_place = Place::Text;
        m_isReference = false;
    }
    m_repeated = c == repeated ? m_repeated + 1 : 0;
}

} // namespace zk::UpdateDocument
