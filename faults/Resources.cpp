#include "Resources.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <malloc.h>
#include <unistd.h>

#ifdef __has_feature
#define FAULTS_HAS(feature) __has_feature(feature)
#else
#define FAULTS_HAS(feature) 0
#endif

namespace zk::faults {

int slowness()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) ||                               \
    FAULTS_HAS(address_sanitizer) || FAULTS_HAS(thread_sanitizer)
    return 5;
#else
    return 1;
#endif
}

Resources Resources::now()
{
    Resources found;
    const QDir folder(QStringLiteral("/proc/self/fd"));
    const QStringList names =
        folder.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        char target[4096];
        const QByteArray path = QFile::encodeName(folder.filePath(name));
        const ssize_t size = readlink(path.constData(), target, sizeof target);
        // The last one belongs to the listing itself.
        if (size > 0 && QFile::exists(QString::fromLocal8Bit(path))) {
            found.descriptors << QString::fromLocal8Bit(target, int(size))
                                     .remove(QRegularExpression(QStringLiteral("\\[\\d+\\]$")));
        }
    }
    found.descriptors.sort();
    found.threads =
        QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
    return found;
}

QStringList Resources::beyond(const Resources& before) const
{
    QStringList more = descriptors;
    for (const QString& descriptor : before.descriptors) {
        more.removeOne(descriptor);
    }
    if (threads > before.threads) {
        more << QStringLiteral("%1 threads").arg(threads - before.threads);
    }
    return more;
}

void returnLargeBlocks()
{
    // Setting it explicitly disables its dynamic growth.
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
}

long residentKb()
{
    malloc_trim(0);
    QFile file(QStringLiteral("/proc/self/statm"));
    (void)file.open(QIODevice::ReadOnly);
    return file.readAll().split(' ').value(1).toLong() * (sysconf(_SC_PAGESIZE) / 1024);
}

} // namespace zk::faults
