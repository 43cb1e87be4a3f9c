#include "support/FilePlacement.h"

#include <QDir>
#include <QFileInfo>

#include <system_error>

namespace zk {

namespace {

constexpr qint64 bytesInStep = 8LL * 1024 * 1024; // less than a second on a slow stick
constexpr int bufferSize = 256 * 1024;

} // namespace

std::filesystem::path nativeFilePath(const QString& path)
{
#ifdef Q_OS_WIN
    QString native = QDir::toNativeSeparators(path);
    // Windows' old path limit does not apply to this form.
    constexpr int oldLimit = 248;
    if (native.size() >= oldLimit && !native.startsWith(QLatin1String("\\\\?\\"))) {
        native = native.startsWith(QLatin1String("\\\\"))
                     ? QStringLiteral("\\\\?\\UNC") + native.mid(1)
                     : QStringLiteral("\\\\?\\") + native;
    }
    return {native.toStdWString()};
#else
    return {QFile::encodeName(path).toStdString()};
#endif
}

// A disk that gets full takes a part first; only the next attempt tells why.
bool writeAll(QIODevice& file, const char* data, qint64 size)
{
    while (size > 0) {
        const qint64 written = file.write(data, size);
        if (written <= 0) {
            return false;
        }
        data += written;
        size -= written;
    }
    return true;
}

// QFile::rename() copies a file to another volume in one go, however large it is.
bool renameInPlace(const QString& from, const QString& to)
{
    std::error_code error;
    std::filesystem::rename(nativeFilePath(from), nativeFilePath(to), error);
    return !error;
}

FilePlacement::FilePlacement(QFile& partial, const QString& path)
    : m_partial(partial)
{
    if (m_partial.isOpen() && (!m_partial.flush() || !m_partial.seek(0))) {
        m_systemError = m_partial.errorString();
        return;
    }
    // The whole path at once: stepping up from a folder that does not exist leads nowhere.
    if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
        m_systemError = QStringLiteral("the folder could not be created");
        return;
    }
    if (m_partial.isOpen() && isRenamedTo(path)) {
        return;
    }
    // Not truncated: a longer file that exists already keeps its tail.
    m_target.setFileName(path);
    m_isOpened = m_systemError.isEmpty() && m_target.open(QIODevice::ReadWrite);
    if (!m_isOpened) {
        m_systemError = m_systemError.isEmpty() ? m_target.errorString() : m_systemError;
    } else if (m_partial.isOpen()) {
        m_isCopying = true;
        m_buffer.resize(bufferSize);
    } else {
        m_target.close();
    }
}

bool FilePlacement::isRenamedTo(const QString& path)
{
    const QFileInfo target(path);
    if (target.exists() || target.isSymLink()) {
        return false;
    }
    m_partial.close();
    m_isRenamed = renameInPlace(m_partial.fileName(), path);
    m_isOpened = m_isRenamed;
    // Perhaps it is on another volume, or somebody reads it at this moment: copy it then.
    if (!m_isRenamed && !m_partial.open(QIODevice::ReadOnly)) {
        m_systemError = m_partial.errorString();
    }
    return m_isRenamed;
}

bool FilePlacement::step()
{
    for (qint64 copied = 0; m_isCopying && copied < bytesInStep;) {
        const qint64 length = m_partial.read(m_buffer.data(), m_buffer.size());
        if (length < 0) {
            return end(m_partial.errorString());
        }
        if (length == 0) {
            return end(m_target.flush() ? QString() : m_target.errorString());
        }
        if (!writeAll(m_target, m_buffer.constData(), length)) {
            return end(m_target.errorString());
        }
        copied += length;
    }
    return m_isCopying;
}

bool FilePlacement::end(const QString& error)
{
    m_isCopying = false;
    m_systemError = error;
    m_target.close();
    return false;
}

} // namespace zk
