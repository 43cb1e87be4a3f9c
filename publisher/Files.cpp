#include "publisher/Files.h"

#include "publisher/Console.h"

#include "support/QtCompatibility.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSaveFile>
#include <QUrl>

#include <filesystem>
#include <system_error>

namespace publisher {

namespace {

constexpr int timeoutMs = 15'000;

/** Nothing if there is no answer, which is reported. */
std::optional<QByteArray> fetch(const QUrl& url, const Console& console)
{
    QNetworkAccessManager manager;
    QNetworkRequest request(url);
    request.setTransferTimeout(timeoutMs);
    zk::QtCompatibility::usePlainHttp(request);
    zk::QtCompatibility::trustCompression(request);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    QNetworkReply* const reply = manager.get(request);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    if (reply->error() != QNetworkReply::NoError) {
        console.complain(QStringLiteral("%1: %2").arg(url.toString(), reply->errorString()));
        return std::nullopt;
    }
    return reply->readAll();
}

/** The number of names in a folder, whatever they are; -1 if it cannot be read. */
int namesIn(const QString& folder)
{
#ifdef Q_OS_WIN
    const std::filesystem::path path(folder.toStdWString());
#else
    const std::filesystem::path path(QFile::encodeName(folder).toStdString());
#endif
    std::error_code error;
    int count = 0;
    std::filesystem::directory_iterator names(path, error);
    for (; !error && names != std::filesystem::directory_iterator(); names.increment(error)) {
        ++count;
    }
    return error ? -1 : count;
}

} // namespace

DocumentFile readDocument(const QString& place, const Console& console)
{
    const QUrl url(place);
    if (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https")) {
        return {fetch(url, console), QString()};
    }
    const QString path = url.isLocalFile() ? url.toLocalFile() : place;
    return {readFile(path, console), QFileInfo(path).absolutePath()};
}

std::optional<QByteArray> readFile(const QString& path, const Console& console)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        console.complain(QStringLiteral("%1: %2").arg(path, file.errorString()));
        return std::nullopt;
    }
    return file.readAll();
}

std::optional<QFileInfoList> entriesIn(const QDir& folder)
{
    const QFileInfoList entries =
        folder.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    // Qt leaves out names that it cannot decode.
    return entries.size() == namesIn(folder.path()) ? std::optional(entries) : std::nullopt;
}

bool writeFile(const QString& path, const QByteArray& bytes, const Console& console,
               Readers readers)
{
    QSaveFile file(path);
    const bool isOpen = file.open(QIODevice::WriteOnly);
    const auto owner = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    if (!isOpen || (readers == Readers::eOwner && !file.setPermissions(owner)) ||
        file.write(bytes) != bytes.size() || !file.commit()) {
        console.complain(QStringLiteral("%1: %2").arg(path, file.errorString()));
        return false;
    }
    return true;
}

} // namespace publisher
