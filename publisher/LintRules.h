#pragma once

#include "publisher/Finding.h"
#include "publisher/PackageSource.h"

#include <QSet>

namespace publisher {

/** Collects what the rules find. */
class Report
{
public:
    explicit Report(const SourceDocument& document)
        : m_document(document)
    {
    }

    void add(Finding::Level level, int offset, const char* rule, const QString& text);
    /** What was found, by place. */
    [[nodiscard]] Findings findings() const;

private:
    const SourceDocument& m_document;
    Findings m_findings;
    QSet<QString> m_known;
};

/** Names, places and repetitions: what clients overlook without a word. */
void checkStructure(const SourceElement& root, Report& report);

/** The values of one package, each by itself. */
void checkPackage(const PackageSource& package, const QString& folder, Report& report);

/** What packages are to each other. */
void checkPackages(const std::vector<PackageSource>& packages, Report& report);

} // namespace publisher
