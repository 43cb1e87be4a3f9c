#pragma once

#include <QObject>

#include <memory>
#include <ostream>

namespace demo {

/**
 * Emits the lines of the library's log as a signal while it exists.
 *
 * The library writes from several threads; lineWritten() is emitted in the writing thread, so
 * connect receivers automatically or queued. Construct and destroy it in the GUI thread.
 */
class LogReader : public QObject
{
    Q_OBJECT

public:
    explicit LogReader(QObject* parent = nullptr);
    ~LogReader() override;

signals:
    /** One line without its line end. */
    void lineWritten(const QString& line);

private:
    class Buffer;
    const std::unique_ptr<Buffer> m_buffer;
    std::wostream m_stream;
};

} // namespace demo
