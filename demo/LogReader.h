#pragma once

#include <QObject>

#include <memory>
#include <ostream>

namespace demo {

/**
 * Turns the library's log into a signal, for as long as it lives.
 *
 * The library writes from any of its threads; lineWritten() is emitted in the thread that writes,
 * so a receiver in the GUI thread gets it queued where needed. Construct and destroy in the GUI
 * thread.
 */
class LogReader : public QObject
{
    Q_OBJECT

public:
    explicit LogReader(QObject* parent = nullptr);
    ~LogReader() override;

signals:
    /** One line without its end. */
    void lineWritten(const QString& line);

private:
    class Buffer;
    const std::unique_ptr<Buffer> m_buffer;
    std::wostream m_stream;
};

} // namespace demo
