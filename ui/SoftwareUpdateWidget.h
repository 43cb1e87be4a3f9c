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
 * The panel with the update settings, the time of the last check and "Check Now".
 *
 * A passive view: values are set and read as one SoftwareUpdateWidgetSettings, user actions are
 * emitted as signals. Texts are translated once, when the panel is constructed. GUI thread only.
 */
class SOFTWAREUPDATE_EXPORT SoftwareUpdateWidget : public QWidget
{
    Q_OBJECT

public:
    /** Shows the expert fields if a modifier key is held. Owned by @p parent, if there is one. */
    explicit SoftwareUpdateWidget(QWidget* parent);
    ~SoftwareUpdateWidget() override;

    /**
     * Shows @p settings. A null version and an empty last check hide their captions and leave the
     * text beside them unchanged; an empty version that is not null is shown as empty. An unknown
     * interval is shown as "At application start".
     */
    void setSettings(const SoftwareUpdateWidgetSettings& settings);
    /**
     * The current values, hidden fields included. An unknown interval is returned unchanged unless
     * the user has chosen one.
     */
    SoftwareUpdateWidgetSettings getSettings();
    /** The same as setMessage(). */
    void setNotificationText(const QString& text);
    /**
     * Shows the expert fields (beta versions, server address) if a modifier key is held now,
     * otherwise hides them. The constructor calls it.
     */
    void initForModifiers();

signals:
    /**
     * "Check Now" was clicked. Carries the address as typed, without the blanks around it, applied
     * or not, valid or not. The library does not receive this signal: connect it, best queued, to
     * SoftwareUpdateClient::performUpdateCheck().
     */
    void checkForUpdate(QUrl serverURL);
    /** The user confirmed the settings; emitted by the dialog around the panel. */
    // String-based connections rely on the short spelling.
    // clang-format off
    void applySettings(SoftwareUpdateWidgetSettings settings); // clazy:exclude=fully-qualified-moc-types
    // clang-format on
    /** For the host to emit: asks the client to show the packages that it knows. */
    void forceUpdateAvailable();

public slots:
    /** Shows the busy indicator and disables "Check Now". */
    void enableProgress();
    /** Hides the busy indicator and enables "Check Now". */
    void disbaleProgress();
    /** Shows @p message below the time of the last check; an empty text clears it. */
    void setMessage(const QString& message);
    /** Shows the time of the last check; an empty text only hides the caption. */
    void setLastCheckText(const QString& lastCheckText);
    /** Busy if @p newState is eChecking; @p oldState is ignored. */
    void clientStateChanged(zk::SoftwareUpdate::EState oldState,
                            zk::SoftwareUpdate::EState newState);

private slots:
    void emitApplySettings();
    void emitCheckForUpdate();

private:
    friend class SoftwareUpdateDialog;

    const std::unique_ptr<Ui::SoftwareUpdateGui> m_form;
};

} // namespace zk
