#include "install/SignatureCheck.h"

#include "install/PackageSignature.h"

#include <chrono>

namespace zk {

SignatureCheck::SignatureCheck(const QString& file, const PackageInfo& package,
                               const QByteArray& signature, const QStringList& publicKeys)
{
    const auto judge = [=] {
        QString complaint = signatureComplaint(file, package, signature, publicKeys,
                                               [this](qint64) { return !m_isCancelled; });
        announceSoon();
        return complaint;
    };
    // Both policies: where no thread can be had, announce() does the work.
    m_complaint = std::async(std::launch::async | std::launch::deferred, judge);
    if (m_complaint.wait_for(std::chrono::seconds(0)) == std::future_status::deferred) {
        announceSoon();
    }
}

SignatureCheck::~SignatureCheck()
{
    m_isCancelled = true;
}

void SignatureCheck::cancel()
{
    m_isCancelled = true;
    if (m_complaint.valid()) {
        m_complaint.wait();
    }
}

// By name, as a functor would cross the threads under locks that ThreadSanitizer does not see.
void SignatureCheck::announceSoon()
{
    QMetaObject::invokeMethod(this, "announce", Qt::QueuedConnection);
}

void SignatureCheck::announce()
{
    if (!m_complaint.valid()) {
        return;
    }
    const QString complaint = m_complaint.get();
    // What was read before may have been written over since.
    emit checked(m_isCancelled ? QStringLiteral("the file has changed meanwhile") : complaint);
}

} // namespace zk
