#pragma once

#include <QString>
#include <QStringView>

#include <algorithm>
#include <cstddef>

/**
 * The names in the update document, each spelled once.
 *
 * Plain character arrays: other static objects are built from them, whatever the initialisation
 * order of the source files.
 */
namespace zk::Vocabulary {

/** The type of a key's value, and the meaning of several values. */
enum class Kind {
    Text,     ///< one text; of several the first counts
    Words,    ///< a list of words; several add up
    Links,    ///< an address with a language; several add up
    Structure ///< an element that contains others and has no value
};

/**
 * All keys of the document, one row each: identifier, spelling, kind.
 *
 * A row is all that a new key needs before its value is used: the constant `fileSize`, the
 * enumerator `fileSizeKey` and the entry of `keys` are made from it.
 */
// clang-format off
#define SOFTWAREUPDATE_DOCUMENT_KEYS(row) \
    row(type, "type", Text) \
    row(name, "name", Text) \
    row(namePublic, "public-name", Text) \
    row(releaseVersion, "release", Text) \
    row(releaseVersionPublic, "public-release", Text) \
    row(releaseStatus, "status", Text) \
    row(releaseDate, "release-date", Text) \
    row(baseUrl, "base-url", Text) \
    row(url, "url", Text) \
    row(fileSize, "file-size", Text) \
    row(language, "language", Words) \
    row(comment, "comment", Text) \
    row(platform, "platform", Words) \
    row(releaseNotes, "release-notes", Links) \
    row(readme, "readme", Links) \
    row(file, "file", Structure) \
    row(package, "package", Structure) \
    row(packageSet, "package-set", Structure)
// clang-format on

#define SOFTWAREUPDATE_KEY_NAME(identifier, spelling, kind)                                        \
    inline constexpr char identifier[] = spelling;
SOFTWAREUPDATE_DOCUMENT_KEYS(SOFTWAREUPDATE_KEY_NAME)
#undef SOFTWAREUPDATE_KEY_NAME

// clang-format off
/** The keys as numbers, which are indices into `keys`. */
enum Key {
#define SOFTWAREUPDATE_KEY_NUMBER(identifier, spelling, kind) identifier##Key,
    SOFTWAREUPDATE_DOCUMENT_KEYS(SOFTWAREUPDATE_KEY_NUMBER)
#undef SOFTWAREUPDATE_KEY_NUMBER
    KeyCount
};
// clang-format on

/** One key of the table. */
struct KeyEntry
{
    const char* name;
    int length;
    Key key;
    Kind kind;
};

inline constexpr KeyEntry keys[] = {
#define SOFTWAREUPDATE_KEY_ENTRY(identifier, spelling, kind)                                       \
    {identifier, int(sizeof(spelling)) - 1, identifier##Key, Kind::kind},
    SOFTWAREUPDATE_DOCUMENT_KEYS(SOFTWAREUPDATE_KEY_ENTRY)
#undef SOFTWAREUPDATE_KEY_ENTRY
};

constexpr Kind kindOf(int key)
{
    return keys[std::size_t(key)].kind;
}

constexpr bool isKindOf(int key, Kind kind)
{
    return key < KeyCount && kindOf(key) == kind;
}

/** The key that is written @p word, KeyCount for any other. */
inline Key keyOf(QStringView word)
{
    // QLatin1String compares as well, but by a call: every name in a document is looked up here.
    const auto isEqual = [](QChar c, char letter) { return c.unicode() == ushort(letter); };
    for (const KeyEntry& entry : keys) {
        if (entry.length == word.size() &&
            std::equal(word.begin(), word.end(), entry.name, isEqual)) {
            return entry.key;
        }
    }
    return KeyCount;
}

/** @p tag without its prefix. */
inline QStringView localName(QStringView tag)
{
    const auto colon = std::find(tag.begin(), tag.end(), QLatin1Char(':'));
    return colon == tag.end() ? tag : tag.mid(colon + 1 - tag.begin());
}

/** The name of the root element. */
inline constexpr char documentTag[] = "softwareList";

/** Package types and release statuses that clients interpret. */
inline constexpr char typeApplication[] = "Application";
inline constexpr char typeCameraFirmware[] = "Camera Firmware";
inline constexpr char statusStable[] = "STABLE";
inline constexpr char statusBeta[] = "BETA";

/** The language of a link without one. */
inline constexpr char defaultLanguage[] = "en";

} // namespace zk::Vocabulary
