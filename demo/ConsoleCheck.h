#pragma once

#include "types/SoftwareUpdateTypes.h"

#include <QObject>

namespace zk {
class SoftwareUpdateClient;
}

namespace demo {

/**
 * Runs one check through the client's public interface and prints everything that a host learns
 * about it.
 */
class ConsoleCheck : public QObject
{
    Q_OBJECT

public:
    explicit ConsoleCheck(zk::SoftwareUpdateClient& client);
    ~ConsoleCheck() override;

    /** Ends the event loop with 0 after the check, whatever its result. */
    void start();

private slots:
    void followState(zk::SoftwareUpdate::EState oldState, zk::SoftwareUpdate::EState newState);
    void finish();

private:
    zk::SoftwareUpdateClient& m_client;
};

} // namespace demo
