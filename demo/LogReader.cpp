#include "demo/LogReader.h"

#include "support/Log.h"

#include <streambuf>
#include <string>

namespace demo {

// One writer at a time: the logger holds its mutex for a whole line.
class LogReader::Buffer : public std::wstreambuf
{
public:
    explicit Buffer(LogReader& reader)
        : m_reader(reader)
    {
    }

protected:
    int_type overflow(int_type character) override
    {
        if (character == L'\n') {
            // Converts whole lines only: a surrogate pair may be split.
            emit m_reader.lineWritten(QString::fromStdWString(m_line));
            m_line.clear();
        } else if (character != traits_type::eof()) {
            m_line += traits_type::to_char_type(character);
        }
        return traits_type::not_eof(character);
    }

private:
    LogReader& m_reader;
    std::wstring m_line;
};

LogReader::LogReader(QObject* parent)
    : QObject(parent)
    , m_buffer(std::make_unique<Buffer>(*this))
    , m_stream(m_buffer.get())
{
    for (int level = zk::Log::eTrace; level < zk::Log::eOff; ++level) {
        zk::Log::instance().setStream(zk::Log::ELevel(level), &m_stream);
    }
}

LogReader::~LogReader()
{
    for (int level = zk::Log::eTrace; level < zk::Log::eOff; ++level) {
        zk::Log::instance().setStream(zk::Log::ELevel(level), nullptr);
    }
}

} // namespace demo
