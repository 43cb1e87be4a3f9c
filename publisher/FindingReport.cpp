#include "publisher/FindingReport.h"

#include "publisher/Commands.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace publisher {

namespace {

Console::Colour colourOf(Finding::Level level)
{
    return level == Finding::eError     ? Console::eRed
           : level == Finding::eWarning ? Console::eYellow
                                        : Console::eBlue;
}

int count(const Findings& findings, Finding::Level level)
{
    return int(std::count_if(findings.cbegin(), findings.cend(),
                             [level](const Finding& one) { return one.level == level; }));
}

} // namespace

QString levelName(Finding::Level level)
{
    return level == Finding::eError     ? QStringLiteral("error")
           : level == Finding::eWarning ? QStringLiteral("warning")
                                        : QStringLiteral("note");
}

void printFindings(const Findings& findings, const QString& place, Console& console)
{
    for (const Finding& finding : findings) {
        console.print(QStringLiteral("%1:%2:%3: ")
                          .arg(place)
                          .arg(finding.position.line)
                          .arg(finding.position.column) +
                      console.coloured(levelName(finding.level), colourOf(finding.level)) +
                      QStringLiteral(": ") + finding.text);
    }
    if (findings.isEmpty()) {
        console.print(place + QStringLiteral(": ") +
                      console.coloured(QStringLiteral("nothing found"), Console::eGreen));
        return;
    }
    console.print(QStringLiteral("%1: errors: %2, warnings: %3, notes: %4")
                      .arg(place)
                      .arg(count(findings, Finding::eError))
                      .arg(count(findings, Finding::eWarning))
                      .arg(count(findings, Finding::eNote)));
}

QByteArray toJson(const Findings& findings, const QString& place)
{
    QJsonArray list;
    for (const Finding& finding : findings) {
        list.append(QJsonObject{{QStringLiteral("file"), place},
                                {QStringLiteral("line"), finding.position.line},
                                {QStringLiteral("column"), finding.position.column},
                                {QStringLiteral("level"), levelName(finding.level)},
                                {QStringLiteral("rule"), finding.rule},
                                {QStringLiteral("text"), finding.text}});
    }
    return QJsonDocument(list).toJson().trimmed();
}

int exitCode(const Findings& findings)
{
    return count(findings, Finding::eError) > 0     ? eHasErrors
           : count(findings, Finding::eWarning) > 0 ? eHasWarnings
                                                    : eFine;
}

} // namespace publisher
