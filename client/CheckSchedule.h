#pragma once

#include "types/SoftwareUpdateTypes.h"

#include <QDateTime>
#include <QTimer>

namespace zk {

/**
 * Whether a check is due at @p now if the last one was at @p lastCheck (null: never). @p interval
 * is a SoftwareUpdate::ECheckInterval; with eAtStart, or any other number, no check is ever due.
 * Full intervals count, from date and time to date and time; exactly at the end a check is not yet
 * due.
 * A last check more than a day in the future counts as none: the clock was wrong then, and updates
 * must not wait until it is right.
 */
bool isCheckDue(int interval, const QDateTime& lastCheck, const QDateTime& now);

/** The hourly test whether a check is due, and the checks that were asked for with a delay. */
class CheckSchedule final
{
public:
    /** @p client owns the timers; its slot queryLastUpdate() makes the test. */
    explicit CheckSchedule(QObject* client);

    /** Starts the hourly test, or stops it. */
    void run(bool isWanted);
    /** Calls the slot doBackgroundCheck() of the client once, in @p milliseconds. */
    void checkLater(int milliseconds);

private:
    QObject* const m_client;
    QTimer* const m_timer;
};

} // namespace zk
