#pragma once

#include "catalogue/PackageInfo.h"

#include <QByteArray>
#include <QObject>
#include <QStringList>

#include <atomic>
#include <future>

namespace zk {

/**
 * Judges the signature of one downloaded package on a thread of its own: hashing two gigabytes
 * takes seconds.
 *
 * Construct and connect; the work starts by itself. checked() follows once, emitted in the thread
 * that constructed the object when control returns to its event loop. The destructor cancels and
 * waits; nothing is emitted once it has begun.
 */
class SignatureCheck final : public QObject
{
    Q_OBJECT

public:
    /** As signatureComplaint() wants them. */
    SignatureCheck(const QString& file, const PackageInfo& package, const QByteArray& signature,
                   const QStringList& publicKeys);
    ~SignatureCheck() override;

    /** Has closed the file when it returns, after a second at most. checked() complains then. */
    void cancel();

signals:
    /** What speaks against the package, empty when nothing does. */
    void checked(const QString& complaint);

private:
    Q_INVOKABLE void announce();
    void announceSoon();

    std::atomic<bool> m_isCancelled{false};
    // Last: its end waits for the thread, which uses the others.
    std::future<QString> m_complaint;
};

} // namespace zk
