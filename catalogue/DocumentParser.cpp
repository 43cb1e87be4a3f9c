#include "catalogue/DocumentParser.h"

#include "catalogue/DocumentReader.h"
#include "catalogue/DocumentScope.h"
#include "support/Log.h"

#include <optional>

namespace zk::UpdateDocument {

namespace {

constexpr char parseFunction[] = "zk::DownloadManager::parseXML";

// Takes the records out of the set: their memory serves the packages made of the next ones.
void appendPackages(SetRecord& set, Scope scope, MemoryBudget& budget, PackageInfoList& packages)
{
    const PackageInfo blank;
    scope.enter(set.own);
    for (; !set.packages.empty() && !budget.isSpent(); set.packages.pop_front()) {
        Scope package = scope;
        package.enter(set.packages.front());
        packages.append(blank);
        package.fill(packages.last());
    }
    for (; !set.sets.empty() && !budget.isSpent(); set.sets.pop_front()) {
        appendPackages(set.sets.front(), scope, budget, packages);
    }
}

std::optional<ParseError> load(QIODevice& device, const DocumentLimits& limits,
                               PackageInfoList& packages)
{
    auto loaded = readDocument(device, limits);
    if (const auto* const error = std::get_if<ParseError>(&loaded)) {
        return *error;
    }
    auto& document = std::get<DocumentRecord>(loaded);
    const qint64 memory = limits.memory - document.memory;
    const qint64 addresses = document.addressCharacters * qint64(sizeof(QChar));
    DocumentState state{document.dates, MemoryBudget(memory + addresses, limits.inheritedValues)};
    packages.reserve(document.packages);
    Scope scope(state);
    scope.enter(document.top);
    appendPackages(document.root, scope, state.budget, packages);
    if (state.budget.isSpent()) {
        return ParseError{state.budget.excess()};
    }
    return std::nullopt;
}

} // namespace

PackageInfoList parse(QIODevice* device, const DocumentLimits& limits)
{
    PackageInfoList packages;
    std::optional<ParseError> error;
    try {
        error = load(*device, limits, packages);
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

} // namespace zk::UpdateDocument
