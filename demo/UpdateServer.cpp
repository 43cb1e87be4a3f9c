#include "demo/UpdateServer.h"

#include "demo/StoppableServer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace demo {

using Answer = UpdateServer::Answer;

namespace {

// Each idle connection occupies a worker, and browsers and QNetworkAccessManager open six at a
// time.
constexpr std::size_t workers = 24;

} // namespace

class UpdateServer::Private
{
public:
    Private()
    {
        m_server.new_task_queue = [] { return new httplib::ThreadPool(workers); };
        // No socket options: the default ones would let another process listen on the same port.
        m_server.set_socket_options([](socket_t) {});
        m_server.set_tcp_nodelay(true);
        m_server.set_pre_routing_handler(
            [this](const httplib::Request& request, httplib::Response& response) {
                respond(request, response);
                return httplib::Server::HandlerResponse::Handled;
            });
        m_port = m_server.bind_to_any_port("127.0.0.1");
        if (m_port <= 0) {
            return;
        }
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
        // Stopping a server that is not running yet has no effect.
        while (!m_server.is_running()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    ~Private()
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_isStopping = true;
        }
        m_stopping.notify_all();
        if (m_thread.joinable()) {
            m_server.stopAtOnce();
            m_thread.join();
        }
    }

    Private(const Private&) = delete;
    Private& operator=(const Private&) = delete;

    [[nodiscard]] int port() const { return std::max(m_port, 0); }
    [[nodiscard]] qint64 sentBytes() const { return m_sent; }

    void setAnswer(const std::string& path, const Answer& answer)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_answers[path] = std::make_shared<const Answer>(answer);
    }

    std::shared_ptr<const Answer> answer(const std::string& path) const
    {
        static const auto notFound = std::make_shared<const Answer>(failure(404));
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_answers.find(path);
        return found == m_answers.end() ? notFound : found->second;
    }

private:
    StoppableServer m_server;
    int m_port = 0;
    std::thread m_thread;
    mutable std::mutex m_mutex;
    std::condition_variable m_stopping;
    bool m_isStopping = false;
    std::atomic<qint64> m_sent{0};
    std::map<std::string, std::shared_ptr<const Answer>> m_answers;

    void respond(const httplib::Request& request, httplib::Response& response)
    {
        const auto given = answer(request.path);
        if (given->hang) {
            pause(std::chrono::hours(24));
            response.status = 503;
            return;
        }
        // Otherwise httplib takes 206 for a range.
        if (given->status != 200 || request.ranges.empty()) {
            response.status = given->status;
        }
        send(given, response);
    }

    // Through a content provider: httplib would compress a plain body.
    void send(const std::shared_ptr<const Answer>& given, httplib::Response& response)
    {
        const std::string type = given->contentType.toStdString();
        if (given->body.isEmpty()) {
            response.set_content(std::string(), type);
            return;
        }
        response.set_content_provider(
            std::size_t(given->body.size()), type,
            [this, given](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                if (!pause(std::chrono::milliseconds(given->pause))) {
                    return false;
                }
                const auto piece = std::size_t(std::max(given->pieceSize, 1));
                m_sent += qint64(std::min(length, piece));
                return sink.write(given->body.constData() + offset, std::min(length, piece));
            });
    }

    /** False if the server is stopped before @p duration has elapsed. */
    bool pause(std::chrono::milliseconds duration)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return !m_stopping.wait_for(lock, duration, [this] { return m_isStopping; });
    }
};

UpdateServer::UpdateServer()
    : d(std::make_unique<Private>())
{
}

UpdateServer::~UpdateServer() = default;

bool UpdateServer::isListening() const
{
    return d->port() != 0;
}

quint16 UpdateServer::port() const
{
    return quint16(d->port());
}

QUrl UpdateServer::url(const QString& path) const
{
    QUrl result;
    result.setScheme(QStringLiteral("http"));
    result.setHost(QStringLiteral("127.0.0.1"));
    result.setPort(port());
    result.setPath(path);
    return result;
}

qint64 UpdateServer::sentBytes() const
{
    return d->sentBytes();
}

QString UpdateServer::documentPath()
{
    return QStringLiteral("/updates.xml");
}

void UpdateServer::setDocument(const QByteArray& document)
{
    setAnswer(documentPath(), page(QByteArrayLiteral("text/xml"), document));
}

void UpdateServer::setAnswer(const QString& path, const Answer& answer)
{
    d->setAnswer(path.toStdString(), answer);
}

Answer UpdateServer::answer(const QString& path) const
{
    return *d->answer(path.toStdString());
}

Answer UpdateServer::page(const QByteArray& contentType, const QByteArray& body)
{
    Answer answer;
    answer.contentType = contentType;
    answer.body = body;
    return answer;
}

Answer UpdateServer::failure(int status)
{
    Answer answer = page(QByteArrayLiteral("text/plain"),
                         QByteArrayLiteral("Error ") + QByteArray::number(status) + '\n');
    answer.status = status;
    return answer;
}

Answer UpdateServer::hanging()
{
    Answer answer;
    answer.hang = true;
    return answer;
}

} // namespace demo
