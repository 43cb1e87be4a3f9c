// Names, places, repetitions and references.

#include "publisher/LintRules.h"

#include "catalogue/Vocabulary.h"

#include <QRegularExpression>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace publisher {

namespace {

using namespace zk;

/** The names of the keys of @p kinds, in the order of the vocabulary. */
QStringList namesOf(std::initializer_list<Vocabulary::Kind> kinds)
{
    QStringList names;
    for (const Vocabulary::KeyEntry& entry : Vocabulary::keys) {
        if (std::find(kinds.begin(), kinds.end(), entry.kind) != kinds.end()) {
            names << QString::fromLatin1(entry.name);
        }
    }
    return names;
}

const QStringList& valueNames()
{
    using Vocabulary::Kind;
    static const QStringList names = namesOf({Kind::Text, Kind::Words, Kind::Links});
    return names;
}

/** The edit distance of two names. */
int distance(const QString& a, const QString& b)
{
    std::vector<int> row(std::size_t(b.size()) + 1);
    for (std::size_t j = 0; j < row.size(); ++j) {
        row[j] = int(j);
    }
    for (int i = 1; i <= a.size(); ++i) {
        int diagonal = std::exchange(row[0], i);
        for (int j = 1; j <= b.size(); ++j) {
            const int change = diagonal + (a.at(i - 1) == b.at(j - 1) ? 0 : 1);
            diagonal = row[std::size_t(j)];
            row[std::size_t(j)] = std::min({change, diagonal + 1, row[std::size_t(j) - 1] + 1});
        }
    }
    return row.back();
}

/** " - did you mean ...?", or nothing if no known name is similar. */
QString suggestion(const QString& name, const QStringList& known)
{
    QString best;
    int least = qMax(2, name.size() / 3) + 1;
    for (const QString& candidate : known) {
        const int changes = distance(name.toLower(), candidate);
        if (changes < least) {
            least = changes;
            best = candidate;
        }
    }
    return best.isEmpty() ? QString() : QStringLiteral("; did you mean \"%1\"?").arg(best);
}

enum class Place { eSet, ePackage, eFile, eLink, eValue };

bool isLink(const QString& name)
{
    return name == QLatin1String(Vocabulary::releaseNotes) ||
           name == QLatin1String(Vocabulary::readme);
}

Place placeOf(const SourceElement& element)
{
    if (!element.parent || element.name == QLatin1String(Vocabulary::packageSet)) {
        return Place::eSet;
    }
    if (element.name == QLatin1String(Vocabulary::package)) {
        return Place::ePackage;
    }
    if (element.name == QLatin1String(Vocabulary::file)) {
        return Place::eFile;
    }
    return isLink(element.name) ? Place::eLink : Place::eValue;
}

/** The names allowed in such an element, values included. */
QStringList namesIn(Place place)
{
    switch (place) {
    case Place::eSet:
        return valueNames() + QStringList{QLatin1String(Vocabulary::package),
                                          QLatin1String(Vocabulary::packageSet)};
    case Place::ePackage:
        return valueNames() + QStringList{QLatin1String(Vocabulary::file)};
    case Place::eFile:
        return valueNames();
    case Place::eLink:
        return {QLatin1String(Vocabulary::url), QLatin1String(Vocabulary::language),
                QLatin1String(Vocabulary::file)};
    case Place::eValue:
        break;
    }
    return {};
}

// Schemas and namespaces are declared in attributes that clients ignore.
bool isOfXml(const QString& name)
{
    return name.startsWith(QLatin1String("xmlns")) || name.startsWith(QLatin1String("xsi:")) ||
           name.startsWith(QLatin1String("xml:"));
}

void checkName(const QString& name, int offset, const SourceElement& parent, const char* kind,
               Report& report)
{
    const QStringList known = namesIn(placeOf(parent));
    if (known.contains(name)) {
        return;
    }
    const bool isMisplaced =
        valueNames().contains(name) || name == QLatin1String(Vocabulary::package) ||
        name == QLatin1String(Vocabulary::packageSet) || name == QLatin1String(Vocabulary::file);
    if (isMisplaced) {
        report.add(Finding::eError, offset, "misplaced",
                   QStringLiteral("clients do not look for %1 \"%2\" in \"%3\"")
                       .arg(QLatin1String(kind), name, parent.name));
        return;
    }
    report.add(Finding::eError, offset, "unknown-name",
               QStringLiteral("clients do not know the %1 \"%2\"%3")
                   .arg(QLatin1String(kind), name, suggestion(name, known)));
}

void checkRepetitions(const SourceElement& element, Report& report)
{
    // Lists and links add up.
    static const QStringList manifold =
        namesOf({Vocabulary::Kind::Words, Vocabulary::Kind::Links}) +
        QStringList{QLatin1String(Vocabulary::package), QLatin1String(Vocabulary::packageSet)};
    const bool isLinkElement = placeOf(element) == Place::eLink;
    QSet<QString> seen;
    for (const SourceElement* child : element.children) {
        if (manifold.contains(child->name) && !isLinkElement) {
            continue;
        }
        if (seen.contains(child->name)) {
            report.add(Finding::eWarning, child->offset, "repeated",
                       QStringLiteral("only the first \"%1\" here counts").arg(child->name));
        }
        seen.insert(child->name);
        if (const SourceAttribute* const attribute = element.attribute(child->name)) {
            report.add(Finding::eWarning, attribute->offset, "repeated",
                       QStringLiteral("the element \"%1\" counts, and not this attribute")
                           .arg(child->name));
        }
    }
}

void checkElement(const SourceElement& element, Report& report)
{
    const Place place = placeOf(element);
    for (const SourceAttribute& attribute : element.attributes) {
        if (!isOfXml(attribute.name)) {
            checkName(attribute.name, attribute.offset, element, "attribute", report);
        }
    }
    const bool hasText = !element.text.trimmed().isEmpty();
    if (hasText && place == Place::eLink) {
        report.add(
            Finding::eError, element.textOffset, "stray-text",
            QStringLiteral("the address of \"%1\" belongs in its \"url\"").arg(element.name));
    } else if (hasText && place != Place::eValue) {
        report.add(Finding::eWarning, element.textOffset, "stray-text",
                   QStringLiteral("clients ignore text directly in \"%1\"").arg(element.name));
    }
    for (const SourceElement* child : element.children) {
        checkName(child->name, child->offset, element, "element", report);
    }
    checkRepetitions(element, report);
}

void checkTree(const SourceElement& element, Report& report)
{
    checkElement(element, report);
    const QStringList known = namesIn(placeOf(element));
    for (const SourceElement* child : element.children) {
        // Do not check the contents of ignored elements.
        if (known.contains(child->name)) {
            checkTree(*child, report);
        }
    }
}

} // namespace

