#pragma once

#include "publisher/AudienceMatrix.h"
#include "publisher/Finding.h"

#include <QByteArray>

namespace publisher {

class Console;

/** Everything to report about one document. */
struct PreviewReport
{
    QString place; //!< path or address of the document
    Audience audience;
    Preview preview;
    Findings findings;
    QList<MatrixRow> matrix;
};

/** The preview for the audience as text. */
void printPreview(const PreviewReport& report, const Console& console);

/** An object with state, message and rows. */
QByteArray toJson(const PreviewReport& report);

/**
 * A self-contained HTML page: the preview for the audience, a summary for all others, the findings.
 */
QByteArray toHtml(const PreviewReport& report);

/** The offered releases with their formats, e.g. "4.3.0 (exe, zip)"; empty if there are none. */
QString offerText(const Preview& preview);

} // namespace publisher
