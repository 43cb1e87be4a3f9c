#include "demo/StoppableServer.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace demo {

namespace {

#ifdef _WIN32
constexpr int bothDirections = SD_BOTH;
constexpr int noSignal = 0;
using Length = int;

void closeSocket(socket_t sock)
{
    closesocket(sock);
}
#else
constexpr int bothDirections = SHUT_RDWR;
constexpr int noSignal = MSG_NOSIGNAL;
using Length = std::size_t;

void closeSocket(socket_t sock)
{
    close(sock);
}
#endif

/** A buffered connection: httplib reads lines byte by byte. Uses the socket's time-outs. */
class Connection : public httplib::Stream
{
public:
    explicit Connection(socket_t sock)
        : m_socket(sock)
    {
    }

    bool is_readable() const override { return true; }
    bool is_writable() const override { return true; }
    socket_t socket() const override { return m_socket; }
    // Not used: all clients are on this machine.
    void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}

    /** Waits for the next byte; false if the client has disconnected or times out. */
    bool waitForData()
    {
        if (m_next == m_end) {
            const auto received = recv(m_socket, m_ahead.data(), Length(m_ahead.size()), 0);
            m_next = 0;
            m_end = received > 0 ? std::size_t(received) : 0;
        }
        return m_next != m_end;
    }

    ssize_t read(char* data, std::size_t size) override
    {
        if (!waitForData()) {
            return 0;
        }
        const std::size_t count = std::min(size, m_end - m_next);
        std::memcpy(data, m_ahead.data() + m_next, count);
        m_next += count;
        return ssize_t(count);
    }

    ssize_t write(const char* data, std::size_t size) override
    {
        return ssize_t(send(m_socket, data, Length(size), noSignal));
    }

private:
    const socket_t m_socket;
    std::array<char, 4096> m_ahead{};
    std::size_t m_next = 0;
    std::size_t m_end = 0;
};

} // namespace

void StoppableServer::stopAtOnce()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isStopping = true;
        for (const socket_t sock : m_connections) {
            shutdown(sock, bothDirections);
        }
    }
    stop();
}

bool StoppableServer::process_and_close_socket(socket_t sock)
{
    bool isHandled = false;
    if (enter(sock)) {
        Connection connection(sock);
        bool isClosed = false;
        while (!isClosed && connection.waitForData()) {
            isHandled = process_request(connection, false, isClosed, nullptr);
            isClosed = isClosed || !isHandled;
        }
    }
    leave(sock);
    return isHandled;
}

bool StoppableServer::enter(socket_t sock)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_connections.insert(sock);
    return !m_isStopping;
}

// Closed under the lock: the descriptor may be reused by another connection immediately.
void StoppableServer::leave(socket_t sock)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_connections.erase(sock);
    shutdown(sock, bothDirections);
    closeSocket(sock);
}

} // namespace demo
