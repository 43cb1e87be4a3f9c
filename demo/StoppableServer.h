#pragma once

#include <httplib.h>

#include <mutex>
#include <set>

namespace demo {

/**
 * An httplib server that can be stopped immediately: it shuts down its open connections.
 *
 * By itself httplib waits until each idle connection times out, at least a second.
 */
class StoppableServer : public httplib::Server
{
public:
    /** Closes all connections, including those being accepted, and stops listening. */
    void stopAtOnce();

private:
    std::mutex m_mutex;
    std::set<socket_t> m_connections;
    bool m_isStopping = false;

    bool process_and_close_socket(socket_t sock) override;
    bool enter(socket_t sock);
    void leave(socket_t sock);
};

} // namespace demo
