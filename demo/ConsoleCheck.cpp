#include "demo/ConsoleCheck.h"

#include "demo/Console.h"
#include "demo/HostTranslator.h"
#include "demo/VisibleWindow.h"

#include "client/SoftwareUpdateClient.h"
#include "ui/SoftwareUpdateAvailableDialog.h"

#include <QTableWidget>
#include <QUrl>

#include <algorithm>

namespace demo {

namespace {

using zk::SoftwareUpdate::EState;

QString described(EState state)
{
    static const char* const words[] = {"idle",       "checking", "update available",
                                        "up to date", "timeout",  "no update available",
                                        "error"};
    return QStringLiteral("%1 (%2)").arg(int(state)).arg(QLatin1String(words[state]));
}

QStringList cells(const QTableWidget& table, int row)
{
    QStringList result;
    for (int column = 0; column < table.columnCount(); ++column) {
        const QTableWidgetItem* const item =
            row < 0 ? table.horizontalHeaderItem(column) : table.item(row, column);
        result << (item ? item->text() : QString());
    }
    return result;
}

void printTable(const QTableWidget& table)
{
    QList<QStringList> lines;
    for (int row = -1; row < table.rowCount(); ++row) {
        lines << cells(table, row);
    }
    QList<int> widths;
    for (int column = 0; column < table.columnCount(); ++column) {
        int width = 0;
        for (const QStringList& line : qAsConst(lines)) {
            width = std::max(width, int(line.at(column).size()));
        }
        widths << width;
    }
    for (int index = 0; index < lines.size(); ++index) {
        QString text = QStringLiteral("   ");
        for (int column = 0; column < widths.size(); ++column) {
            text +=
                QLatin1Char(' ') + lines.at(index).at(column).leftJustified(widths.at(column) + 1);
        }
        const bool isHidden = index > 0 && table.isRowHidden(index - 1);
        print(isHidden ? text + QStringLiteral("(hidden: foreign language)")
                       : text.trimmed().prepend(QLatin1String("    ")));
    }
}

} // namespace

ConsoleCheck::ConsoleCheck(zk::SoftwareUpdateClient& client)
    : m_client(client)
{
    using Client = zk::SoftwareUpdateClient;
    connect(&client, &Client::stateChanged, this, &ConsoleCheck::followState);
    connect(&client, &Client::messageChanged, this, [](const QString& message) {
        if (!message.isEmpty()) {
            print(QStringLiteral("message: %1").arg(translatedMessage(message)));
        }
    });
    connect(&client, &Client::lastCheckTextChanged, this,
            [](const QString& text) { print(QStringLiteral("last check: %1").arg(text)); });
}

ConsoleCheck::~ConsoleCheck() = default;

void ConsoleCheck::start()
{
    const zk::SoftwareUpdate::SoftwareUpdateSettings settings = m_client.getSettings();
    print(QStringLiteral("product: %1 %2")
              .arg(settings.productName, QString::fromStdWString(settings.version.toString())));
    for (const auto& camera : settings.cameraVersions) {
        print(QStringLiteral("camera: %1 %2")
                  .arg(camera.first, QString::fromStdWString(camera.second.toString())));
    }
    print(QStringLiteral("server: %1").arg(settings.serverUrl));
    m_client.performUpdateCheck(QUrl(settings.serverUrl));
}

void ConsoleCheck::followState(EState oldState, EState newState)
{
    print(QStringLiteral("state: %1 -> %2").arg(described(oldState), described(newState)));
    if (newState != zk::SoftwareUpdate::eChecking) {
        // The state is emitted before the message, and before the dialog is filled.
        QMetaObject::invokeMethod(this, &ConsoleCheck::finish, Qt::QueuedConnection);
    }
}

void ConsoleCheck::finish()
{
    if (const auto* const dialog = visibleWindow<zk::SoftwareUpdateAvailableDialog>()) {
        print(QStringLiteral("candidates:"));
        printTable(*dialog->findChild<QTableWidget*>());
    }
    print(QStringLiteral("final state: %1").arg(described(m_client.state())));
    QCoreApplication::exit(0);
}

} // namespace demo
