#include "support/ZipEntryNames.h"

#include "support/DeviceNames.h"

#include <QStringView>

#include <algorithm>

namespace zk {

namespace {

constexpr int MaxNameLength = 1024;
constexpr int MaxDepth = 100;

bool isControl(QChar c)
{
    return c.unicode() < 0x20 || (c.unicode() >= 0x7f && c.unicode() < 0xa0);
}

QString characterComplaint(const QString& name)
{
    for (const QChar c : name) {
        if (isControl(c)) {
            return QStringLiteral("has a control character in its name");
        }
        if (c == QLatin1Char('\\')) {
            return QStringLiteral("has a backslash in its name");
        }
        if (c == QLatin1Char(':')) {
            return QStringLiteral("names a drive or a stream");
        }
        if (QLatin1String("<>\"|?*").contains(c)) {
            return QStringLiteral("has a character in its name that is not allowed in file names");
        }
    }
    return QString();
}

QString componentComplaint(QStringView component)
{
    if (component.isEmpty()) {
        return QStringLiteral("has an empty folder name in its path");
    }
    if (component == QLatin1String("..")) {
        return QStringLiteral("leads out of the folder");
    }
    if (component.endsWith(QLatin1Char('.')) || component.endsWith(QLatin1Char(' '))) {
        return QStringLiteral("has a name that ends with a dot or a blank");
    }
    if (isDeviceName(component.toString())) {
        return QStringLiteral("has the name of a device");
    }
    return QString();
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
    if (name.isEmpty()) {
        return QStringLiteral("has no name");
    }
    if (name.size() > MaxNameLength) {
        return QStringLiteral("has a name that is too long");
    }
    if (name.startsWith(QLatin1Char('/'))) {
        return QStringLiteral("has an absolute path");
    }
    QString complaint = characterComplaint(name);
    if (!complaint.isEmpty()) {
        return complaint;
    }
    const QList<QStringView> parts = components(name);
    if (parts.size() > MaxDepth) {
        return QStringLiteral("is nested too deeply");
    }
    for (const QStringView part : parts) {
        QString partComplaint = componentComplaint(part);
        if (!partComplaint.isEmpty()) {
            return partComplaint;
        }
    }
    return QString();
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
