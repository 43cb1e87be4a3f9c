#pragma once

#include "support/Export.h"
#include "types/SoftwareUpdateTypes.h"

#include <QDialog>
#include <QList>
#include <QStringList>
#include <QUrl>

#include <memory>

namespace Ui {
class SoftwareUpdateAvailableGui;
}

namespace zk {

/**
 * Lists packages in a table and lets the user fetch release notes, download packages or install
 * one.
 *
 * A passive view of rows of texts: it reports user actions as signals with row numbers. Texts are
 * translated once, when the dialog is constructed. GUI thread only.
 */
class SOFTWAREUPDATE_EXPORT SoftwareUpdateAvailableDialog : public QDialog
{
    Q_OBJECT

public:
    /** Not shown yet. Owned by @p parent, if there is one. */
    SoftwareUpdateAvailableDialog(QWidget* parent, Qt::WindowFlags flags);
    ~SoftwareUpdateAvailableDialog() override;

    /** Sets the column captions. Call it after setTableEntries(), which removes them. */
    void setTableHeaders(const QStringList& headers);
    /**
     * Replaces the table contents by @p rows, all visible and none selected, without emitting
     * currentItemsChangedSig(), and removes the comment. The first row determines the number of
     * columns; surplus cells of later rows are dropped. Cells show at most 1,000 characters,
     * without bidirectional controls. An empty list leaves an empty table and writes a log line.
     */
    void setTableEntries(const QList<QStringList>& rows);
    /**
     * Hides exactly these rows and shows all others. If a selected row becomes hidden, the
     * selection is cleared. Emits currentItemsChangedSig() if the set of hidden rows changed.
     * Hidden rows cannot be selected.
     */
    void setHiddenEntries(QList<int> rows);
    /** Shows @p text (rich text allowed) below the table; an empty text hides the pane. */
    void setCommentText(const QString& text);
    /** @{ Enables the button or disables it. */
    void setDownloadButtonState(bool enabled);
    void setInstallButtonState(bool enabled);
    void setRealeaseNotesButtonState(bool enabled);
    /** @} */
    /** Whether "Show all languages" is checked. */
    bool getShowAllLanguagesState();

signals:
    /** "Download Package" was clicked. Rows are distinct, in the order of the selection, not
     * sorted. */
    void downloadUrls(SoftwareUpdate::SoftUpIndexList rows);
    /**
     * "Install Package" was clicked. Carries the selected row; the current one if several are
     * selected; -1 if none is selected or the current row is not among them.
     */
    void installPackage(int itemIndex);
    /** The user selected other rows, or setHiddenEntries() hid or showed some. */
    void currentItemsChangedSig(SoftwareUpdate::SoftUpIndexList rows);
    /** "Release Notes" was clicked. */
    void downloadReleaseNotes(SoftwareUpdate::SoftUpIndexList rows);
    /** "Show all languages" was clicked. */
    void showAllLanguages(bool state);
    /** "Update Settings..." was clicked. */
    void openUpdateSettings();
    /**
     * A link in the comment was activated. The dialog does not open it: the text may come from a
     * server, so the receiver decides which addresses are safe to open.
     */
    void linkActivated(const QUrl& url);

private slots:
    void downloadPackagePressed();
    void installPackagePressed();
    void currentItemsChanged();
    void releaseNotesPressed();
    SoftwareUpdate::SoftUpIndexList getCurrentSelectedItems();
    void showAllLanguagesPressed();

protected:
    /** Keeps the minimum size up to date. */
    bool event(QEvent* event) override;

private:
    const std::unique_ptr<Ui::SoftwareUpdateAvailableGui> m_form;
};

} // namespace zk
