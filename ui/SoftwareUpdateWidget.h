#pragma once

#include "support/Export.h"
#include "types/SoftwareUpdateTypes.h"
#include "types/SoftwareUpdateWidgetSettings.h"

#include <QString>
#include <QUrl>
#include <QWidget>

#include <memory>

namespace Ui {
class SoftwareUpdateGui;
}

namespace zk {

/**
 * The panel with the update settings, the time of the last check and a button that starts a check.
 *
 * A passive view: values go in and come out as one SoftwareUpdateWidgetSettings, what the user does
 * leaves as signals. Texts are looked up once, when the panel is built. GUI thread only.
 */
class SOFTWAREUPDATE_EXPORT SoftwareUpdateWidget : public QWidget
{
    Q_OBJECT

public:
    /** With a modifier key held it has the fields for experts. Owned by @p parent, if there is one.
     */
    explicit SoftwareUpdateWidget(QWidget* parent);
    ~SoftwareUpdateWidget() override;

    /**
     * Shows @p settings. A null version and an empty last check hide their captions and leave the
     * text beside them as it was; an empty version that is not null is shown as such.
     */
    void setSettings(const SoftwareUpdateWidgetSettings& settings);
    /** What the panel holds now, hidden fields included. */
    SoftwareUpdateWidgetSettings getSettings();
    /** The same as setMessage(). */
    void setNotificationText(const QString& text);
    /**
     * Shows the fields for experts (beta versions, server address) if a modifier key is held right
     * now, and hides them otherwise. Called while the panel is built.
     */
    void initForModifiers();

signals:
    /** "Check Now" was clicked. Carries the address as typed, applied or not, valid or not. */
    void checkForUpdate(QUrl serverURL);
    /** The user confirmed the settings; emitted by the dialog around the panel. */
    // Connections by text rely on the short spelling.
    // clang-format off
    void applySettings(SoftwareUpdateWidgetSettings settings); // clazy:exclude=fully-qualified-moc-types
    // clang-format on
    /** For a host to emit: asks the client to show the packages it knows. */
    void forceUpdateAvailable();

public slots:
    /** Shows the busy indicator and disables "Check Now". */
    void enableProgress();
    /** Hides the busy indicator and enables "Check Now". */
    void disbaleProgress();
    /** Shows @p message below the time of the last check; empty removes the old one. */
    void setMessage(const QString& message);
    /** Shows the time of the last check; an empty text hides its caption only. */
    void setLastCheckText(const QString& lastCheckText);
    /** Busy while @p newState is eChecking, whatever came before. */
    void clientStateChanged(zk::SoftwareUpdate::EState oldState,
                            zk::SoftwareUpdate::EState newState);

private slots:
    void emitApplySettings();
    void emitCheckForUpdate();

private:
    friend class SoftwareUpdateDialog;

    void setBusy(bool busy);

    const std::unique_ptr<Ui::SoftwareUpdateGui> m_form;
};

} // namespace zk
