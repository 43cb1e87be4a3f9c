#pragma once

#include <QApplication>
#include <QWidget>

namespace demo {

/** The first visible top-level window of class @p Window; null if there is none. */
template <typename Window>
Window* visibleWindow()
{
    const QWidgetList widgets = QApplication::topLevelWidgets();
    for (QWidget* const widget : widgets) {
        auto* const window = qobject_cast<Window*>(widget);
        if (window && window->isVisible()) {
            return window;
        }
    }
    return nullptr;
}

} // namespace demo
