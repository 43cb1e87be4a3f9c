#include "support/ManagerRetirement.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>

namespace zk {

void retireNetworkManager(QNetworkAccessManager* manager)
{
    // An application that ends before deletes it, and waits if it must.
    manager->setParent(QCoreApplication::instance());
    bool isBusy = false;
    const QList<QNetworkReply*> replies = manager->findChildren<QNetworkReply*>();
    for (QNetworkReply* reply : replies) {
        // The thread may not have heard of an abort yet.
        isBusy = isBusy || !reply->isFinished() ||
                 reply->error() == QNetworkReply::OperationCanceledError;
        // Not abort(): an error that is on its way from the thread would be a second one. Not at
        // once: one of them may be emitting the signal that led here.
        reply->deleteLater();
    }
    if (!isBusy) {
        manager->deleteLater();
        return;
    }
    // By text: the library may be unloaded before, with all code of its own.
    QObject::connect(manager, SIGNAL(finished(QNetworkReply*)), manager, SLOT(deleteLater()));
    manager->setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    manager->get(QNetworkRequest(QUrl(QStringLiteral("http://127.0.0.1:1/"))));
}

} // namespace zk
