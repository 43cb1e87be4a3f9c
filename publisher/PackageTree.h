#pragma once

#include <QString>

#include <string>
#include <variant>
#include <vector>

namespace publisher {

/** A file to pack, or an empty folder. */
struct TreeEntry
{
    /** In the archive: UTF-8 with "/"; the name of a folder ends with it. */
    std::string name;
    /** On the disk. */
    QString path;
    bool isExecutable = false;

    [[nodiscard]] bool isFolder() const { return name.back() == '/'; }
};

using PackageTree = std::vector<TreeEntry>;

/**
 * All that is in @p folder, sorted by the bytes of the names, or the error: links, special files,
 * and names that clients would refuse or cannot tell apart.
 */
std::variant<PackageTree, QString> readTree(const QString& folder);

/**
 * Moves what the archive @p previous has with the same contents to the front, in its order.
 * Returns the error, if any.
 */
[[nodiscard]] QString orderLike(const QString& previous, PackageTree& tree);

} // namespace publisher
