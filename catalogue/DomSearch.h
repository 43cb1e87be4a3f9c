#pragma once

#include "catalogue/PackageInfo.h"

#include <QDomElement>

namespace zk::UpdateDocument {

// The search for values in a document that is loaded as a QDomDocument, for the published functions
// that take nodes. It looks into every level for every key: documents from servers are read by
// parse(), which gives the same packages.

/** The first child element named "file" of @p node if there is one, else @p node. */
QDomNode startSearchAt(const QDomNode& node);

/** The value of @p key nearest to @p node, an empty text when no level has it. */
QString findString(const QDomNode& node, const QString& key);

/** Adds the words of @p key of all levels to @p words; returns how often the key was written. */
int findAllStrings(const QDomNode& node, const QString& key, QSet<QString>& words);

/** Adds the links of @p key of all levels to @p urls; returns how often the key was written. */
int findAllTranslatedUrls(const QDomNode& node, const QString& key, LinkMap& urls);

/** Appends the packages of @p set, then those of its nested sets, to @p packages. */
void appendPackages(const QDomElement& set, PackageInfoList& packages);

/** Fills @p info with what @p package and the levels above it say. */
void readPackage(const QDomElement& package, PackageInfo& info);

} // namespace zk::UpdateDocument
