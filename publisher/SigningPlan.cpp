#include "publisher/SigningPlan.h"

#include "catalogue/Vocabulary.h"

#include <QFileInfo>
#include <QSet>

namespace publisher {

namespace {

bool isZip(const QString& file)
{
    return file.endsWith(QLatin1String(".zip"), Qt::CaseInsensitive) &&
           !file.endsWith(QLatin1String(".mpkg.zip"), Qt::CaseInsensitive);
}

/** All that a document says of one file. */
struct PublishedFile
{
    QSet<QString> releases;
    /** Of the packages that are applications. */
    QSet<QString> products;
    QSet<QString> platforms;
};

PublishedFile collect(const QString& name, const zk::PackageInfoList& published)
{
    PublishedFile file;
    for (const zk::PackageInfo& package : published) {
        if (package.url.fileName() != name) {
            continue;
        }
        file.releases << package.release;
        if (package.type == QLatin1String(zk::Vocabulary::typeApplication)) {
            file.products << package.name;
            file.platforms += package.platforms;
        }
    }
    return file;
}

SigningJob jobFor(const QString& path, const PublishedFile& published)
{
    SigningJob job;
    job.file = path;
    job.identity.release = *published.releases.cbegin();
    if (!isZip(path)) {
        return job;
    }
    if (published.products.isEmpty()) {
        job.noManifest = QStringLiteral("the document does not have it as an application");
    } else if (published.products.size() > 1) {
        job.noManifest = QStringLiteral("the document has it for several products");
    } else if (published.platforms.isEmpty() || job.identity.release.isEmpty()) {
        job.noManifest = QStringLiteral("the document names no platform or no release for it");
    } else {
        job.isWithManifest = true;
        job.identity.product = *published.products.cbegin();
        job.identity.platforms = published.platforms.values();
    }
    return job;
}

} // namespace

SigningPlan planFor(const QStringList& files, const PackageIdentity& identity)
{
    SigningPlan plan;
    for (const QString& file : files) {
        SigningJob job{file, identity, isZip(file), QString()};
        if (job.isWithManifest && (identity.product.isEmpty() || identity.platforms.isEmpty() ||
                                   identity.release.isEmpty())) {
            job.isWithManifest = false;
            job.noManifest =
                QStringLiteral("it needs --release, --product and --platform, or --document");
        }
        plan.push_back(job);
    }
    return plan;
}

std::variant<SigningPlan, QString> planFor(const QStringList& files,
                                           const zk::PackageInfoList& published)
{
    SigningPlan plan;
    for (const QString& path : files) {
        const PublishedFile file = collect(QFileInfo(path).fileName(), published);
        if (file.releases.isEmpty()) {
            return QStringLiteral("%1 is not in the document").arg(path);
        }
        if (file.releases.size() > 1) {
            return QStringLiteral("%1 has several releases in the document").arg(path);
        }
        plan.push_back(jobFor(path, file));
    }
    return plan;
}

} // namespace publisher
