#pragma once

#include <QDateTime>

namespace zk {

/** Values of the stored check interval. */
enum ECheckInterval { eAtStart = 0, eDaily = 1, eWeekly = 2, eMonthly = 3 };

/**
 * Whether a check is due at @p now when the last one was at @p lastCheck (null: never). The
 * interval is counted in full from date and time to date and time; at its very end a check is not
 * yet due.
 */
bool isCheckDue(int interval, const QDateTime& lastCheck, const QDateTime& now);

} // namespace zk
