#include "client/UpdateWindows.h"

#include "client/SoftwareUpdateClient.h"

#include "support/DialogFlags.h"
#include "support/DisplayText.h"
#include "ui/MessageBox.h"
#include "ui/SoftwareUpdateAvailableDialog.h"
#include "ui/SoftwareUpdateDialog.h"
#include "ui/TransferDialog.h"

namespace zk {

namespace {

// The texts are the client's, in whose name they are looked up.
QString tr(const char* text)
{
    return SoftwareUpdateClient::tr(text);
}

/** Hides @p dialog and deletes it from the event loop, after forgetting it. */
template <typename Dialog>
void release(QPointer<Dialog>& dialog)
{
    QDialog* const released = dialog;
    dialog.clear();
    if (released) {
        released->hide();
        released->deleteLater();
    }
}

/** Asks with @p box, whose buttons are added; true if @p accept was pressed. */
bool ask(QMessageBox* box, const QString& reject, const QString& accept)
{
    box->addButton(reject, QMessageBox::RejectRole);
    box->addButton(accept, QMessageBox::AcceptRole);
    return execMessageBox(box) == 1;
}

} // namespace

UpdateWindows::UpdateWindows(QWidget* parent)
    : m_parent(parent)
    , m_flags(dialogFlags(true))
{
}

SoftwareUpdateDialog* UpdateWindows::settings() const
{
    return m_settings;
}

SoftwareUpdateAvailableDialog* UpdateWindows::list() const
{
    return m_list;
}

SoftwareUpdateWidget* UpdateWindows::panel() const
{
    return m_settings ? m_settings->updateWidget() : nullptr;
}

SoftwareUpdateDialog* UpdateWindows::makeSettings(Qt::WindowFlags flags)
{
    m_settings = new SoftwareUpdateDialog(m_parent, flags ? flags : m_flags);
    return m_settings;
}

SoftwareUpdateAvailableDialog* UpdateWindows::makeList()
{
    QWidget* const parent = m_settings ? m_settings.data() : m_parent.data();
    m_list = new SoftwareUpdateAvailableDialog(parent, m_flags);
    return m_list;
}

TransferDialog* UpdateWindows::progress() const
{
    return m_progress;
}

TransferDialog* UpdateWindows::makeProgress(const QString& fileName)
{
    m_progress = new TransferDialog(m_list, m_flags);
    m_progress->setWindowTitle(displayText(fileName));
    m_progress->setLabelText(tr("Download Progress"));
    m_progress->show();
    return m_progress;
}

void UpdateWindows::runSettings(bool modal)
{
    const QPointer<SoftwareUpdateDialog> dialog = m_settings;
    if (modal && !m_executing) {
        const Epoch::Mark life = m_life.mark();
        m_executing = dialog;
        dialog->exec();
        if (life.isCurrent()) {
            m_executing = nullptr;
        }
    } else {
        dialog->show();
    }
    if (dialog) {
        dialog->activateWindow();
    }
}

void UpdateWindows::closeSettings()
{
    if (m_settings && m_list && m_list->parentWidget() == m_settings) {
        // Its parent would delete it while its download goes on.
        const bool wasVisible = m_list->isVisible();
        m_list->setParent(m_parent, m_list->windowFlags());
        m_list->setVisible(wasVisible);
    }
    release(m_settings);
}

void UpdateWindows::closeList()
{
    release(m_list);
}

void UpdateWindows::closeProgress()
{
    if (m_progress) {
        m_progress->stop();
    }
    release(m_progress);
}

void UpdateWindows::releaseAll()
{
    for (QDialog* dialog : std::initializer_list<QDialog*>{m_settings, m_list, m_progress}) {
        if (dialog) {
            dialog->deleteLater();
        }
    }
    m_settings.clear();
    m_list.clear();
    m_progress.clear();
}

bool UpdateWindows::confirmInstallation() const
{
    return ask(
        new QMessageBox(QMessageBox::Warning, tr("Install Package"),
                        tr("After downloading the package, the installer will ask you to restart "
                           "the application!"),
                        QMessageBox::NoButton, m_list, sheetDialogFlags(m_list)),
        tr("Cancel Install"), tr("Proceed"));
}

bool UpdateWindows::confirmRestart() const
{
    return ask(
        new QMessageBox(QMessageBox::Warning, tr("Restart required"),
                        tr("Please restart your application to finish the installation process."),
                        QMessageBox::NoButton, m_parent, m_flags),
        tr("Restart later"), tr("Restart now"));
}

void UpdateWindows::showError(const QString& title, const QString& text) const
{
    execMessageBox(
        new QMessageBox(QMessageBox::Critical, title, text, QMessageBox::Ok, m_parent, m_flags));
}

void UpdateWindows::showDownloadError(int code) const
{
    showError(tr("Download Error"), tr("Error code %1").arg(code));
}

void UpdateWindows::showUnknownPackageType() const
{
    showError(tr("Download Error"), tr("Unknown package type! Installation cannot proceed!"));
}

void UpdateWindows::showInstallationFailed() const
{
    showError(tr("Installation failed"),
              tr("Installation process failed. If problem persists try manual install."));
}

} // namespace zk
