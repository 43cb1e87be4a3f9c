#!/usr/bin/env bash
# windows.sh [CTEST ARGUMENTS]: cross-compiles everything for Windows and runs the tests under Wine. The folder with Qt for Windows is SOFTWAREUPDATE_WINDOWS_SYSROOT,
# else what an archive windows-sysroot.tar.xz beside the project holds.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/lib.sh

if [ -z "${SOFTWAREUPDATE_WINDOWS_SYSROOT:-}" ]; then
    archive=../shared/windows-sysroot.tar.xz
    if [ ! -f "$archive" ]; then
        echo "No Qt for Windows: set SOFTWAREUPDATE_WINDOWS_SYSROOT to its folder." >&2
        exit 1
    fi
    if [ ! -d build/sysroot/win64/include ]; then
        say "unpacking $archive"
        mkdir -p build/sysroot
        tar -C build/sysroot -xJf "$archive"
    fi
    SOFTWAREUPDATE_WINDOWS_SYSROOT=$(pwd)/build/sysroot/win64
fi
export SOFTWAREUPDATE_WINDOWS_SYSROOT

configure windows
say "building (windows)"
cmake --build --preset windows

# A Wine of our own, with nothing of the user's; only its server is ended, and nobody else's.
export WINEPREFIX=$PWD/build/wine/prefix HOME=$PWD/build/wine/home XDG_RUNTIME_DIR=$PWD/build/wine/runtime
export WINEDEBUG=-all LC_ALL=C.UTF-8
unset DISPLAY WAYLAND_DISPLAY
mkdir -p "$HOME"
mkdir -pm 700 "$XDG_RUNTIME_DIR"
trap 'wineserver -k || true' EXIT
if [ ! -d "$WINEPREFIX" ]; then
    say "making a Wine prefix"
    wineboot -i >build/wine/boot.log 2>&1
    wineserver -w
fi
# Stays for the whole run: each start would take a second.
wineserver -p

say "testing under Wine ($(wine --version))"
ctest --preset windows "$@"
