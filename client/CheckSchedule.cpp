#include "client/CheckSchedule.h"

#include "support/Connect.h"

namespace zk {

using SoftwareUpdate::eDaily;
using SoftwareUpdate::eMonthly;
using SoftwareUpdate::eWeekly;

bool isCheckDue(int interval, const QDateTime& lastCheck, const QDateTime& now)
{
    if (interval < eDaily || interval > eMonthly) {
        return false;
    }
    if (!lastCheck.isValid() || lastCheck > now.addDays(1)) {
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

CheckSchedule::CheckSchedule(QObject* client)
    : m_client(client)
    , m_timer(new QTimer(client))
{
    zk::connect(m_timer, SIGNAL(timeout()), m_client, SLOT(queryLastUpdate()), Qt::AutoConnection);
}

void CheckSchedule::run(bool isWanted)
{
    constexpr int oneHour = 3600000;
    if (!isWanted) {
        m_timer->stop();
        return;
    }
    m_timer->setInterval(oneHour);
    m_timer->start();
}

void CheckSchedule::checkLater(int milliseconds)
{
    // One timer a call, kept as long as the client: every delayed check that was asked for happens.
    auto* const timer = new QTimer(m_client);
    zk::connect(timer, SIGNAL(timeout()), m_client, SLOT(doBackgroundCheck()), Qt::AutoConnection);
    timer->setSingleShot(true);
    timer->start(milliseconds);
}

} // namespace zk
