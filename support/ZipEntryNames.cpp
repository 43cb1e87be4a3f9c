#include "support/ZipEntryNames.h"

#include "trust/EntryName.h"

#include <QStringView>

#include <algorithm>

namespace zk {

namespace {

bool isControl(QChar c)
{
    return c.unicode() < 0x20 || (c.unicode() >= 0x7f && c.unicode() < 0xa0);
}

QList<QStringView> components(const QString& name)
{
    QStringView path(name);
    if (path.endsWith(QLatin1Char('/'))) {
        path.chop(1);
    }
    return path.split(QLatin1Char('/'));
}

QString folded(QStringView component)
{
    // Character by character, like file systems: full case folding would turn a sharp s into "ss".
    QString result = component.toString().normalized(QString::NormalizationForm_C);
    for (QChar& c : result) {
        c = c.toCaseFolded();
    }
    return result;
}

} // namespace

QString withoutDotPrefix(const QString& name)
{
    return name.startsWith(QLatin1String("./")) ? name.mid(2) : name;
}

QString entryNameComplaint(const QString& name)
{
    const std::string_view complaint = trust::entryNameComplaint(name.toStdString());
    return QString::fromLatin1(complaint.data(), int(complaint.size()));
}

QString displayName(const QString& name)
{
    constexpr int maxShown = 200;
    QString result = name.left(maxShown);
    std::replace_if(result.begin(), result.end(), isControl, QChar(QChar::ReplacementCharacter));
    return name.size() > maxShown ? result + QStringLiteral("...") : result;
}

QString ZipEntryNameSet::add(const QString& name)
{
    const QList<QStringView> parts = components(name);
    int parent = -1;
    for (int i = 0; i < parts.size(); ++i) {
        const bool isLast = i == parts.size() - 1;
        const Kind kind = !isLast                           ? Kind::ImpliedFolder
                          : name.endsWith(QLatin1Char('/')) ? Kind::Folder
                                                            : Kind::File;
        const QPair<int, QString> key(parent, folded(parts.at(i)));
        const auto known = m_nodes.find(key);
        if (known == m_nodes.end()) {
            parent = m_nodes.size();
            m_nodes.insert(key, Node{parent, kind});
            continue;
        }
        if ((kind == Kind::File) != (known->kind == Kind::File)) {
            return QStringLiteral("is a file where another entry needs a folder, or the reverse");
        }
        if (isLast && known->kind != Kind::ImpliedFolder) {
            return QStringLiteral(
                "is in the archive twice, or differs from another entry only in case");
        }
        if (isLast) {
            known->kind = kind;
        }
        parent = known->id;
    }
    return QString();
}

} // namespace zk
