#!/usr/bin/env bash
# Cross-compiles everything for Windows. The folder with Qt for Windows is SOFTWAREUPDATE_WINDOWS_SYSROOT,
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
say "built for Windows: $(ls build/windows/*.dll)"
