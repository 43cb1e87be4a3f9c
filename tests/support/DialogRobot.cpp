#include "DialogRobot.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>

namespace zk::test {

DialogRobot::DialogRobot()
{
    connect(&m_timer, &QTimer::timeout, this, &DialogRobot::look);
    m_timer.start(1);
}

void DialogRobot::press(const QString& text, const QString& button)
{
    act(text, {}, button);
}

void DialogRobot::act(const QString& text, const std::function<void()>& action,
                      const QString& button)
{
    // The last arrangement made for a text counts.
    m_rules.prepend({text, button, action});
}

void DialogRobot::look()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget* window : windows) {
        if (qobject_cast<QMessageBox*>(window) && window->isVisible() && !m_done.contains(window)) {
            m_done.removeAll(nullptr);
            m_done << window;
            handle(window);
            return;
        }
    }
}

void DialogRobot::handle(QWidget* widget)
{
    const QPointer<QMessageBox> box = qobject_cast<QMessageBox*>(widget);
    const QString text = box->text();
    m_seen << box->windowTitle() + QStringLiteral(": ") + text;
    Rule found;
    for (const Rule& rule : qAsConst(m_rules)) {
        if (text.contains(rule.text)) {
            found = rule;
            break;
        }
    }
    if (found.action) {
        found.action();
    }
    if (!box) {
        return;
    }
    const QList<QAbstractButton*> buttons = box->buttons();
    for (QAbstractButton* button : buttons) {
        if (button->text().remove(QLatin1Char('&')) == found.button) {
            button->click();
            return;
        }
    }
    box->reject();
}

} // namespace zk::test
