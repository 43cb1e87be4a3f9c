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
#include <mutex>

namespace zk {

/** The work and its result; lives in the thread that constructed the Unzipper. */
// Hidden: GCC would export it as a member of an exported class.
class Q_DECL_HIDDEN Unzipper::Private : public QObject
{
    Q_OBJECT

public:
    Private(Unzipper& unzipper, QString archive, QString folder, bool deleteArchive)
        : m_unzipper(unzipper)
        , m_zipFile(std::move(archive))
        , m_targetDir(std::move(folder))
        , m_deleteArchive(deleteArchive)
    {
    }

    void work();
    void post(bool complete, const QString& failure);
    void cancel();
    void removeZipFile() const;
    [[nodiscard]] bool isIntact() const;
    [[nodiscard]] QString archiveName() const { return FileUtils::nativePath(m_zipFile); }

private slots:
    void announce();

private:
    [[nodiscard]] bool extract();
    void setReader(ZipReader* reader);

    Unzipper& m_unzipper;
    const QString m_zipFile;
    const QString m_targetDir;
    const bool m_deleteArchive;
    bool m_succeeded = false;
    /** Totals of the archive; written by the thread before it posts its result. */
    qint64 m_files = 0;
    qint64 m_bytes = 0;

    // Guards what follows. Not a QMutex: ThreadSanitizer does not see into an uninstrumented Qt.
    std::mutex m_mutex;
    ZipReader* m_reader = nullptr;
    bool m_cancelled = false;
    bool m_complete = false;
    QString m_failure;
};

// By reference: the signature is published.
// NOLINTNEXTLINE(modernize-pass-by-value)
Unzipper::Unzipper(const QString& zipFile, const QString& targetDir, bool deleteArchive)
    : d(std::make_unique<Private>(*this, zipFile, targetDir, deleteArchive))
{
    start();
    if (!isRunning() && !isFinished()) {
        d->post(false,
                QStringLiteral("No thread could be started to unpack '%1'.").arg(d->archiveName()));
    }
}

Unzipper::~Unzipper()
{
    cancel();
    wait();
}

void Unzipper::cancel()
{
    d->cancel();
}

void Unzipper::removeZipFile()
{
    d->removeZipFile();
}

bool Unzipper::isIntact() const
{
    return d->isIntact();
}

void Unzipper::run()
{
    d->work();
}

void Unzipper::Private::cancel()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_cancelled = true;
    if (m_reader) {
        m_reader->abort();
    }
}

void Unzipper::Private::removeZipFile() const
{
    if (m_succeeded && QFile::exists(m_zipFile) && !QFile::remove(m_zipFile)) {
        SOFTWAREUPDATE_LOG(Log::eError, "zk::Unzipper::removeZipFile",
                           "could not remove the archive: ", m_zipFile);
    }
}

bool Unzipper::Private::isIntact() const
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

void Unzipper::Private::work()
{
    try {
        const bool complete = extract();
        post(complete, complete
                           ? QString()
                           : QStringLiteral("Unpacking '%1' was cancelled.").arg(archiveName()));
    } catch (const ExceptionQt& error) {
        post(false, error.message());
    } catch (const std::exception& error) {
        post(false, QString::fromLocal8Bit(error.what()));
    }
}

/** Returns false if cancelled; throws what the reader throws. */
bool Unzipper::Private::extract()
{
    ZipReader reader(m_zipFile, nullptr);
    setReader(&reader);
    struct Forget
    {
        Private* self;
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
    // Not isAborted(): cancelling after the last file has no effect.
    return reader.isComplete();
}

void Unzipper::Private::setReader(ZipReader* reader)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_reader = reader;
    if (m_reader && m_cancelled) {
        m_reader->abort();
    }
}

void Unzipper::Private::post(bool complete, const QString& failure)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_complete = complete;
        m_failure = failure;
    }
    // Queued even from the own thread; ~QObject drops what is still in the queue. By name: a
    // functor would cross the threads under locks that ThreadSanitizer does not see.
    QMetaObject::invokeMethod(this, "announce", Qt::QueuedConnection);
}

void Unzipper::Private::announce()
{
    QString failure;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_succeeded = m_complete;
        failure = m_failure;
    }
    if (!m_succeeded) {
        emit m_unzipper.unzippingFailed(failure);
        return;
    }
    if (m_deleteArchive) {
        removeZipFile();
    }
    // Last: a slot may delete this object.
    emit m_unzipper.unzippingDone(m_targetDir);
}

} // namespace zk

#include "Unzipper.moc"
