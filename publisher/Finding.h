#pragma once

#include "publisher/SourceDocument.h"

#include <QList>
#include <QString>

namespace publisher {

/** A finding in a document that its author should know about. */
struct Finding
{
    enum Level {
        eNote,    //!< works and may be intended
        eWarning, //!< works, but probably not as intended
        eError,   //!< clients ignore it
    };

    Level level = eError;
    Position position;
    QString rule; //!< identifies the kind of mistake, e.g. "unknown-name"
    QString text; //!< message for users
};

using Findings = QList<Finding>;

} // namespace publisher
