#include "publisher/Addition.h"

#include "publisher/PackageSource.h"

#include "catalogue/Vocabulary.h"

#include <QTextCodec>

#include <algorithm>

namespace publisher {

namespace {

using namespace zk;

/** The packages of @p after that are not in @p before; nothing if one of @p before is missing. */
std::optional<PackageInfoList> added(const PackageInfoList& before, const PackageInfoList& after)
{
    PackageInfoList more;
    auto expected = before.cbegin();
    for (const PackageInfo& package : after) {
        if (expected != before.cend() && isSamePackage(*expected, package)) {
            ++expected;
        } else {
            more << package;
        }
    }
    return expected == before.cend() ? std::optional(more) : std::nullopt;
}

QString singleValue(const NewRelease& release, const char* key)
{
    const auto found =
        std::find_if(release.values.cbegin(), release.values.cend(),
                     [key](const NewValue& value) { return qstrcmp(value.key, key) == 0; });
    return found == release.values.cend() ? QString() : found->text;
}

bool isWhatWasWanted(const PackageInfo& package, const NewRelease& release, const NewFile& file)
{
    const auto set = [](const QStringList& list) {
        return QSet<QString>(list.cbegin(), list.cend());
    };
    return package.name == singleValue(release, Vocabulary::name) &&
           package.type == singleValue(release, Vocabulary::type) &&
           package.release == singleValue(release, Vocabulary::releaseVersion) &&
           package.status == singleValue(release, Vocabulary::releaseStatus) &&
           package.platforms == set(release.platforms) &&
           package.languages == set(release.languages) &&
           package.releaseDate.toSecsSinceEpoch() == file.date.toSecsSinceEpoch() &&
           package.fileSize == quint32(file.size);
}

QString refusal(const PackageInfoList& before, const PackageInfoList& more,
                const NewRelease& release)
{
    if (more.size() != release.files.size()) {
        return QStringLiteral("clients would not read what was added");
    }
    for (int i = 0; i < more.size(); ++i) {
        const PackageInfo& package = more.at(i);
        if (package.url.isRelative()) {
            return QStringLiteral("the document has no base-url for it: use --base-url");
        }
        if (!isWhatWasWanted(package, release, release.files.at(i))) {
            return QStringLiteral("inherited values of the document would change it");
        }
        const PackageInfoList others = before + more.mid(0, i);
        for (const PackageInfo& other : others) {
            const bool isTwin = other == package && other.platforms.intersects(package.platforms);
            if (other.url == package.url || isTwin) {
                return QStringLiteral("the document already contains %1%2")
                    .arg(package.url.toString(),
                         isTwin ? QStringLiteral(", or one of the same date and size") : QString());
            }
        }
    }
    return QString();
}

/** With the base address once, for all packages that will be added. */
QByteArray emptyDocument(const NewRelease& release)
{
    const QString base = singleValue(release, Vocabulary::baseUrl).toHtmlEscaped();
    const QString attribute =
        base.isEmpty() ? QString() : QStringLiteral(" base-url=\"") + base + QLatin1Char('"');
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<softwareList" + attribute.toUtf8() +
           ">\n</softwareList>\n";
}

} // namespace

bool isSamePackage(const PackageInfo& one, const PackageInfo& other)
{
    return one.type == other.type && one.name == other.name && one.publicName == other.publicName &&
           one.platforms == other.platforms && one.url == other.url &&
           one.release == other.release && one.publicRelease == other.publicRelease &&
           one.status == other.status && one.releaseDate == other.releaseDate &&
           one.fileSize == other.fileSize && one.languages == other.languages &&
           one.releaseNotes == other.releaseNotes && one.readme == other.readme &&
           one.comment == other.comment;
}

Addition addRelease(const QByteArray& bytes, const NewRelease& release)
{
    const QByteArray original = bytes.isEmpty() ? emptyDocument(release) : bytes;
    const SourceDocument document(original);
    if (document.error()) {
        const Position position = document.position(document.error()->offset);
        return QStringLiteral("line %1: %2").arg(position.line).arg(document.error()->text);
    }
    const QString text = withRelease(document, release);
    if (text.isEmpty()) {
        return QStringLiteral("each set of the document has a value that is wrong for it");
    }
    const QTextCodec* const codec = QTextCodec::codecForName(document.encoding());
    if (!codec->canEncode(text)) {
        return QStringLiteral("its values cannot be written in the document's encoding, %1")
            .arg(QLatin1String(document.encoding()));
    }
    QByteArray result = codec->fromUnicode(text);
    const QByteArray mark("\xef\xbb\xbf");
    if (original.startsWith(mark)) {
        result.prepend(mark);
    }
    const PackageInfoList before = parsePackages(original);
    const auto more = added(before, parsePackages(result));
    const QString complaint =
        more ? refusal(before, *more, release) : QStringLiteral("existing packages would change");
    if (!complaint.isEmpty()) {
        return complaint;
    }
    return result;
}

} // namespace publisher
