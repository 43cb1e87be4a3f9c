#include "ui/BoundedLabel.h"

#include "support/DisplayText.h"

#include <QPainter>
#include <QStyle>
#include <QTextLayout>

namespace zk {

namespace {

constexpr int s_mostLines = 4;
// More than four lines can show; a layout of everything that a server may send takes minutes.
constexpr int s_mostCharacters = 4000;
constexpr int s_widthInCharacters = 10;

} // namespace

BoundedLabel::BoundedLabel(QWidget* parent)
    : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
}

void BoundedLabel::setText(const QString& text)
{
    QLabel::setText(text);
    updateToolTip();
}

BoundedLabel::Lines BoundedLabel::linesFor(QSize area) const
{
    const QString whole = displayText(text().left(s_mostCharacters));
    QString separated = whole;
    separated.replace(QLatin1Char('\n'), QChar::LineSeparator);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    QTextLayout layout(separated, font(), this);
    layout.setTextOption(option);
    const int mostLines = qBound(1, area.height() / fontMetrics().lineSpacing(), s_mostLines);
    Lines lines;
    lines.isElided = text().size() > s_mostCharacters;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        if (lines.shown.size() == mostLines) {
            lines.isElided = true;
            break;
        }
        line.setLineWidth(area.width());
        lines.shown << whole.mid(line.textStart(), line.textLength()).remove(QLatin1Char('\n'));
    }
    layout.endLayout();
    if (lines.isElided && !lines.shown.isEmpty()) {
        // elidedText() adds an ellipsis only to texts that are too wide, so append one first.
        lines.shown.last() = fontMetrics().elidedText(lines.shown.last() + QChar(0x2026),
                                                      Qt::ElideRight, area.width());
    }
    return lines;
}

QRect BoundedLabel::textArea() const
{
    return contentsRect().adjusted(margin(), margin(), -margin(), -margin());
}

int BoundedLabel::widthHint() const
{
    const int most = s_widthInCharacters * fontMetrics().averageCharWidth();
    const QString beginning = displayText(text().left(s_widthInCharacters * 4));
    return qMin(most, fontMetrics().size(0, beginning).width()) + 2 * margin();
}

int BoundedLabel::heightForWidth(int width) const
{
    const QStringList lines = linesFor({width - 2 * margin(), QWIDGETSIZE_MAX}).shown;
    return fontMetrics().size(0, lines.join(QLatin1Char('\n'))).height() + 2 * margin();
}

QSize BoundedLabel::sizeHint() const
{
    const int width = widthHint();
    return {width, heightForWidth(width)};
}

QSize BoundedLabel::minimumSizeHint() const
{
    return {widthHint(), fontMetrics().height() + 2 * margin()};
}

void BoundedLabel::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    drawFrame(&painter);
    const QRect area = textArea();
    const QString shown = linesFor(area.size()).shown.join(QLatin1Char('\n'));
    const int direction =
        text().isRightToLeft() ? Qt::TextForceRightToLeft : Qt::TextForceLeftToRight;
    const Qt::Alignment aligned = QStyle::visualAlignment(layoutDirection(), alignment());
    style()->drawItemText(&painter, area, int(aligned) | direction, palette(), isEnabled(), shown,
                          foregroundRole());
}

void BoundedLabel::resizeEvent(QResizeEvent* event)
{
    QLabel::resizeEvent(event);
    updateToolTip();
}

void BoundedLabel::updateToolTip()
{
    const bool isElided = linesFor(textArea().size()).isElided;
    setToolTip(isElided ? displayToolTip(text()) : QString());
}

} // namespace zk
