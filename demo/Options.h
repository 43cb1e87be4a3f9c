#pragma once

#include "demo/HostVersion.h"

#include <QString>
#include <QStringList>

namespace demo {

/** What the command line asks for. */
struct Options
{
    enum Server { eNormal, eStopped, eHanging, eEmpty };
    enum Mode { eInteractive, eCheck, eTour, eSelfUpdate };

    Mode mode = eInteractive;
    Server server = eNormal;
    QString hostVersion = demo::hostVersion();
    /** The default version was replaced: the cameras are current too then. */
    bool isCurrent = false;
    /** Two letters; empty: the system's language. */
    QString language;
    QString settingsFile;
    /** Where the tour and a self-update leave pictures; empty: nowhere. */
    QString pictures;
    /** Of a server that runs already; empty: the host brings its own. */
    QString serverUrl;
    /** Keys that packages must be signed with; none: signatures are not asked for. */
    QStringList publicKeys;
    /** Where a self-update reports its steps. */
    QString report;
};

/**
 * Reads @p arguments (the program's name first). Prints and ends the process on --help and on
 * errors.
 *
 * The lines of the variable CAMERA_DESK_ARGUMENTS are further arguments: a program that is started
 * again after an update gets none.
 */
Options parseOptions(const QStringList& arguments);

} // namespace demo
