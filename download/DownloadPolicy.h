#pragma once

#include <chrono>

namespace zk {

/**
 * What the client does when the download of a package breaks off: how often it tries again, and
 * when.
 *
 * A plain value; as constructed it changes nothing: a failed download ends with an error box.
 */
struct DownloadPolicy
{
    /**
     * How many times in a row to try again without having received 64 KiB more; 0 switches the
     * policy off.
     *
     * A try continues where the one before stopped if the server allows it (RFC 9110, range
     * requests): it must support single byte ranges and name a strong ETag, or a Last-Modified at
     * least a minute before its Date. Otherwise the package is fetched from its beginning.
     */
    int retries = 0;
    /** Before the first retry; doubled with each further one in a row, up to a minute, and drawn
     * from three quarters to five quarters of that, so that not all hosts return at once. */
    std::chrono::milliseconds firstPause{2000};
    /** This long without a byte counts as a broken connection. */
    std::chrono::milliseconds stallTimeout{30000};
};

} // namespace zk
