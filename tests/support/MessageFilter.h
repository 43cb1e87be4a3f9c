#pragma once

#include "Literals.h"

#include <QTest>

namespace zk::test {

/** Drops the one line that the offscreen platform prints for windows with size hints; call it
 * first. */
inline void dropOffscreenSizeHintLine()
{
    static QtMessageHandler next = nullptr;
    next = qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext& context, const QString& text) {
            if (!text.contains(u"propagateSizeHints"_s)) {
                next(type, context, text);
            }
        });
}

} // namespace zk::test
