#pragma once

#include "Literals.h"

#include <QFile>

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

} // namespace zk::test
