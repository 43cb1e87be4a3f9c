#pragma once

#include <QString>

namespace httplib {
class Server;
}

namespace publisher {

/**
 * Lets @p server, which is not listening yet, answer with the files in @p folder as a good server
 * of packages does: strong ETags, single byte ranges with If-Range, nothing compressed.
 */
void serveFolder(httplib::Server& server, const QString& folder);

} // namespace publisher
