// The preview as an HTML page. Everything from the document is escaped except for the comment,
// which is HTML that the library has built and escaped.

#include "publisher/FindingReport.h"
#include "publisher/PreviewReport.h"

#include <QFile>
#include <QMap>
#include <QRegularExpression>

namespace publisher {

namespace {

QString cell(const QString& text)
{
    return QStringLiteral("<td>%1</td>").arg(text.toHtmlEscaped());
}

QString headerRow(const QStringList& texts)
{
    QString row;
    for (const QString& text : texts) {
        row += QStringLiteral("<th>%1</th>").arg(text.toHtmlEscaped());
    }
    return QStringLiteral("<tr>%1</tr>").arg(row);
}

QString previewSection(const Preview& preview)
{
    if (!preview.message.isEmpty()) {
        return QStringLiteral("<div class=\"answer\">%1</div>")
            .arg(preview.message.toHtmlEscaped());
    }
    QString rows = headerRow(preview.headers);
    for (const PreviewRow& row : preview.rows) {
        QString cells;
        for (const QString& text : row.cells) {
            cells += cell(text);
        }
        rows += QStringLiteral("<tr class=\"%1\">")
                    .arg(row.isHidden ? QStringLiteral("hidden") : QString()) +
                cells + QStringLiteral("</tr><tr><td class=\"comment\" colspan=\"") +
                QString::number(row.cells.size()) + QStringLiteral("\">") + row.comment +
                QStringLiteral("</td></tr>");
    }
    return QStringLiteral("<table>") + rows + QStringLiteral("</table>");
}

QString matrixCell(const Preview& preview)
{
    const QString offer = offerText(preview);
    return offer.isEmpty() ? QStringLiteral("<td class=\"muted\">nothing</td>") : cell(offer);
}

QString matrixSection(const QList<MatrixRow>& matrix)
{
    if (matrix.isEmpty()) {
        return QStringLiteral(
            "<div class=\"muted\">The document has no packages for anybody.</div>");
    }
    QString rows =
        headerRow({QStringLiteral("Product or camera"), QStringLiteral("Stable releases"),
                   QStringLiteral("Beta releases too")});
    for (const MatrixRow& row : matrix) {
        rows += QStringLiteral("<tr>") + cell(row.audience) + matrixCell(row.stable) +
                matrixCell(row.beta) + QStringLiteral("</tr>");
    }
    return QStringLiteral("<table>") + rows + QStringLiteral("</table>");
}

QString findingsSection(const Findings& findings)
{
    if (findings.isEmpty()) {
        return QStringLiteral("<div class=\"muted\">Nothing found.</div>");
    }
    QString rows =
        headerRow({QStringLiteral("Line"), QStringLiteral("Level"), QStringLiteral("What")});
    for (const Finding& finding : findings) {
        const QString level = levelName(finding.level);
        rows += QStringLiteral("<tr><td class=\"number\">%1:%2</td>")
                    .arg(finding.position.line)
                    .arg(finding.position.column) +
                QStringLiteral("<td><span class=\"level %1\">%1</span></td>").arg(level) +
                cell(finding.text) + QStringLiteral("</tr>");
    }
    return QStringLiteral("<table>") + rows + QStringLiteral("</table>");
}

QString audienceText(const Audience& audience)
{
    const auto& host = audience.host;
    QString text = QStringLiteral("%1 %2 on %3, %4")
                       .arg(host.productName, QString::fromStdWString(host.version.toString()),
                            host.platforms.join(QStringLiteral(" and ")),
                            QLocale::languageToString(audience.locale.language()));
    for (const auto& camera : host.cameraVersions) {
        text += QStringLiteral(", camera %1 with %2")
                    .arg(camera.first, QString::fromStdWString(camera.second.toString()));
    }
    return host.includeBeta ? text + QStringLiteral(", beta releases too") : text;
}

} // namespace

QByteArray toHtml(const PreviewReport& report)
{
    QFile file(QStringLiteral(":/publisher/page.html"));
    (void)file.open(QIODevice::ReadOnly);
    const QString text = QString::fromUtf8(file.readAll());
    const QMap<QString, QString> values{
        {QStringLiteral("document"), report.place.toHtmlEscaped()},
        {QStringLiteral("audience"), audienceText(report.audience).toHtmlEscaped()},
        {QStringLiteral("preview"), previewSection(report.preview)},
        {QStringLiteral("matrix"), matrixSection(report.matrix)},
        {QStringLiteral("findings"), findingsSection(report.findings)}};
    // In one pass: a value may contain text that looks like a placeholder.
    const QStringView page(text);
    QString result;
    int end = 0;
    static const QRegularExpression placeholder(QStringLiteral("\\{([a-z]+)\\}"));
    auto matches = placeholder.globalMatch(text);
    while (matches.hasNext()) {
        const auto match = matches.next();
        result += page.mid(end, match.capturedStart() - end).toString();
        result += values.value(match.captured(1));
        end = int(match.capturedEnd());
    }
    return (result + page.mid(end).toString()).toUtf8();
}

} // namespace publisher
