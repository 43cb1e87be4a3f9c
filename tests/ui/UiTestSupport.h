#pragma once

#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QMetaMethod>
#include <QStringList>
#include <QTest>
#include <QWidget>

namespace zk::test {

/** The methods that a class itself declares, by index: "signal a()", "slot b(int)", "private slot
 * c()". */
inline QStringList publishedMethods(const QMetaObject& metaObject)
{
    QStringList result;
    for (int i = metaObject.methodOffset(); i < metaObject.methodCount(); ++i) {
        const QMetaMethod method = metaObject.method(i);
        const bool isPrivate = method.access() == QMetaMethod::Private;
        const QString kind = method.methodType() == QMetaMethod::Signal ? QStringLiteral("signal ")
                                                                        : QStringLiteral("slot ");
        result << (isPrivate ? QStringLiteral("private ") : QString()) + kind +
                      QString::fromLatin1(method.methodSignature());
    }
    return result;
}

/** What a screen reader calls @p widget. */
inline QString spokenName(QWidget* widget)
{
    QAccessibleInterface* const accessible = QAccessible::queryAccessibleInterface(widget);
    return accessible ? accessible->text(QAccessible::Name) : QString();
}

/** The wrapped or plain texts in @p window that do not get the space they need. */
inline QStringList clippedTexts(const QWidget& window)
{
    QStringList result;
    const QList<QLabel*> labels = window.findChildren<QLabel*>();
    for (const QLabel* label : labels) {
        const int needed = label->wordWrap() ? label->heightForWidth(label->width())
                                             : label->minimumSizeHint().height();
        const bool narrow = label->width() < label->minimumSizeHint().width();
        if (label->isVisible() && (narrow || label->height() < needed)) {
            result << label->text();
        }
    }
    return result;
}

/** The names of the widgets that Tab reaches in the active @p window, starting where the focus is.
 */
inline QStringList tabStops(QWidget& window)
{
    QStringList result;
    for (int presses = 0; presses < 30; ++presses) {
        const QString name = window.focusWidget() ? window.focusWidget()->objectName() : QString();
        if (result.size() > 1 && name == result.first()) {
            return result;
        }
        if (result.isEmpty() || result.last() != name) {
            result << name;
        }
        QTest::keyClick(window.focusWidget() ? window.focusWidget() : &window, Qt::Key_Tab);
    }
    return result << QStringLiteral("(never comes back)");
}

} // namespace zk::test
