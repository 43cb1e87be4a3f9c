#include "demo/Console.h"

#include <cstdio>

namespace demo {

namespace {

void write(std::FILE* file, const QString& line)
{
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), file);
    std::fflush(file);
}

} // namespace

void print(const QString& line)
{
    write(stdout, line);
}

void printError(const QString& line)
{
    write(stderr, line);
}

} // namespace demo
