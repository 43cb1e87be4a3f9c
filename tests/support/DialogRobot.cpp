#include "DialogRobot.h"
#include "Literals.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QTest>

#include <algorithm>

namespace zk::test {

DialogRobot::DialogRobot()
{
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { look(); });
    m_timer.start(1);
}

void DialogRobot::look()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget* window : windows) {
        auto* const box = qobject_cast<QMessageBox*>(window);
        if (box && box->isVisible() && !m_done.contains(window)) {
            m_done.removeAll(nullptr);
            m_done << window;
            handle(box);
            return;
        }
    }
}

void DialogRobot::handle(const QPointer<QMessageBox>& box)
{
    const QString text = box->text();
    m_seen << box->windowTitle() + u": "_s + text;
    const auto found = std::find_if(m_rules.cbegin(), m_rules.cend(),
                                    [&](const Rule& rule) { return text.contains(rule.text); });
    const Rule rule = found == m_rules.cend() ? Rule() : *found;
    if (rule.action) {
        rule.action();
    }
    const QList<QAbstractButton*> buttons = box ? box->buttons() : QList<QAbstractButton*>();
    for (QAbstractButton* button : buttons) {
        if (button->text().remove(u'&') == rule.button) {
            button->click();
            return;
        }
    }
    if (box) {
        // The key, as reject() would not try which button Escape stands for.
        QTest::keyClick(box, Qt::Key_Escape);
    }
}

} // namespace zk::test
