#pragma once

#include <httplib.h>

#include <mutex>
#include <set>

namespace demo {

/**
 * An httplib server that can be stopped at once: it knows its connections and shuts them down.
 *
 * As it comes, httplib waits for every idle connection to run into its time-out, a second at least.
 */
class StoppableServer : public httplib::Server
{
public:
    /** Ends all connections, those that are about to be accepted included, then the listening. */
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