void checkReferences(const SourceDocument& document, Report& report)
{
    static const QRegularExpression pattern(
        QStringLiteral("<!--.*?-->|<!\\[CDATA\\[.*?\\]\\]>|<\\?.*?\\?>|&#(x?)([0-9a-fA-F]+);"),
        QRegularExpression::DotMatchesEverythingOption);
    auto found = pattern.globalMatch(document.text());
    while (found.hasNext()) {
        const QRegularExpressionMatch match = found.next();
        const uint code = match.captured(2).toUInt(nullptr, match.captured(1).isEmpty() ? 10 : 16);
        if (code > 0xFFFF) {
            report.add(Finding::eWarning, match.capturedStart(), "reference",
                       QStringLiteral("clients read another character for %1; write the character "
                                      "itself")
                           .arg(match.captured()));
        }
    }
}

void checkStructure(const SourceElement& root, Report& report)
{
    if (root.name != QLatin1String(Vocabulary::documentTag)) {
        report.add(Finding::eNote, root.offset, "root-name",
                   QStringLiteral("the root is called \"%1\"; clients take it, but its name is "
                                  "\"%2\" by convention")
                       .arg(root.name, QLatin1String(Vocabulary::documentTag)));
    }
    checkTree(root, report);
}

} // namespace publisher
