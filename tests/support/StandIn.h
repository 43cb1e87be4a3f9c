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
        return file.open(QIODevice::ReadOnly)
                   ? QString::fromUtf8(file.readAll()).chopped(1).split(QLatin1Char('\n'))
                   : QStringList{QStringLiteral("not started")};
    }

private:
    QString m_record;
};

} // namespace zk::test
