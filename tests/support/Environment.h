#pragma once

#include "Literals.h"

#include <QByteArray>
#include <QDir>
#include <QString>
#include <QTemporaryDir>
#include <QTest>

#ifdef Q_OS_WIN
#include <cstdlib>
#include <windows.h>
#endif

namespace zk::test {

/** Wine answers some questions by nothing. */
inline bool isWine()
{
#ifdef Q_OS_WIN
    return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version");
#else
    return false;
#endif
}

/** An environment variable has @p value for as long as this lives; names need not be ASCII. */
class ScopedVariable
{
public:
    ScopedVariable(const char* name, const QString& value)
        : m_name(name)
        , m_wasSet(qEnvironmentVariableIsSet(name))
        , m_old(qEnvironmentVariable(name))
    {
        set(value);
    }
    ~ScopedVariable()
    {
        if (m_wasSet) {
            set(m_old);
        } else {
            qunsetenv(m_name.constData());
        }
    }
    Q_DISABLE_COPY(ScopedVariable)

    void set(const QString& value) const
    {
#ifdef Q_OS_WIN
        // qputenv() would take the text through the system's 8-bit encoding.
        _wputenv_s(QString::fromLatin1(m_name).toStdWString().c_str(),
                   value.toStdWString().c_str());
#else
        qputenv(m_name.constData(), value.toLocal8Bit());
#endif
    }

private:
    QByteArray m_name;
    bool m_wasSet;
    QString m_old;
};

/** Temporary files go to the folder for as long as this lives. */
struct ScopedTemporaryFolder
{
    QString folder;
    QString native = QDir::toNativeSeparators(folder);
    ScopedVariable posix{"TMPDIR", native};
    ScopedVariable windows{"TMP", native};
    ScopedVariable windowsToo{"TEMP", native};
};

/** Call it first: drops the line that the offscreen platform prints for windows' size hints. */
inline void dropOffscreenSizeHintLine()
{
    static QtMessageHandler next = nullptr;
    next = qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext& context, const QString& text) {
            if (!text.contains(u"propagateSizeHints"_s)) {
                next(type, context, text);
            }
        });
}

} // namespace zk::test
