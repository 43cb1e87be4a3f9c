#pragma once

#include "Files.h"

#include <QDir>
#include <QFileInfo>
#include <QTest>

namespace zk::test {

/** A program that does nothing but write down the arguments it was started with. */
class StandIn
{
public:
    explicit StandIn(const QString& path)
        : m_path(path)
    {
        QDir().mkpath(QFileInfo(path).absolutePath());
        if (!QFile::copy(QStringLiteral(ARGUMENT_RECORDER), path)) {
            qFatal("could not copy " ARGUMENT_RECORDER);
        }
    }

    /** The program itself, for those who send it over the network. */
    static QByteArray bytes() { return readFile(QStringLiteral(ARGUMENT_RECORDER)); }
    /** Whether a file called @p name is such a program's note, finished or not. */
    static bool isRecord(const QString& name)
    {
        return name.endsWith(u".arguments"_s) || name.endsWith(u".part"_s);
    }

    /** What the one at @p path was started with, itself first; waits for the start and the end. */
    static QStringList arguments(const QString& path)
    {
        QFile file(recordOf(path));
        // That it exists is not enough: while it is being renamed, Windows lets nobody in.
        if (!QTest::qWaitFor([&file] { return file.open(QIODevice::ReadOnly); }, 20'000)) {
            return {u"not started"_s};
        }
        // Nor can its folder be removed before it has ended.
        QFile program(path);
        (void)QTest::qWaitFor([&program] { return program.open(QIODevice::ReadWrite); });
        return QString::fromUtf8(file.readAll()).chopped(1).split(u'\n');
    }

    static bool wasStarted(const QString& path) { return QFile::exists(recordOf(path)); }

    bool wasStarted() const { return wasStarted(m_path); }
    QStringList arguments() const { return arguments(m_path); }

private:
    static QString recordOf(const QString& path) { return path + u".arguments"_s; }

    QString m_path;
};

} // namespace zk::test
