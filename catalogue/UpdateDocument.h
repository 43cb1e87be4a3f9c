#pragma once

/**
 * The vocabulary of the update document, spelled once.
 *
 * Plain character arrays: texts that other static objects are built from must not depend on the
 * order in which the files of a program are initialised.
 */
namespace zk::Vocabulary {

inline constexpr char documentTag[] = "softwareList";
inline constexpr char packageSet[] = "package-set";
inline constexpr char package[] = "package";
inline constexpr char file[] = "file";

inline constexpr char type[] = "type";
inline constexpr char name[] = "name";
inline constexpr char namePublic[] = "public-name";
inline constexpr char platform[] = "platform";
inline constexpr char releaseVersion[] = "release";
inline constexpr char releaseVersionPublic[] = "public-release";
inline constexpr char releaseStatus[] = "status";
inline constexpr char releaseDate[] = "release-date";
inline constexpr char baseUrl[] = "base-url";
inline constexpr char url[] = "url";
inline constexpr char fileSize[] = "file-size";
inline constexpr char language[] = "language";
inline constexpr char releaseNotes[] = "release-notes";
inline constexpr char readme[] = "readme";
inline constexpr char comment[] = "comment";

/** Package types and release statuses with a meaning of their own. */
inline constexpr char typeApplication[] = "Application";
inline constexpr char typeCameraFirmware[] = "Camera Firmware";
inline constexpr char statusStable[] = "STABLE";
inline constexpr char statusBeta[] = "BETA";

/** The language of a link that names none. */
inline constexpr char defaultLanguage[] = "en";

} // namespace zk::Vocabulary
