#pragma once

#include <QLabel>
#include <QStringList>

namespace zk {

/**
 * A label for texts of unknown length: wraps plain text to a few lines, also inside long words, and
 * elides the rest.
 *
 * text() returns the whole text; the tool tip shows elided texts. The text does not widen the
 * window and is never interpreted as HTML.
 */
class BoundedLabel : public QLabel
{
    Q_OBJECT

public:
    explicit BoundedLabel(QWidget* parent = nullptr);

    /** Hides the function of the base class, which would not set the tool tip. */
    void setText(const QString& text);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    struct Lines
    {
        QStringList shown;
        bool isElided = false;
    };

    [[nodiscard]] Lines linesFor(QSize area) const;
    [[nodiscard]] QRect textArea() const;
    [[nodiscard]] int widthHint() const;
    void updateToolTip();
};

} // namespace zk
