#include "demo/PreferencesDialog.h"

#include "demo/HostTranslator.h"

#include "client/SoftwareUpdateClient.h"
#include "ui/SoftwareUpdateWidget.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QListWidget>
#include <QLocale>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace demo {

PreferencesDialog::PreferencesDialog(zk::SoftwareUpdateClient& client, QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                          Qt::WindowCloseButtonHint)
    , m_client(client)
    , m_pages(new QListWidget)
    , m_logCheckBox(new QCheckBox(tr("Show the log")))
    , m_shadeCheckBox(new QCheckBox(tr("Shade every other row")))
    , m_updates(new zk::SoftwareUpdateWidget(nullptr))
{
    setWindowTitle(tr("Preferences"));
    auto* const stack = new QStackedWidget;
    stack->addWidget(createGeneralPage());
    stack->addWidget(m_updates);
    m_pages->addItems({tr("General"), tr("Updates")});
    m_pages->setFixedWidth(m_pages->sizeHintForColumn(0) + 40);
    connect(m_pages, &QListWidget::currentRowChanged, stack, &QStackedWidget::setCurrentIndex);
    m_pages->setCurrentRow(0);

    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        emit m_updates->applySettings(m_updates->getSettings());
        accept();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* const columns = new QHBoxLayout;
    columns->addWidget(m_pages);
    columns->addWidget(stack, 1);
    auto* const layout = new QVBoxLayout(this);
    layout->addLayout(columns, 1);
    layout->addWidget(buttons);
    fillUpdates();
    connectUpdates();
    resize(560, 420);
}

PreferencesDialog::~PreferencesDialog() = default;

QWidget* PreferencesDialog::createGeneralPage()
{
    auto* const page = new QWidget;
    auto* const layout = new QVBoxLayout(page);
    layout->addWidget(m_logCheckBox);
    layout->addWidget(m_shadeCheckBox);
    layout->addStretch(1);
    return page;
}

void PreferencesDialog::connectUpdates()
{
    using Client = zk::SoftwareUpdateClient;
    using Panel = zk::SoftwareUpdateWidget;
    connect(m_updates, &Panel::checkForUpdate, &m_client, &Client::performUpdateCheck);
    connect(m_updates, &Panel::applySettings, &m_client, &Client::applyDialogSettings);
    connect(&m_client, &Client::stateChanged, m_updates, &Panel::clientStateChanged);
    connect(&m_client, &Client::messageChanged, m_updates,
            [this](const QString& message) { m_updates->setMessage(translatedMessage(message)); });
    connect(&m_client, &Client::lastCheckTextChanged, m_updates, &Panel::setLastCheckText);
}

void PreferencesDialog::fillUpdates()
{
    const zk::SoftwareUpdate::SoftwareUpdateSettings stored = m_client.getSettings();
    zk::SoftwareUpdateWidgetSettings shown;
    shown.checkForUpdates = stored.automaticCheck;
    shown.includeBeta = stored.includeBeta;
    shown.checkInterval = stored.checkInterval;
    shown.updateServerUrl = stored.serverUrl;
    shown.currentVersion = QString::fromStdWString(stored.version.toShortVersion());
    shown.lastCheck = QLocale::system().toString(stored.lastCheck, QLocale::LongFormat);
    m_updates->setSettings(shown);
    m_updates->clientStateChanged(m_client.state(), m_client.state());
}

void PreferencesDialog::showUpdatesPage()
{
    m_pages->setCurrentRow(1);
}

void PreferencesDialog::setLogShown(bool isShown)
{
    m_logCheckBox->setChecked(isShown);
}

bool PreferencesDialog::isLogShown() const
{
    return m_logCheckBox->isChecked();
}

void PreferencesDialog::setRowsShaded(bool areShaded)
{
    m_shadeCheckBox->setChecked(areShaded);
}

bool PreferencesDialog::areRowsShaded() const
{
    return m_shadeCheckBox->isChecked();
}

} // namespace demo
