#pragma once

/**
 * Marks the names that the shared library exports.
 *
 * SOFTWAREUPDATE_EXPORTS is set while the library itself is compiled, SOFTWAREUPDATE_STATIC_DEFINE
 * where its objects are linked directly (tests of internals).
 */
#if defined(SOFTWAREUPDATE_STATIC_DEFINE)
#define SOFTWAREUPDATE_EXPORT
#elif defined(_WIN32)
#if defined(SOFTWAREUPDATE_EXPORTS)
#define SOFTWAREUPDATE_EXPORT __declspec(dllexport)
#else
#define SOFTWAREUPDATE_EXPORT __declspec(dllimport)
#endif
#else
#define SOFTWAREUPDATE_EXPORT __attribute__((visibility("default")))
#endif
