#pragma once

#include "Literals.h"

#include <QFile>
#include <QStringList>

namespace zk::test {

/** Writes a file, throwing the test away where it cannot. */
inline void writeFile(const QString& path, const QByteArray& data)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size()) {
        qFatal("cannot write %s", qPrintable(path));
    }
}

inline QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/** A file that exists, with @p data in it, as long as this; none without data. */
class TemporaryFile
{
public:
    TemporaryFile(QString path, const QByteArray& data)
        : m_path(std::move(path))
    {
        if (!data.isEmpty()) {
            writeFile(m_path, data);
        }
    }
    ~TemporaryFile() { QFile::remove(m_path); }
    Q_DISABLE_COPY(TemporaryFile)

private:
    const QString m_path;
};

/** The cases in a file: each begins with "== " on a line of its own, a comment precedes the first.
 */
inline QStringList casesIn(const QString& path)
{
    return QString::fromUtf8(readFile(path)).remove(u'\r').split(u"\n== "_s).mid(1);
}

} // namespace zk::test
