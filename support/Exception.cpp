#include "support/Exception.h"

namespace zk {

Exception::~Exception() = default;

ExceptionQt::ExceptionQt(const QString& message, const ExceptionQt* cause)
    : m_message(message)
    , m_what(message.toUtf8())
    // Kept, not thrown. Not make_shared: its type tag is a unique symbol that keeps the library
    // from being unloaded.
    , m_cause(cause ? new ExceptionQt(*cause) : nullptr) // NOLINT(bugprone-throw-keyword-missing)
{
}

ExceptionQt::~ExceptionQt() = default;

QString ExceptionQt::message() const
{
    return m_message;
}

const ExceptionQt* ExceptionQt::cause() const
{
    return m_cause.get();
}

const char* ExceptionQt::what() const noexcept
{
    return m_what.constData();
}

IOException::IOException(const QString& message, const ExceptionQt* cause)
    : ExceptionQt(message, cause)
{
}

IOException::~IOException() = default;

} // namespace zk
