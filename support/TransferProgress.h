#pragma once

#include <QLocale>
#include <QString>

namespace zk {

/**
 * Measures a transfer and describes it in numbers, which need no translation: bytes of bytes,
 * speed, and the time left as m:ss, e.g. "12.3 MB / 50.0 MB, 3.2 MB/s, 0:12".
 */
class TransferProgress final
{
public:
    explicit TransferProgress(const QLocale& locale = QLocale());

    /** @p received of @p total bytes have arrived @p ms milliseconds after the start. */
    void update(qint64 received, qint64 total, qint64 ms);

    /** What is known so far; speed and time are missing in the first half second. */
    [[nodiscard]] QString text() const;

    /** The same in a pause that ends in @p milliseconds, e.g. "12.3 MB / 50.0 MB ... 0:04". */
    [[nodiscard]] QString textInPause(qint64 milliseconds) const;

private:
    QLocale m_locale;
    bool m_hasBegun = false;
    qint64 m_received = 0;
    qint64 m_total = 0;
    qint64 m_sampledBytes = 0;
    qint64 m_sampledMs = 0;
    /** Bytes per second, smoothed; 0 while unknown. */
    double m_speed = 0;

    [[nodiscard]] QString size(qint64 bytes) const;
    [[nodiscard]] QString amount() const;
};

} // namespace zk
