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
 * A passive view: it knows rows of texts only, and reports what the user does as signals that carry
 * row numbers. Texts are looked up once, when the dialog is built. GUI thread only.
 */
class SOFTWAREUPDATE_EXPORT SoftwareUpdateAvailableDialog : public QDialog
{
    Q_OBJECT

public:
    /** Shows nothing yet. Owned by @p parent, if there is one. */
    SoftwareUpdateAvailableDialog(QWidget* parent, Qt::WindowFlags flags);
    ~SoftwareUpdateAvailableDialog() override;

    /** Sets the captions of the columns. To be called after setTableEntries(), which drops them. */
    void setTableHeaders(const QStringList& headers);
    /**
     * Replaces the table by @p rows, all shown and none selected, without announcing a selection,
     * and removes the comment. The first row decides how many columns there are; surplus cells of
     * later rows are dropped. No rows at all leave an empty table and a line in the log.
     */
    void setTableEntries(const QList<QStringList>& rows);
    /**
     * Hides exactly these rows and shows all others. If a selected row becomes hidden, nothing is
     * selected any more and currentItemsChangedSig() says so.
     */
    void setHiddenEntries(QList<int> rows);
    /** Shows @p text, which may be rich text, below the table; an empty text hides the pane. */
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
     * "Install Package" was clicked. Carries the selected row; of several selected ones the current
     * one; -1 when nothing is selected or the current row is not among the selected ones.
     */
    void installPackage(int itemIndex);
    /** The user selected other rows. */
    void currentItemsChangedSig(SoftwareUpdate::SoftUpIndexList rows);
    /** "Release Notes" was clicked. */
    void downloadReleaseNotes(SoftwareUpdate::SoftUpIndexList rows);
    /** "Show all languages" was clicked. */
    void showAllLanguages(bool state);
    /** "Update Settings..." was clicked. */
    void openUpdateSettings();
    /**
     * A link of the comment was activated. The dialog itself opens none of them: the text may come
     * from a server, so the receiver decides which addresses are safe to open.
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
    /** Handles what QDialog does not. */
    bool event(QEvent* event) override;

private:
    void connectForm();
    void reserveSpace();
    void growToTable();
    void fitMinimumSize();

    const std::unique_ptr<Ui::SoftwareUpdateAvailableGui> m_form;
};

} // namespace zk
