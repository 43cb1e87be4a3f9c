#pragma once

#include "publisher/SourceDocument.h"

#include <QDateTime>
#include <QStringList>

namespace publisher {

/** A value for the new packages. */
struct NewValue
{
    const char* key;
    QString text;
};

/** A link to a page about a release, in one language. */
struct NewLink
{
    const char* key;
    QString language;
    QString url;
};

/** The file of a new package. */
struct NewFile
{
    QString url; //!< as written to the document
    qint64 size = 0;
    QDateTime date;
};

/** Packages of one release that differ only in their files. */
struct NewRelease
{
    QList<NewValue> values; //!< in the order of the document
    QStringList platforms;
    QStringList languages;
    QList<NewLink> links;
    QList<NewFile> files;
};

/**
 * The text of @p document with the packages of @p release appended to the set that already has most
 * of their values. The existing text is preserved, comments included. Empty if no set is suitable:
 * lists and links of a set apply to everything in it.
 */
QString withRelease(const SourceDocument& document, const NewRelease& release);

} // namespace publisher
