#include "publisher/PreviewReport.h"

#include "publisher/Console.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QRegularExpression>

namespace publisher {

namespace {

QString stateName(zk::SoftwareUpdate::EState state)
{
    using namespace zk::SoftwareUpdate;
    return state == eUpdateAvailable ? QStringLiteral("update available")
           : state == eUpToDate      ? QStringLiteral("up to date")
                                     : QStringLiteral("no update available");
}

/**
 * The lines of the comment, which consists of line breaks, bold text and links; everything else is
 * escaped.
 */
QStringList plainLines(QString html)
{
    static const QRegularExpression tags(QStringLiteral("<[^>]*>"));
    html.replace(QStringLiteral("<br />"), QStringLiteral("\n")).remove(tags);
    html.replace(QStringLiteral("&lt;"), QStringLiteral("<"))
        .replace(QStringLiteral("&gt;"), QStringLiteral(">"))
        .replace(QStringLiteral("&quot;"), QStringLiteral("\""))
        .replace(QStringLiteral("&amp;"), QStringLiteral("&"));
    return html.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QList<int> columnWidths(const Preview& preview)
{
    QList<int> widths;
    for (const QString& header : preview.headers) {
        widths << header.size();
    }
    for (const PreviewRow& row : preview.rows) {
        for (int i = 0; i < widths.size(); ++i) {
            widths[i] = qMax(widths.at(i), row.cells.value(i).size());
        }
    }
    return widths;
}

QString aligned(const QStringList& cells, const QList<int>& widths)
{
    QString line;
    for (int i = 0; i < cells.size(); ++i) {
        line += cells.at(i).leftJustified(widths.at(i) + 2);
    }
    return line.trimmed();
}

} // namespace

QString offerText(const Preview& preview)
{
    QMap<QString, QStringList> formats;
    for (const PreviewRow& row : preview.rows) {
        QStringList& list = formats[row.package.release];
        const QString format =
            row.isHidden ? row.package.suffix + QStringLiteral(" hidden") : row.package.suffix;
        if (!list.contains(format)) {
            list << format;
        }
    }
    QStringList texts;
    for (auto it = formats.cbegin(); it != formats.cend(); ++it) {
        texts << QStringLiteral("%1 (%2)").arg(it.key(), it.value().join(QStringLiteral(", ")));
    }
    return texts.join(QStringLiteral("; "));
}

void printPreview(const PreviewReport& report, const Console& console)
{
    const Preview& preview = report.preview;
    console.print(QStringLiteral("State %1: %2").arg(preview.state).arg(stateName(preview.state)));
    if (!preview.message.isEmpty()) {
        console.print(QStringLiteral("Message: ") + preview.message);
        return;
    }
    const QList<int> widths = columnWidths(preview);
    console.print(QStringLiteral("\n  ") + aligned(preview.headers, widths));
    for (const PreviewRow& row : preview.rows) {
        const QString mark =
            row.isHidden ? QStringLiteral("  (hidden until all languages are shown)") : QString();
        console.print(QStringLiteral("  ") + aligned(row.cells, widths) + mark);
    }
    for (const PreviewRow& row : preview.rows) {
        console.print(QString());
        const QStringList lines = plainLines(row.comment);
        for (const QString& line : lines) {
            console.print(QStringLiteral("  ") + line);
        }
    }
}

QByteArray toJson(const PreviewReport& report)
{
    QJsonArray rows;
    for (const PreviewRow& row : report.preview.rows) {
        rows.append(QJsonObject{{QStringLiteral("cells"), QJsonArray::fromStringList(row.cells)},
                                {QStringLiteral("hidden"), row.isHidden},
                                {QStringLiteral("comment"), row.comment},
                                {QStringLiteral("release"), row.package.release},
                                {QStringLiteral("url"), row.package.url.toString()}});
    }
    const QJsonObject object{
        {QStringLiteral("state"), report.preview.state},
        {QStringLiteral("stateName"), stateName(report.preview.state)},
        {QStringLiteral("message"), report.preview.message},
        {QStringLiteral("headers"), QJsonArray::fromStringList(report.preview.headers)},
        {QStringLiteral("rows"), rows}};
    return QJsonDocument(object).toJson().trimmed();
}

} // namespace publisher
