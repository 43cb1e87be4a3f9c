#include "client/CheckSchedule.h"

namespace zk {

bool isCheckDue(int interval, const QDateTime& lastCheck, const QDateTime& now)
{
    if (interval < eDaily || interval > eMonthly) {
        return false;
    }
    if (!lastCheck.isValid()) {
        return true;
    }
    switch (interval) {
    case eDaily:
        return lastCheck.addDays(1) < now;
    case eWeekly:
        return lastCheck.addDays(7) < now;
    default:
        return lastCheck.addMonths(1) < now;
    }
}

} // namespace zk
