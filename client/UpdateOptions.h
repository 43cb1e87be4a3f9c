#pragma once

#include "download/DownloadPolicy.h"

namespace zk {

/**
 * What the client does beyond the ordinary, all of it switched off in a value as constructed.
 *
 * A plain value for SoftwareUpdateClient::setOptions().
 */
struct UpdateOptions
{
    /** Whether and how a download goes on after a failure. */
    DownloadPolicy download;

    /** What is good for nearly every host: five retries of a download. */
    static UpdateOptions recommended()
    {
        constexpr int retries = 5;
        UpdateOptions options;
        options.download.retries = retries;
        return options;
    }
};

} // namespace zk
