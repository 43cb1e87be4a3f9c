#pragma once

#include "support/Export.h"

#include <QDialog>

#include <memory>

class QAbstractButton;

namespace Ui {
class SoftwareUpdateDialogGui;
}

namespace zk {

class SoftwareUpdateWidget;

/**
 * A dialog with a SoftwareUpdateWidget, OK and Cancel; its size follows its contents.
 *
 * OK makes the panel emit applySettings() and then accepts, Cancel rejects. GUI thread only.
 */
class SOFTWAREUPDATE_EXPORT SoftwareUpdateDialog : public QDialog
{
    Q_OBJECT

public:
    /** Owned by @p parent, if there is one. */
    SoftwareUpdateDialog(QWidget* parent, Qt::WindowFlags flags);
    ~SoftwareUpdateDialog() override;

    /** The panel, for the caller to connect and fill; owned by the dialog, never null. */
    SoftwareUpdateWidget* updateWidget() const;

private slots:
    void standardButtonClicked(QAbstractButton* button);

private:
    SoftwareUpdateWidget* const m_updateWidget;
    const std::unique_ptr<Ui::SoftwareUpdateDialogGui> m_form;
};

} // namespace zk
