#pragma once

class QNetworkAccessManager;

namespace zk {

/**
 * Ends what @p manager still does, silently, and deletes it as soon as that takes no time.
 *
 * The destructor of a QNetworkAccessManager waits for its thread, five seconds when a server keeps
 * that busy with an endless header. So the manager is set aside until a last request, which fails
 * at once, has come back from that thread. Takes ownership; GUI thread only.
 */
void retireNetworkManager(QNetworkAccessManager* manager);

} // namespace zk
