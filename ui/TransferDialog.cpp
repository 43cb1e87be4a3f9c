#include "ui/TransferDialog.h"

#include "support/ProgressScale.h"

#include <QFontMetrics>
#include <QProgressBar>
#include <QStyle>

namespace zk {

TransferDialog::TransferDialog(QWidget* parent, Qt::WindowFlags flags)
    : QProgressDialog(parent, flags)
    , m_bar(findChild<QProgressBar*>())
{
    setAutoReset(false);
    setAutoClose(false);
    setMinimumDuration(0);
    // Wide enough for all numbers, so that it does not jump. The dialog lays the bar out by itself
    // and ignores the size that the bar asks for.
    const QString longest = QStringLiteral("8,888.8 MB / 8,888.8 MB, 8,888.8 MB/s, 88:88:88");
    setMinimumWidth(m_bar->fontMetrics().horizontalAdvance(longest) +
                    4 * style()->pixelMetric(QStyle::PM_LayoutLeftMargin));
    m_bar->setFormat(QString());
    m_sinceStart.start();
}

void TransferDialog::showProgress(qint64 received, qint64 total)
{
    if (total < 0) {
        showBusy();
        return;
    }
    m_transfer.update(received, total, m_sinceStart.elapsed());
    m_bar->setFormat(m_transfer.text());
    const qint64 scale = progressScale(total);
    setRange(0, int(total / scale));
    setValue(int(received / scale));
}

void TransferDialog::showPause(qint64 milliseconds)
{
    m_bar->setFormat(m_transfer.textInPause(milliseconds));
    // A bar without an end shows no text.
    if (maximum() == 0) {
        setRange(0, 1);
    }
    m_bar->repaint();
}

void TransferDialog::showBusy()
{
    setRange(0, 0);
}

void TransferDialog::stop()
{
    reset();
    hide();
}

} // namespace zk
