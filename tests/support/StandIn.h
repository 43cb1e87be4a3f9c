#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

namespace zk::test {

/** A program that does nothing but write down the arguments it was started with. */
class StandIn
{
public:
    explicit StandIn(const QString& path)
        : m_record(path + QStringLiteral(".arguments"))
    {
        QDir().mkpath(QFileInfo(path).absolutePath());
        if (!QFile::copy(QStringLiteral(ARGUMENT_RECORDER), path)) {
            qFatal("could not copy " ARGUMENT_RECORDER);
        }
    }

    /** The program itself, for those who send it over the network. */
    static QByteArray bytes()
    {
        QFile file(QStringLiteral(ARGUMENT_RECORDER));
        (void)file.open(QIODevice::ReadOnly);
        return file.readAll();
    }
    /** Whether a file called @p name is such a program's note, finished or not. */
    static bool isRecord(const QString& name)
    {
        return name.endsWith(QLatin1String(".arguments")) || name.endsWith(QLatin1String(".part"));
    }

    [[nodiscard]] bool wasStarted() const { return QFile::exists(m_record); }

    /** What it was started with, itself first; waits for the start. */
    [[nodiscard]] QStringList arguments() const
    {
        (void)QTest::qWaitFor([this] { return wasStarted(); }, 10'000);
        QFile file(m_record);
        if (!file.open(QIODevice::ReadOnly)) {
            return {QStringLiteral("not started")};
        }
        // Each line ends with a newline.
        QStringList arguments = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        arguments.removeLast();
        return arguments;
    }

private:
    QString m_record;
};

} // namespace zk::test
