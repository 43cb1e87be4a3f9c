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

    /**
     * Fetch only what has changed of a ZIP package of the host itself, if a signed manifest is
     * published beside it (docs/package-manifest.md); everything else is taken from the installed
     * files. Has no effect without public keys.
     *
     * What is put together is kept in the user's cache folder until it is installed, for a week at
     * most. Where something is missing or wrong the whole package is fetched.
     */
    bool differentialUpdates = false;

    /** Whether anything is kept in the user's cache folder. */
    [[nodiscard]] bool usesCache() const { return download.retries > 0 || differentialUpdates; }

    /** What is good for nearly every host: five retries of a download, and only what changed. */
    static UpdateOptions recommended()
    {
        constexpr int retries = 5;
        UpdateOptions options;
        options.download.retries = retries;
        options.differentialUpdates = true;
        return options;
    }
};

} // namespace zk
