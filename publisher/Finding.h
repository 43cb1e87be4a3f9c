#pragma once

#include "publisher/SourceDocument.h"

#include <QList>
#include <QString>

namespace publisher {

/** Something in a document that its author should know. */
struct Finding
{
    enum Level {
        eNote,    //!< works, and may be meant
        eWarning, //!< works, but hardly as it is meant
        eError,   //!< is lost on clients
    };

    Level level = eError;
    Position position;
    QString rule; //!< names the kind of mistake, e.g. "unknown-name"
    QString text; //!< for people
};

using Findings = QList<Finding>;

} // namespace publisher
