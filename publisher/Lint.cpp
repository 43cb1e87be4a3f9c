#include "publisher/Lint.h"

#include "publisher/LintRules.h"

#include <algorithm>

namespace publisher {

void Report::add(Finding::Level level, int offset, const char* rule, const QString& text)
{
    // An inherited value is found once for each package.
    const QString key = QString::number(offset) + QLatin1Char(' ') + text;
    if (!m_known.contains(key)) {
        m_known.insert(key);
        m_findings.append({level, m_document.position(offset), QString::fromLatin1(rule), text});
    }
}

Findings Report::findings() const
{
    Findings sorted = m_findings;
    std::stable_sort(sorted.begin(), sorted.end(), [](const Finding& a, const Finding& b) {
        return std::pair(a.position.line, a.position.column) <
               std::pair(b.position.line, b.position.column);
    });
    return sorted;
}

Findings lint(const QByteArray& bytes, const QString& folder)
{
    const SourceDocument document(bytes);
    Report report(document);
    if (document.error()) {
        report.add(Finding::eError, document.error()->offset, "malformed",
                   QStringLiteral("this is not well-formed XML: %1").arg(document.error()->text));
        return report.findings();
    }
    if (document.doctype()) {
        report.add(Finding::eWarning, *document.doctype(), "doctype",
                   QStringLiteral("clients refuse a document that declares entities; leave the "
                                  "document type out"));
    }
    checkReferences(document, report);
    checkStructure(*document.root(), report);
    const auto packages = readPackages(bytes, document);
    if (packages.empty()) {
        const bool isEmpty = document.packages().empty();
        report.add(isEmpty ? Finding::eWarning : Finding::eError, document.root()->offset,
                   isEmpty ? "no-packages" : "refused",
                   isEmpty ? QStringLiteral("it has no packages: clients report that there "
                                            "is no update")
                           : QStringLiteral("clients refuse this document: it declares entities, "
                                            "or is too large"));
    }
    for (const PackageSource& package : packages) {
        checkPackage(package, folder, report);
    }
    checkPackages(packages, report);
    return report.findings();
}

} // namespace publisher
