#pragma once

#include "publisher/Finding.h"
#include "publisher/PackageSource.h"

#include <QSet>

namespace publisher {

/** Collects the findings of the rules. */
class Report
{
public:
    explicit Report(const SourceDocument& document)
        : m_document(document)
    {
    }

    void add(Finding::Level level, int offset, const char* rule, const QString& text);
    /** The findings, ordered by position. */
    [[nodiscard]] Findings findings() const;

private:
    const SourceDocument& m_document;
    Findings m_findings;
    QSet<QString> m_known;
};

/** Character references that clients cut to 16 bits. */
void checkReferences(const SourceDocument& document, Report& report);

/** Names, places and repetitions: what clients overlook without a word. */
void checkStructure(const SourceElement& root, Report& report);

/** Checks the values of one package, each on its own. */
void checkPackage(const PackageSource& package, const QString& folder, Report& report);

/** Checks packages against each other. */
void checkPackages(const std::vector<PackageSource>& packages, Report& report);

} // namespace publisher
