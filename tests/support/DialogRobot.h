#pragma once

#include <QPointer>
#include <QStringList>
#include <QTimer>
#include <QWidget>

#include <functional>

class QMessageBox;

namespace zk::test {

/**
 * The user in front of modal message boxes: notes the title and text of each and does what was
 * arranged for it. In others it presses Escape, so that the test fails and does not hang.
 */
class DialogRobot
{
public:
    DialogRobot();

    /** Presses @p button in each box whose text contains @p text; the last arrangement counts. */
    void press(const QString& text, const QString& button) { act(text, button, {}); }
    /** Calls @p action while the box is open, then presses @p button if the box is still there. */
    void act(const QString& text, const QString& button, const std::function<void()>& action)
    {
        m_rules.prepend({text, button, action});
    }

    /** "title: text" of all boxes so far. */
    const QStringList& seen() const { return m_seen; }

private:
    struct Rule
    {
        QString text;
        QString button;
        std::function<void()> action;
    };

    QTimer m_timer;
    QList<Rule> m_rules;
    QStringList m_seen;
    QList<QPointer<QWidget>> m_done;

    void look();
    void handle(const QPointer<QMessageBox>& box);
};

} // namespace zk::test
