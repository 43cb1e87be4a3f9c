#include "catalogue/DocumentParser.h"

#include "catalogue/DocumentScope.h"
#include "catalogue/UpdateDocument.h"
#include "support/Log.h"

#include <QDomDocument>
#include <QIODevice>

#include <list>
#include <optional>

namespace zk::UpdateDocument {

namespace {

constexpr char parseFunction[] = "zk::DownloadManager::parseXML";

/** Makes packages of what is recorded of them and of the levels above. */
class DocumentPass
{
public:
    DocumentPass(const DocumentLimits& limits, qint64 documentSize)
        : m_state{limits.inheritedValues, limits.inheritedUrlCharacters + documentSize, {}}
    {
    }

    [[nodiscard]] bool isWithinLimits() const { return !m_state.isBudgetSpent(); }

    // The scope of everything above node, the document included; valid as long as the pass.
    [[nodiscard]] Scope scopeAbove(const QDomNode& node)
    {
        std::vector<QDomNode> levels;
        for (QDomNode level = node.parentNode(); !level.isNull(); level = level.parentNode()) {
            levels.push_back(level);
        }
        Scope scope(m_state);
        for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
            m_levelsAbove.push_back(recordLevel(*level));
            scope.enter(m_levelsAbove.back());
        }
        return scope;
    }

    void appendPackages(SetRecord&& set, Scope scope, PackageInfoList& packages)
    {
        scope.enter(set.own);
        for (PackageRecord& package : set.packages) {
            if (m_state.isBudgetSpent()) {
                return;
            }
            packages.append(PackageInfo());
            readPackage(package, scope, packages.last());
            // Its memory serves the next ones, and is still near.
            package = PackageRecord();
        }
        for (SetRecord& nested : set.sets) {
            appendPackages(std::move(nested), scope, packages);
        }
    }

    static void readPackage(const PackageRecord& package, Scope scope, PackageInfo& info)
    {
        scope.enter(package.own);
        scope.enter(package.file);
        scope.fill(info);
    }

private:
    DocumentState m_state;
    std::list<LevelRecord> m_levelsAbove;
};

std::optional<ParseError> load(QIODevice* device, const DocumentLimits& limits,
                               PackageInfoList& packages)
{
    static const DocumentNames names{
        {documentKeys().cbegin(), documentKeys().cend()},
        {QLatin1String(Vocabulary::packageSet), QLatin1String(Vocabulary::package),
         QLatin1String(Vocabulary::file), QLatin1String(Vocabulary::releaseNotes),
         QLatin1String(Vocabulary::readme)}};
    QDomDocument document;
    Recorder recorder(document);
    const auto loaded = loadDocument(document, *device, names, limits, recorder);
    if (const auto* const error = std::get_if<ParseError>(&loaded)) {
        return *error;
    }
    DocumentPass pass(limits, std::get<DocumentSize>(loaded).bytes);
    pass.appendPackages(recorder.takeRoot(), pass.scopeAbove(document.documentElement()), packages);
    if (!pass.isWithinLimits()) {
        return ParseError{QStringLiteral("packages inherit too many values")};
    }
    return std::nullopt;
}

} // namespace

PackageInfoList parse(QIODevice* device, const DocumentLimits& limits)
{
    PackageInfoList packages;
    std::optional<ParseError> error;
    try {
        error = load(device, limits, packages);
    } catch (const std::exception& failure) {
        error = ParseError{QString::fromLocal8Bit(failure.what())};
    }
    if (!error) {
        return packages;
    }
    SOFTWAREUPDATE_LOG(Log::eWarning, parseFunction, "XML parser error: ", error->message);
    SOFTWAREUPDATE_LOG(Log::eWarning, parseFunction, "- at line: ", error->line,
                       " column: ", error->column);
    return PackageInfoList();
}

void appendPackages(const QDomElement& set, PackageInfoList& packages)
{
    DocumentPass pass(DocumentLimits(), 0);
    pass.appendPackages(recordSet(set), pass.scopeAbove(set), packages);
}

void readPackage(const QDomElement& package, PackageInfo& info)
{
    DocumentPass pass(DocumentLimits(), 0);
    DocumentPass::readPackage(recordPackage(package), pass.scopeAbove(package), info);
}

} // namespace zk::UpdateDocument
