#include "ui/SoftwareUpdateWidget.h"

#include "support/Connect.h"
#include "ui_SoftwareUpdateGui.h"

#include <QGuiApplication>

namespace zk {

SoftwareUpdateWidget::SoftwareUpdateWidget(QWidget* parent)
    : QWidget(parent)
    , m_form(std::make_unique<Ui::SoftwareUpdateGui>())
{
    m_form->setupUi(this);
    m_form->progressBar->hide();
    initForModifiers();
    zk::connect(m_form->updatePushButton, SIGNAL(clicked()), this, SLOT(emitCheckForUpdate()),
                Qt::AutoConnection);
}

SoftwareUpdateWidget::~SoftwareUpdateWidget() = default;

void SoftwareUpdateWidget::setSettings(const SoftwareUpdateWidgetSettings& settings)
{
    m_form->updateCheckBox->setChecked(settings.checkForUpdates);
    m_form->checkForBetaCheckBox->setChecked(settings.includeBeta);
    m_form->updateComboBox->setCurrentIndex(settings.checkInterval);
    m_form->updateServerLineEdit->setText(settings.updateServerUrl);
    // A long address shows its beginning, not its end.
    m_form->updateServerLineEdit->setCursorPosition(0);

    // Null is an unknown version, empty one that is known to have no text.
    m_form->currentVersionLabel->setVisible(!settings.currentVersion.isNull());
    if (!settings.currentVersion.isNull()) {
        m_form->currentVersionNumberLabel->setText(settings.currentVersion);
    }
    setLastCheckText(settings.lastCheck);
}

SoftwareUpdateWidgetSettings SoftwareUpdateWidget::getSettings()
{
    SoftwareUpdateWidgetSettings settings;
    settings.checkForUpdates = m_form->updateCheckBox->isChecked();
    settings.includeBeta = m_form->checkForBetaCheckBox->isChecked();
    settings.checkInterval = m_form->updateComboBox->currentIndex();
    settings.updateServerUrl = m_form->updateServerLineEdit->text();
    settings.currentVersion = m_form->currentVersionNumberLabel->text();
    settings.lastCheck = m_form->lastCheckDateLabel->text();
    return settings;
}

void SoftwareUpdateWidget::setNotificationText(const QString& text)
{
    setMessage(text);
}

void SoftwareUpdateWidget::initForModifiers()
{
    const bool expert = QGuiApplication::keyboardModifiers() != Qt::NoModifier;
    m_form->checkForBetaCheckBox->setVisible(expert);
    m_form->updateServerLabel->setVisible(expert);
    m_form->updateServerLineEdit->setVisible(expert);
}

void SoftwareUpdateWidget::enableProgress()
{
    setBusy(true);
}

void SoftwareUpdateWidget::disbaleProgress()
{
    setBusy(false);
}

void SoftwareUpdateWidget::setMessage(const QString& message)
{
    m_form->updateNotificationLabel->setText(message);
}

void SoftwareUpdateWidget::setLastCheckText(const QString& lastCheckText)
{
    m_form->lastCheckLabel->setVisible(!lastCheckText.isEmpty());
    if (!lastCheckText.isEmpty()) {
        m_form->lastCheckDateLabel->setText(lastCheckText);
    }
}

void SoftwareUpdateWidget::clientStateChanged(SoftwareUpdate::EState /*oldState*/,
                                              SoftwareUpdate::EState newState)
{
    setBusy(newState == SoftwareUpdate::eChecking);
}

void SoftwareUpdateWidget::emitApplySettings()
{
    emit applySettings(getSettings());
}

void SoftwareUpdateWidget::emitCheckForUpdate()
{
    emit checkForUpdate(QUrl(m_form->updateServerLineEdit->text(), QUrl::TolerantMode));
}

void SoftwareUpdateWidget::setBusy(bool busy)
{
    m_form->progressBar->setVisible(busy);
    m_form->progressBar->setEnabled(busy);
    m_form->updatePushButton->setEnabled(!busy);
}

} // namespace zk
