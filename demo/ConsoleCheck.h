#pragma once

#include "types/SoftwareUpdateTypes.h"

#include <QObject>

namespace zk {
class SoftwareUpdateClient;
}

namespace demo {

/** Runs one check through the client's public interface and prints what a host gets to know of it.
 */
class ConsoleCheck : public QObject
{
    Q_OBJECT

public:
    explicit ConsoleCheck(zk::SoftwareUpdateClient& client);
    ~ConsoleCheck() override;

    /** Ends the event loop with 0 when the check has ended, however it did. */
    void start();

private slots:
    void followState(zk::SoftwareUpdate::EState oldState, zk::SoftwareUpdate::EState newState);
    void finish();

private:
    zk::SoftwareUpdateClient& m_client;
};

} // namespace demo
