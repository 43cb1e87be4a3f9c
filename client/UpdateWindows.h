#pragma once

#include "support/Epoch.h"

#include <QPointer>
#include <QWidget>

namespace zk {

class SoftwareUpdateAvailableDialog;
class SoftwareUpdateDialog;
class SoftwareUpdateWidget;
class TransferDialog;

/**
 * The client's dialogs and message boxes: how they are made, who is their parent, how they close.
 *
 * Each dialog exists at most once, is owned by its parent widget, and may be gone at any time. One
 * that is released is forgotten at the same moment, so that it is never used again while it waits
 * for its deletion. A function that executes a box may return after this object has been destroyed:
 * ask first. GUI thread only.
 */
class UpdateWindows final
{
public:
    explicit UpdateWindows(QWidget* parent);

    /** Null: no dialog can be shown. */
    [[nodiscard]] QWidget* parent() const { return m_parent; }
    void setParent(QWidget* parent) { m_parent = parent; }
    [[nodiscard]] Qt::WindowFlags flags() const { return m_flags; }
    void setFlags(Qt::WindowFlags flags) { m_flags = flags; }

    /** @{ The dialog that exists, or null. */
    [[nodiscard]] SoftwareUpdateDialog* settings() const;
    [[nodiscard]] SoftwareUpdateAvailableDialog* list() const;
    [[nodiscard]] TransferDialog* progress() const;
    /** @} */
    /** The panel in the settings dialog, or null. */
    [[nodiscard]] SoftwareUpdateWidget* panel() const;

    /** @{ Makes the dialog, hidden and with nothing connected to it. */
    SoftwareUpdateDialog* makeSettings(Qt::WindowFlags flags);
    SoftwareUpdateAvailableDialog* makeList();
    /** @} */
    /** Makes the progress dialog for the download of @p fileName and shows it. */
    TransferDialog* makeProgress(const QString& fileName);

    /** Shows the settings dialog; a modal one is executed: returns when it closes. */
    void runSettings(bool modal);

    /** @{ Hides and releases the dialog, if it exists. */
    void closeSettings();
    void closeList();
    void closeProgress();
    /** @} */
    /** Releases all dialogs. */
    void releaseAll();

    /** Asks whether to install; true for "Proceed". */
    [[nodiscard]] bool confirmInstallation() const;
    /** Asks whether to restart the application; true for "Restart now". */
    [[nodiscard]] bool confirmRestart() const;
    /** @{ Shows an error box. */
    void showDownloadError(int code) const;
    void showUnknownPackageType() const;
    void showInstallationFailed() const;
    /** @} */

private:
    QPointer<QWidget> m_parent;
    Qt::WindowFlags m_flags;
    QPointer<SoftwareUpdateDialog> m_settings;
    /** The settings dialog whose event loop runs; only compared, as it may be gone. */
    const SoftwareUpdateDialog* m_executing = nullptr;
    QPointer<SoftwareUpdateAvailableDialog> m_list;
    QPointer<TransferDialog> m_progress;
    Epoch m_life;

    void showError(const QString& title, const QString& text) const;
};

} // namespace zk
