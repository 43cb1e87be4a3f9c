#include "ui/SoftwareUpdateWidget.h"

#include "support/Connect.h"
#include "ui_SoftwareUpdateGui.h"

#include <QGuiApplication>
#include <QVariant>

namespace zk {

namespace {

/** The property of the combo box with the stored interval, if it has no item for that. */
constexpr char s_unknownInterval[] = "unknownInterval";

void showInterval(QComboBox& box, int interval)
{
    const bool isKnown =
        interval >= SoftwareUpdate::eAtStart && interval <= SoftwareUpdate::eMonthly;
    box.setCurrentIndex(isKnown ? interval : int(SoftwareUpdate::eAtStart));
    // After the index, which clears the property.
    box.setProperty(s_unknownInterval, isKnown ? QVariant() : QVariant(interval));
}

int shownInterval(const QComboBox& box)
{
    const QVariant unknown = box.property(s_unknownInterval);
    return unknown.isValid() ? unknown.toInt() : box.currentIndex();
}

void showBusy(const Ui::SoftwareUpdateGui& form, bool isBusy)
{
    form.progressBar->setVisible(isBusy);
    form.progressBar->setEnabled(isBusy);
    form.updatePushButton->setEnabled(!isBusy);
}

} // namespace

SoftwareUpdateWidget::SoftwareUpdateWidget(QWidget* parent)
    : QWidget(parent)
    , m_form(std::make_unique<Ui::SoftwareUpdateGui>())
{
    m_form->setupUi(this);
    m_form->progressBar->hide();
    initForModifiers();
    zk::connect(m_form->updatePushButton, SIGNAL(clicked()), this, SLOT(emitCheckForUpdate()),
                Qt::AutoConnection);
    const auto forgetUnknownInterval = [this] {
        m_form->updateComboBox->setProperty(s_unknownInterval, QVariant());
    };
    connect(m_form->updateComboBox, qOverload<int>(&QComboBox::currentIndexChanged), this,
            forgetUnknownInterval);
    // Also when the user chooses the item that is shown already.
    connect(m_form->updateComboBox, qOverload<int>(&QComboBox::activated), this,
            forgetUnknownInterval);
}

SoftwareUpdateWidget::~SoftwareUpdateWidget() = default;

void SoftwareUpdateWidget::setSettings(const SoftwareUpdateWidgetSettings& settings)
{
    m_form->updateCheckBox->setChecked(settings.checkForUpdates);
    m_form->checkForBetaCheckBox->setChecked(settings.includeBeta);
    showInterval(*m_form->updateComboBox, settings.checkInterval);
    m_form->updateServerLineEdit->setText(settings.updateServerUrl);
    // Show the beginning of a long address, not its end.
    m_form->updateServerLineEdit->setCursorPosition(0);

    // A null text is an unknown version, an empty one a version without text.
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
    settings.checkInterval = shownInterval(*m_form->updateComboBox);
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
    showBusy(*m_form, true);
}

void SoftwareUpdateWidget::disbaleProgress()
{
    showBusy(*m_form, false);
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
    showBusy(*m_form, newState == SoftwareUpdate::eChecking);
}

void SoftwareUpdateWidget::emitApplySettings()
{
    emit applySettings(getSettings());
}

void SoftwareUpdateWidget::emitCheckForUpdate()
{
    // Pasted addresses often have a blank or a line break at their end.
    emit checkForUpdate(QUrl(m_form->updateServerLineEdit->text().trimmed(), QUrl::TolerantMode));
}

} // namespace zk
