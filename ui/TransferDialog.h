#pragma once

#include "support/TransferProgress.h"

#include <QElapsedTimer>
#include <QProgressDialog>

class QProgressBar;

namespace zk {

/**
 * Shows how far a transfer of bytes has come: a bar with bytes, speed and time left in it.
 *
 * Closes neither at 100 %, which the body of a redirect reaches as well, nor by itself. GUI thread
 * only.
 */
class TransferDialog final : public QProgressDialog
{
public:
    TransferDialog(QWidget* parent, Qt::WindowFlags flags);

    /** Shows @p received of @p total bytes; a negative total is unknown. */
    void showProgress(qint64 received, qint64 total);
    /** Shows that the transfer goes on in @p milliseconds. */
    void showPause(qint64 milliseconds);
    /** Shows that something of unknown length goes on. */
    void showBusy();
    /** Hides it for good, without a cancel: its timer does not show it again. */
    void stop();

private:
    QProgressBar* const m_bar;
    TransferProgress m_transfer;
    QElapsedTimer m_sinceStart;
};

} // namespace zk
