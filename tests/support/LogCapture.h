#pragma once

#include "support/Log.h"

#include <QStringList>

#include <sstream>

namespace zk::test {

/** Collects the log lines of all levels for as long as it lives. */
class LogCapture
{
public:
    explicit LogCapture(Log::ELevel threshold = Log::eTrace)
        : m_oldLevel(Log::instance().logLevel())
    {
        Log::instance().setLogLevel(threshold);
        for (int level = Log::eTrace; level < Log::eOff; ++level) {
            Log::instance().setStream(Log::ELevel(level), &m_streams[level]);
        }
    }
    ~LogCapture()
    {
        for (int level = Log::eTrace; level < Log::eOff; ++level) {
            Log::instance().setStream(Log::ELevel(level), nullptr);
        }
        Log::instance().setLogLevel(m_oldLevel);
    }

    /** The lines of @p level so far, from "[function] " on: what precedes it always differs. */
    QStringList lines(Log::ELevel level) const
    {
        QStringList result;
        const MutexLocker locker(Log::instance().mutex(), true);
        const QStringList all =
            QString::fromStdWString(m_streams[level].str()).split(u'\n', Qt::SkipEmptyParts);
        for (const QString& line : all) {
            result << line.mid(line.indexOf(u'['));
        }
        return result;
    }

private:
    Log::ELevel m_oldLevel;
    std::wostringstream m_streams[Log::eOff];
};

} // namespace zk::test
