#pragma once

#include "publisher/SourceDocument.h"

#include <QDateTime>
#include <QStringList>

namespace publisher {

/** A value that packages shall have. */
struct NewValue
{
    const char* key;
    QString text;
};

/** A page about a release, in one language. */
struct NewLink
{
    const char* key;
    QString language;
    QString url;
};

/** A file that becomes a package. */
struct NewFile
{
    QString url; //!< as it is to be written
    qint64 size = 0;
    QDateTime date;
};

/** Packages of one release that differ in their files only. */
struct NewRelease
{
    QList<NewValue> values; //!< in the order in which they are written
    QStringList platforms;
    QStringList languages;
    QList<NewLink> links;
    QList<NewFile> files;
};

/**
 * The text of @p document with the packages of @p release, which are put last into the set that
 * says most of what they need already. All that was there stays as it is written, comments
 * included. Empty when no set can take them: lists and links of a set hold for all below it.
 */
QString withRelease(const SourceDocument& document, const NewRelease& release);

} // namespace publisher
