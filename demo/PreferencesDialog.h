#pragma once

#include <QDialog>

class QCheckBox;
class QListWidget;

namespace zk {
class SoftwareUpdateClient;
class SoftwareUpdateWidget;
} // namespace zk

namespace demo {

/** The host's preferences, with a page for the library's settings panel. */
class PreferencesDialog : public QDialog
{
    Q_OBJECT

public:
    PreferencesDialog(zk::SoftwareUpdateClient& client, QWidget* parent);
    ~PreferencesDialog() override;

    void showUpdatesPage();
    void setLogShown(bool isShown);
    [[nodiscard]] bool isLogShown() const;
    void setRowsShaded(bool areShaded);
    [[nodiscard]] bool areRowsShaded() const;

private:
    zk::SoftwareUpdateClient& m_client;
    QListWidget* const m_pages;
    QCheckBox* const m_logCheckBox;
    QCheckBox* const m_shadeCheckBox;
    zk::SoftwareUpdateWidget* const m_updates;

    QWidget* createGeneralPage();
    void connectUpdates();
    void fillUpdates();
};

} // namespace demo
