#pragma once

#include "publisher/AudienceMatrix.h"
#include "publisher/Finding.h"

#include <QByteArray>

namespace publisher {

class Console;

/** Everything that is known of one document. */
struct PreviewReport
{
    QString place; //!< where the document is
    Audience audience;
    Preview preview;
    Findings findings;
    QList<MatrixRow> matrix;
};

/** What the audience sees, as text. */
void printPreview(const PreviewReport& report, const Console& console);

/** An object with state, message and rows. */
QByteArray toJson(const PreviewReport& report);

/** One page that needs nothing else: what the audience sees, everybody else in short, the findings.
 */
QByteArray toHtml(const PreviewReport& report);

/** The releases that are offered with their formats, "4.3.0 (exe, zip)"; empty for none. */
QString offerText(const Preview& preview);

} // namespace publisher
