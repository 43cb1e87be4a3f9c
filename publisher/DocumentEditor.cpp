#include "publisher/DocumentEditor.h"

#include "publisher/PackageSource.h"

#include "catalogue/Vocabulary.h"
#include "support/QtCompatibility.h"
#include "support/StringUtils.h"

#include <algorithm>
#include <iterator>

namespace publisher {

namespace {

using namespace zk;

/** Matches a set, with the values it inherits, against a release. */
class Place
{
public:
    Place(const SourceElement& set, const NewRelease& release)
        : m_set(set)
    {
        for (const NewValue& value : release.values) {
            const auto found = inherited(value.key);
            if (found && found->text == value.text) {
                ++m_score;
            } else {
                m_score -= found ? 1 : 0;
                m_missing << value;
            }
        }
        takeList(Vocabulary::platform, release.platforms);
        takeList(Vocabulary::language, release.languages);
        checkRest(release);
    }

    [[nodiscard]] const SourceElement& set() const { return m_set; }
    /**
     * Whether the set has no value that is wrong for the release and cannot be overridden in it.
     */
    [[nodiscard]] bool isPossible() const { return m_isPossible; }
    /** Higher is better. */
    [[nodiscard]] int score() const { return m_score; }
    /** The values that the set does not provide. */
    [[nodiscard]] const QList<NewValue>& missing() const { return m_missing; }
    /** Those of the links whose key the set does not provide. */
    [[nodiscard]] QList<NewLink> missingLinks(const QList<NewLink>& links) const
    {
        QList<NewLink> left;
        std::copy_if(links.cbegin(), links.cend(), std::back_inserter(left),
                     [this](const NewLink& link) { return !inherited(link.key); });
        return left;
    }

private:
    const SourceElement& m_set;
    QList<NewValue> m_missing;
    int m_score = 0;
    bool m_isPossible = true;

    [[nodiscard]] std::optional<SourceValue> inherited(const char* key) const
    {
        for (const SourceElement* level = &m_set; level; level = level->parent) {
            if (auto found = valueAt(*level, key)) {
                return found;
            }
        }
        return std::nullopt;
    }

    [[nodiscard]] QStringList allWords(const char* key) const
    {
        QStringList words;
        const QString name = QLatin1String(key);
        for (const SourceElement* level = &m_set; level; level = level->parent) {
            const SourceAttribute* const attribute = level->attribute(name);
            QString text = attribute ? attribute->value : QString();
            for (const SourceElement* child : level->children) {
                text += child->name == name ? QLatin1Char(' ') + child->text : QString();
            }
            words += QtCompatibility::split(text, StringUtils::splitWords, Qt::SkipEmptyParts);
        }
        return words;
    }

    // Inherited list values add up and cannot be overridden.
    void takeList(const char* key, const QStringList& wanted)
    {
        QStringList left = wanted;
        const QStringList given = allWords(key);
        for (const QString& word : given) {
            m_isPossible = m_isPossible && wanted.contains(word);
            m_score += left.removeAll(word);
        }
        if (!left.isEmpty()) {
            m_missing << NewValue{key, left.join(QLatin1Char(' '))};
        }
    }

