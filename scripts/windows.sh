#!/usr/bin/env bash
# windows.sh [CTEST ARGUMENTS]: cross-compiles everything for Windows and runs the tests under Wine. The folder
# with Qt for Windows is SOFTWAREUPDATE_WINDOWS_SYSROOT, else what an archive windows-sysroot.tar.xz beside the
# project holds.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/lib.sh

find_windows_sysroot || {
    echo "No Qt for Windows: set SOFTWAREUPDATE_WINDOWS_SYSROOT to its folder." >&2
    exit 1
}
configure windows
say "building (windows)"
cmake --build --preset windows

start_wine
say "testing under Wine ($(wine --version))"
# At most three attempts: on a busy machine Wine sometimes fails to start a process, or loses one.
ctest --preset windows --repeat until-pass:3 "$@"
