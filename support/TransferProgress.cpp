#include "support/TransferProgress.h"

namespace zk {

namespace {

QString clock(qint64 seconds)
{
    const qint64 hours = seconds / 3600;
    const QString minutes = QString::number(seconds / 60 % 60);
    const QString text = QStringLiteral("%1:%2").arg(
        hours > 0 ? minutes.rightJustified(2, QLatin1Char('0')) : minutes,
        QString::number(seconds % 60).rightJustified(2, QLatin1Char('0')));
    return hours > 0 ? QString::number(hours) + QLatin1Char(':') + text : text;
}

} // namespace

TransferProgress::TransferProgress(const QLocale& locale)
    : m_locale(locale)
{
}

void TransferProgress::update(qint64 received, qint64 total, qint64 ms)
{
    constexpr qint64 sampleMs = 500;
    if (received < m_received || !m_hasBegun) {
        // The next hop of a redirect, or the next file; one that is continued does not begin with
        // 0.
        m_hasBegun = true;
        m_sampledBytes = received;
        m_sampledMs = ms;
        m_speed = 0;
    }
    m_received = received;
    m_total = total;
    const qint64 elapsed = ms - m_sampledMs;
    if (elapsed < sampleMs) {
        return;
    }
    const double speed = double(received - m_sampledBytes) * 1000 / double(elapsed);
    m_speed = m_speed > 0 ? 0.7 * m_speed + 0.3 * speed : speed;
    m_sampledBytes = received;
    m_sampledMs = ms;
}

QString TransferProgress::size(qint64 bytes) const
{
    return m_locale.formattedDataSize(bytes, 1, QLocale::DataSizeTraditionalFormat);
}

QString TransferProgress::amount() const
{
    return size(m_received) + QStringLiteral(" / ") + size(m_total);
}

QString TransferProgress::textInPause(qint64 milliseconds) const
{
    const QString left = clock((milliseconds + 999) / 1000);
    const QString pause = QStringLiteral("\u2026 ") + left;
    return m_received > 0 && m_total > 0 ? amount() + QLatin1Char(' ') + pause : pause;
}

QString TransferProgress::text() const
{
    QString text = amount();
    if (m_speed >= 1) {
        constexpr double longest = 99 * 3600;
        const double left = qMin(double(m_total - m_received) / m_speed, longest);
        text += QStringLiteral(", %1/s, %2").arg(size(qint64(m_speed)), clock(qRound64(left)));
    }
    return text;
}

} // namespace zk