    // Links, a comment and a public release apply only to the release that they were written for.
    void checkRest(const NewRelease& release)
    {
        const auto isNamed = [&release](const char* key) {
            return std::any_of(
                release.values.cbegin(), release.values.cend(),
                [key](const NewValue& value) { return qstrcmp(value.key, key) == 0; });
        };
        const auto isLeft = [this](const char* key) {
            return std::any_of(m_missing.cbegin(), m_missing.cend(), [key](const NewValue& value) {
                return qstrcmp(value.key, key) == 0;
            });
        };
        if (isLeft(Vocabulary::releaseVersion)) {
            for (const char* const key : {Vocabulary::comment, Vocabulary::releaseVersionPublic}) {
                m_isPossible = m_isPossible && (isNamed(key) || !inherited(key));
            }
            for (const char* const key : {Vocabulary::releaseNotes, Vocabulary::readme}) {
                m_isPossible = m_isPossible && !inherited(key);
            }
        }
        m_isPossible =
            m_isPossible && (!isLeft(Vocabulary::name) || isNamed(Vocabulary::namePublic) ||
                             !inherited(Vocabulary::namePublic));
    }
};

QString attribute(const char* key, const QString& text)
{
    QString escaped = text.toHtmlEscaped();
    escaped.replace(QLatin1Char('\n'), QStringLiteral("&#10;"));
    return QStringLiteral(" %1=\"").arg(QLatin1String(key)) + escaped + QLatin1Char('"');
}

QString attributes(const QList<NewValue>& values)
{
    QString text;
    for (const NewValue& value : values) {
        text += attribute(value.key, value.text);
    }
    return text;
}

QStringList linkLines(const QList<NewLink>& links)
{
    QStringList lines;
    for (const NewLink& link : links) {
        lines << QStringLiteral("<%1").arg(QLatin1String(link.key)) +
                     attribute(Vocabulary::language, link.language) +
                     attribute(Vocabulary::url, link.url) + QStringLiteral("/>");
    }
    return lines;
}

/** An element with this name around the given lines, which it indents. */
QStringList element(const char* name, const QString& text, const QStringList& inner)
{
    QStringList lines{QLatin1Char('<') + QLatin1String(name) + text + QLatin1Char('>')};
    for (const QString& line : inner) {
        lines << QStringLiteral("  ") + line;
    }
    return lines << QStringLiteral("</") + QLatin1String(name) + QLatin1Char('>');
}

QStringList packageLines(const NewFile& file, const QString& shared, const QStringList& links)
{
    const bool isMidnight = file.date.time() == QTime(0, 0);
    const QString date = file.date.toString(isMidnight ? QStringLiteral("yyyy-MM-dd")
                                                       : QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    const QString line = QStringLiteral("<%1").arg(QLatin1String(Vocabulary::file)) +
                         attribute(Vocabulary::url, file.url) +
                         attribute(Vocabulary::fileSize, QString::number(file.size)) +
                         QStringLiteral("/>");
    return element(Vocabulary::package, shared + attribute(Vocabulary::releaseDate, date),
                   QStringList{line} + links);
}

/** Shared values are written once: on a set if there are several files. */
QStringList releaseLines(const NewRelease& release, const QList<NewValue>& missing)
{
    const QStringList links = linkLines(release.links);
    if (release.files.size() == 1) {
        return packageLines(release.files.first(), attributes(missing), links);
    }
    QStringList inner = links;
    for (const NewFile& file : release.files) {
        inner += packageLines(file, QString(), {});
    }
    return element(Vocabulary::packageSet, attributes(missing), inner);
}

/** The indentation of the line at @p offset. */
QString indentation(const QString& text, int offset)
{
    const int start = text.lastIndexOf(QLatin1Char('\n'), qMax(0, offset - 1)) + 1;
    int end = start;
    while (end < offset &&
           (text.at(end) == QLatin1Char(' ') || text.at(end) == QLatin1Char('\t'))) {
        ++end;
    }
    return text.mid(start, end - start);
}

} // namespace

QString withRelease(const SourceDocument& document, const NewRelease& release)
{
    std::optional<Place> best;
    const auto consider = [&](const auto& self, const SourceElement& set) -> void {
        const Place place(set, release);
        if (place.isPossible() && (!best || place.score() > best->score())) {
            best.emplace(place);
        }
        for (const SourceElement* child : set.children) {
            if (child->name == QLatin1String(Vocabulary::packageSet)) {
                self(self, *child);
            }
        }
    };
    consider(consider, *document.root());
    if (!best) {
        return QString();
    }
    const SourceElement& set = best->set();
    QString text = document.text();
    const QString lineEnd =
        text.contains(QLatin1String("\r\n")) ? QStringLiteral("\r\n") : QStringLiteral("\n");
    const QString outer = indentation(text, set.offset);
    QString inserted;
    NewRelease rest = release;
    rest.links = best->missingLinks(release.links);
    const QStringList lines = releaseLines(rest, best->missing());
    for (const QString& line : lines) {
        inserted += outer + QStringLiteral("  ") + line + lineEnd;
    }
    if (set.isEmptyTag) {
        const int slash = text.lastIndexOf(QLatin1Char('/'), set.endOffset - 1);
        return text.replace(slash, set.endOffset - slash,
                            QLatin1Char('>') + lineEnd + inserted + outer + QStringLiteral("</") +
                                set.name + QLatin1Char('>'));
    }
    // Before the line of the closing tag, or on separate lines if the tag shares its line.
    const int blanks = indentation(text, set.endOffset).size();
    const int lineStart = text.lastIndexOf(QLatin1Char('\n'), qMax(0, set.endOffset - 1)) + 1;
    const bool isAlone = lineStart + blanks == set.endOffset;
    return isAlone ? text.insert(lineStart, inserted)
                   : text.insert(set.endOffset, lineEnd + inserted + outer);
}

} // namespace publisher
