#include "support/Unzipper.h"

#include "support/Exception.h"
#include "support/FileUtils.h"
#include "support/Log.h"
#include "support/ZipReader.h"

#include <QDirIterator>
#include <QFile>
#include <QRegExp>

#include <algorithm>
#include <exception>

namespace zk {

// By reference as published.
// NOLINTNEXTLINE(modernize-pass-by-value)
Unzipper::Unzipper(const QString& zipFile, const QString& targetDir, bool deleteArchive)
    : m_zipFile(zipFile)
    , m_targetDir(targetDir)
    , m_deleteArchive(deleteArchive)
{
    start();
    if (!isRunning() && !isFinished()) {
        post(false, QStringLiteral("No thread could be started to unpack '%1'.")
                        .arg(FileUtils::nativePath(m_zipFile)));
    }
}

Unzipper::~Unzipper()
{
    cancel();
    wait();
}

void Unzipper::cancel()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_cancelled = true;
    if (m_reader) {
        m_reader->abort();
    }
}

void Unzipper::removeZipFile()
{
    if (m_succeeded && QFile::exists(m_zipFile) && !QFile::remove(m_zipFile)) {
        SOFTWAREUPDATE_LOG(Log::eError, "zk::Unzipper::removeZipFile",
                           "could not remove the archive: ", m_zipFile);
    }
}

bool Unzipper::isIntact() const
{
    if (!m_succeeded) {
        return false;
    }
    qint64 files = 0;
    qint64 bytes = 0;
    QDirIterator it(m_targetDir, QDir::Files | QDir::Hidden | QDir::System | QDir::NoSymLinks,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        ++files;
        bytes += it.fileInfo().size();
    }
    return files >= m_files && bytes >= m_bytes;
}

void Unzipper::run()
{
    try {
        const bool complete = extract();
        post(complete, complete ? QString()
                                : QStringLiteral("Unpacking '%1' was cancelled.")
                                      .arg(FileUtils::nativePath(m_zipFile)));
    } catch (const ExceptionQt& error) {
        post(false, error.message());
    } catch (const std::exception& error) {
        post(false, QString::fromLocal8Bit(error.what()));
    }
}

/** False when cancelled; throws what the reader throws. */
bool Unzipper::extract()
{
    ZipReader reader(m_zipFile, nullptr);
    setReader(&reader);
    struct Forget
    {
        Unzipper* self;
        ~Forget() { self->setReader(nullptr); }
    } const forget{this};
    Q_UNUSED(forget)
    if (!reader.isAborted()) {
        reader.open(QIODevice::NotOpen);
        const QStringList entries = reader.fileList();
        m_bytes = reader.extractFiles(m_targetDir, QRegExp(), QString(), true, entries);
        m_files = std::count_if(entries.cbegin(), entries.cend(), [](const QString& entry) {
            return !entry.endsWith(QLatin1Char('/'));
        });
    }
    // Not isAborted(): a cancel that comes after the last file changes nothing any more.
    return reader.isComplete();
}

void Unzipper::setReader(ZipReader* reader)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_reader = reader;
    if (m_reader && m_cancelled) {
        m_reader->abort();
    }
}

void Unzipper::post(bool complete, const QString& failure)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_complete = complete;
        m_failure = failure;
    }
    // Queued even from the own thread; what the destructor finds in the queue is dropped by
    // ~QObject. By name, as a functor would cross the threads under locks that ThreadSanitizer does
    // not see.
    QMetaObject::invokeMethod(this, "announce", Qt::QueuedConnection);
}

void Unzipper::announce()
{
    QString failure;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_succeeded = m_complete;
        failure = m_failure;
    }
    if (!m_succeeded) {
        emit unzippingFailed(failure);
        return;
    }
    if (m_deleteArchive) {
        removeZipFile();
    }
    // Last: a slot may delete this object.
    emit unzippingDone(m_targetDir);
}

} // namespace zk
