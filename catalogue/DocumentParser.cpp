#include "catalogue/DocumentParser.h"

#include "catalogue/DocumentScope.h"
#include "catalogue/UpdateDocument.h"
#include "support/Log.h"

#include <QDomDocument>
#include <QIODevice>

#include <optional>

namespace zk::UpdateDocument {

namespace {

constexpr char parseFunction[] = "zk::DownloadManager::parseXML";

/** Walks sets and packages, each level once. */
class DocumentPass
{
public:
    /** With @p consume the pass removes from the document what it has read. */
    DocumentPass(const DocumentLimits& limits, qint64 documentSize, bool consume)
        : m_budget{limits.inheritedValues, limits.inheritedUrlCharacters + documentSize}
        , m_consume(consume)
    {
    }

    [[nodiscard]] bool isWithinLimits() const { return !m_budget.isSpent(); }

    // The scope of everything above node, the document included.
    [[nodiscard]] Scope scopeAbove(const QDomNode& node)
    {
        std::vector<QDomNode> levels;
        for (QDomNode level = node.parentNode(); !level.isNull(); level = level.parentNode()) {
            levels.push_back(level);
        }
        Scope scope(m_budget);
        for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
            scope = Scope(scope, readLevel(*level));
        }
        return scope;
    }

    void appendPackages(QDomElement set, const Scope& above, PackageInfoList& packages)
    {
        Level level = readLevel(set);
        const Scope scope(above, level);
        for (QDomElement& package : level.takeElements(PackageKey)) {
            if (m_budget.isSpent()) {
                return;
            }
            packages.append(PackageInfo());
            readPackage(package, scope, packages.last());
            if (m_consume) {
                // Its nodes are still near; all at once at the end they take twice as long to free.
                set.removeChild(package);
                package.clear();
            }
        }
        for (const QDomElement& nested : level[PackageSetKey].elements) {
            appendPackages(nested, scope, packages);
        }
    }

    static void readPackage(const QDomElement& package, const Scope& above, PackageInfo& info)
    {
        const Level level = readLevel(package);
        const Scope scope(above, level);
        if (level[FileKey].elements.empty()) {
            scope.fill(info);
            return;
        }
        const QDomElement& file = level[FileKey].elements.front();
        Scope(scope, readLevel(file)).fill(info);
    }

private:
    InheritanceBudget m_budget;
    bool m_consume;
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
    const auto loaded = loadDocument(document, *device, names, limits);
    if (const auto* const error = std::get_if<ParseError>(&loaded)) {
        return *error;
    }
    const qint64 size = std::get<DocumentSize>(loaded).bytes;
    DocumentPass pass(limits, size, true);
    const QDomElement root = document.documentElement();
    pass.appendPackages(root, pass.scopeAbove(root), packages);
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
    DocumentPass pass(DocumentLimits(), 0, false);
    pass.appendPackages(set, pass.scopeAbove(set), packages);
}

void readPackage(const QDomElement& package, PackageInfo& info)
{
    DocumentPass pass(DocumentLimits(), 0, false);
    DocumentPass::readPackage(package, pass.scopeAbove(package), info);
}

} // namespace zk::UpdateDocument
