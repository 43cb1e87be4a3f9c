#!/usr/bin/env bash
# windows.sh [qt6] [CTEST ARGUMENTS]: cross-compiles everything for Windows and runs the tests under Wine. The folder
# with Qt for Windows is SOFTWAREUPDATE_WINDOWS_SYSROOT (Qt 6: SOFTWAREUPDATE_WINDOWS_SYSROOT_QT6), else what an
# archive windows-sysroot.tar.xz (Qt 6: windows-sysroot-qt6.tar.xz) beside the project holds.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/lib.sh

preset=windows what="Qt for Windows" variable=SOFTWAREUPDATE_WINDOWS_SYSROOT
if [ "${1:-}" = qt6 ]; then
    preset=windows-qt6 what="Qt 6 for Windows" variable=SOFTWAREUPDATE_WINDOWS_SYSROOT_QT6
    shift
fi
find_windows_sysroot "${preset#windows}" || {
    echo "No $what: set $variable to its folder." >&2
    exit 1
}
configure "$preset"
say "building ($preset)"
cmake --build --preset "$preset"

start_wine
say "testing under Wine ($(wine --version), $preset)"
# At most three attempts: on a busy machine Wine sometimes fails to start a process, or loses one.
ctest --preset "$preset" --repeat until-pass:3 "$@"
