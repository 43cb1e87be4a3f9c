#include "support/DisplayText.h"

#include <QTextDocument>

#include <algorithm>
#include <iterator>

namespace zk {

namespace {

constexpr QChar ellipsis(0x2026);
constexpr QChar zeroWidthSpace(0x200b);

bool isBidirectionalControl(QChar c)
{
    return (c >= QChar(0x202a) && c <= QChar(0x202e)) || (c >= QChar(0x2066) && c <= QChar(0x2069));
}

// Rich text wraps at blanks only, so that a long word would set the width of the tip.
QString breakable(const QString& text)
{
    constexpr int longestWord = 40;
    QString result;
    int wordLength = 0;
    for (const QChar c : text) {
        wordLength = c.isSpace() ? 0 : wordLength + 1;
        if (wordLength > longestWord && !c.isLowSurrogate() && !c.isMark()) {
            result += zeroWidthSpace;
            wordLength = 1;
        }
        result += c;
    }
    return result;
}

} // namespace

QString displayText(const QString& text)
{
    QString shown;
    shown.reserve(text.size());
    std::remove_copy_if(text.cbegin(), text.cend(), std::back_inserter(shown),
                        isBidirectionalControl);
    return shown;
}

QString displayText(const QString& text, int maximum)
{
    QString shown = displayText(text.left(maximum));
    if (text.size() > maximum) {
        // Half of a pair would be shown as a replacement character.
        if (!shown.isEmpty() && shown.at(shown.size() - 1).isHighSurrogate()) {
            shown.chop(1);
        }
        shown += ellipsis;
    }
    return shown;
}

QString displayToolTip(const QString& text)
{
    constexpr int maximum = 2000;
    return Qt::convertFromPlainText(breakable(displayText(text, maximum)), Qt::WhiteSpaceNormal);
}

} // namespace zk
