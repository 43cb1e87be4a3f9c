#!/usr/bin/env bash
# wine-run.sh PROGRAM.exe [ARGUMENTS]: runs a program made for Windows; CTest starts all tests through this.
#
# Wine passes most variables on unchanged, but neither QT_* nor PATH, TEMP and HOME: those are taken from
# variables of the same name with the prefix WINE.
set -euo pipefail
sysroot=${SOFTWAREUPDATE_WINDOWS_SYSROOT:?names the folder with Qt for Windows}
runtime=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-file-name=libstdc++-6.dll)")
windows_path() { printf 'Z:%s' "${1//\//\\}"; }

export WINEPREFIX=${WINEPREFIX:?names a prefix of our own}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEQT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
export WINEQT_QPA_FONTDIR='Z:\usr\share\fonts\truetype\dejavu'
export WINEQT_FORCE_STDERR_LOGGING=1
export WINEQT_HASH_SEED=${QT_HASH_SEED:-0}
export WINEQT_SCALE_FACTOR=${QT_SCALE_FACTOR:-1}
WINEPATH="$(windows_path "$sysroot/bin");$(windows_path "$runtime");$(windows_path /usr/x86_64-w64-mingw32/lib)"
build=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/build
WINEPATH+=";$(windows_path "$build/windows");$(windows_path "$build/windows-qt6")"
export WINEPATH
# Through a file: Wine's services inherit the output, and the reader of a pipe would wait for them.
output=$(mktemp)
trap 'rm -f "$output"' EXIT
status=0
wine "$@" >"$output" 2>&1 || status=$?
cat "$output"
exit $status
