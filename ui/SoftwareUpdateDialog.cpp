#include "ui/SoftwareUpdateDialog.h"

#include "support/Connect.h"
#include "ui/SoftwareUpdateWidget.h"
#include "ui_SoftwareUpdateDialogGui.h"

namespace zk {

SoftwareUpdateDialog::SoftwareUpdateDialog(QWidget* parent, Qt::WindowFlags flags)
    : QDialog(parent, flags)
    , m_updateWidget(new SoftwareUpdateWidget(this))
    , m_form(std::make_unique<Ui::SoftwareUpdateDialogGui>())
{
    m_form->setupUi(this);
    m_form->guiPlaceholder->layout()->addWidget(m_updateWidget);
    layout()->setSizeConstraint(QLayout::SetFixedSize);
    zk::connect(m_form->buttonBox, SIGNAL(clicked(QAbstractButton*)), this,
                SLOT(standardButtonClicked(QAbstractButton*)), Qt::AutoConnection);
}

SoftwareUpdateDialog::~SoftwareUpdateDialog() = default;

SoftwareUpdateWidget* SoftwareUpdateDialog::updateWidget() const
{
    return m_updateWidget;
}

void SoftwareUpdateDialog::standardButtonClicked(QAbstractButton* button)
{
    // The button box emits clicked() before accepted(), so the settings are emitted while the
    // dialog is open.
    const QDialogButtonBox::ButtonRole role = m_form->buttonBox->buttonRole(button);
    if (role == QDialogButtonBox::AcceptRole || role == QDialogButtonBox::ApplyRole) {
        m_updateWidget->emitApplySettings();
    }
}

} // namespace zk
