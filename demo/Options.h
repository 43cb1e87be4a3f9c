#pragma once

#include <QString>
#include <QStringList>

namespace demo {

/** What the command line asks for. */
struct Options
{
    enum Server { eNormal, eStopped, eHanging, eEmpty };
    enum Mode { eInteractive, eCheck, eTour };

    Mode mode = eInteractive;
    Server server = eNormal;
    QString hostVersion = QStringLiteral("4.2.0");
    /** The default version was replaced: the cameras are current too then. */
    bool isCurrent = false;
    /** Two letters; empty: the system's language. */
    QString language;
    QString settingsFile;
    /** Where the tour leaves its pictures; empty: nowhere. */
    QString pictures;
};

/** Reads @p arguments (the program's name first). Prints and ends the process on --help and on
 * errors. */
Options parseOptions(const QStringList& arguments);

} // namespace demo
