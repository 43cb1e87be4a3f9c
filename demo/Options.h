#pragma once

#include "demo/HostVersion.h"

#include <QString>
#include <QStringList>

namespace demo {

/** The parsed command line. */
struct Options
{
    enum Server { eNormal, eStopped, eHanging, eEmpty, eFailing };
    enum Mode { eInteractive, eCheck, eTour, eSelfUpdate };

    Mode mode = eInteractive;
    Server server = eNormal;
    QString hostVersion = demo::hostVersion();
    /** --host-version was given; the cameras are up to date then too. */
    bool isCurrent = false;
    /** Two letters; empty: the system's language. */
    QString language;
    QString settingsFile;
    /** The folder for pictures of the tour and a self-update; empty: none. */
    QString pictures;
    /** The document's address on a running server; empty: the host starts its own. */
    QString serverUrl;
    /** Public keys of package signatures; empty: signatures are not checked. */
    QStringList publicKeys;
    /** The file to which a self-update appends its steps. */
    QString report;
};

/**
 * Parses @p arguments (the program's name first). On --help and on errors it prints a message and
 * ends the process.
 *
 * The lines of the variable CAMERA_DESK_ARGUMENTS are further arguments, since a program restarted
 * by an update gets none.
 */
Options parseOptions(const QStringList& arguments);

} // namespace demo
