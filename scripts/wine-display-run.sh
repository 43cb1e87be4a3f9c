#!/usr/bin/env bash
# wine-display-run.sh PROGRAM.exe [ARGUMENTS]: wine-run.sh with a virtual display (Xvfb), for windows as
# Windows itself creates them, with Qt's "windows" platform.
#
# A Wine server started without a display never finds one, so this uses a prefix of its own.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
if [ -z "${DISPLAY:-}" ]; then
    exec xvfb-run -a -s '-screen 0 1280x1024x24' "scripts/$(basename "${BASH_SOURCE[0]}")" "$@"
fi
export WINEPREFIX=$PWD/build/wine/display-prefix HOME=$PWD/build/wine/home XDG_RUNTIME_DIR=$PWD/build/wine/runtime
export WINEDEBUG=-all LC_ALL=C.UTF-8 QT_QPA_PLATFORM=windows
mkdir -p "$HOME"
mkdir -pm 700 "$XDG_RUNTIME_DIR"
trap 'wineserver -k || true' EXIT
if [ ! -d "$WINEPREFIX" ]; then
    wineboot -i >build/wine/display-boot.log 2>&1
    wineserver -w
fi
scripts/wine-run.sh "$@"
