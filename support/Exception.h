#pragma once

#include "support/Export.h"

#include <QString>

#include <exception>
#include <memory>

namespace zk {

/** Base class of everything the library throws. Throw by value, catch by reference. */
class SOFTWAREUPDATE_EXPORT Exception : public std::exception
{
public:
    Exception() = default;
    /** @{ Trivial: no members. */
    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;
    /** @} */
    ~Exception() override;
};

/** An exception with a text for the user and, optionally, the exception that caused it. */
class SOFTWAREUPDATE_EXPORT ExceptionQt : public Exception
{
public:
    /** @p cause is copied and may be null. */
    explicit ExceptionQt(const QString& message, const ExceptionQt* cause = nullptr);
    /** @{ Copies share the text and the cause. */
    ExceptionQt(const ExceptionQt&) = default;
    ExceptionQt& operator=(const ExceptionQt&) = default;
    /** @} */
    ~ExceptionQt() override;

    /** The text for the user. */
    [[nodiscard]] QString message() const;
    /** The cause of this exception, null if unknown; valid as long as this object. */
    [[nodiscard]] const ExceptionQt* cause() const;
    /** The message in UTF-8. */
    [[nodiscard]] const char* what() const noexcept override;

private:
    QString m_message;
    QByteArray m_what;
    std::shared_ptr<const ExceptionQt> m_cause;
};

/** A file, archive or device could not be read or written. */
class SOFTWAREUPDATE_EXPORT IOException : public ExceptionQt
{
public:
    /** @p message is shown to the user; @p cause is copied and may be null. */
    explicit IOException(const QString& message, const ExceptionQt* cause = nullptr);
    /** @{ Copies share the text and the cause. */
    IOException(const IOException&) = default;
    IOException& operator=(const IOException&) = default;
    /** @} */
    ~IOException() override;
};

} // namespace zk
