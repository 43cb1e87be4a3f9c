#!/usr/bin/env bash
# package.sh: creates the release archives in build/packages/, and builds and runs a host with each of them,
# unpacked into an empty folder.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/lib.sh

# check WHAT PREFIX [CMAKE ARGUMENTS]
check() {
    local what=$1 prefix=$2 launcher
    shift 2
    launcher=$(command -v ccache || true)
    say "a host against the $what"
    QT_QPA_PLATFORM=offscreen cmake "-DWAY=package" "-DPREFIX=$prefix" "-DWORK=$PWD/build/packages/check/$what host" \
        -DGENERATOR=Ninja -DBUILD_TYPE=RelWithDebInfo "-DLAUNCHER=$launcher" "$@" -P tests/packaging/consumer.cmake
}

rm -rf build/packages
mkdir -p build/packages/check/{TGZ,DEB,ZIP}

configure release
say "building (release)"
cmake --build --preset release --target SoftwareUpdateClient softwareupdate_installer softwareupdate_publish
say "packing for Linux"
cpack --config build/release/CPackConfig.cmake -B "$PWD/build/packages"
tar -C build/packages/check/TGZ -xzf build/packages/*.tar.gz
dpkg-deb -x build/packages/*.deb build/packages/check/DEB
check TGZ "$(echo "$PWD"/build/packages/check/TGZ/*)" -DCOMPILER=c++
check DEB "$PWD/build/packages/check/DEB/usr" -DCOMPILER=c++

if find_windows_sysroot; then
    configure windows
    say "building (windows)"
    cmake --build --preset windows
    say "packing for Windows"
    cpack --config build/windows/CPackConfig.cmake -B "$PWD/build/packages"
    (cd build/packages/check/ZIP && cmake -E tar xf ../../*.zip)
    start_wine
    check ZIP "$(echo "$PWD"/build/packages/check/ZIP/*)" "-DTOOLCHAIN=$PWD/cmake/toolchains/mingw-w64.cmake" \
        "-DEMULATOR=$PWD/scripts/wine-run.sh"
else
    say "no Qt for Windows at hand: no archive for Windows"
fi

rm -rf build/packages/_CPack_Packages
say "packages, each used by a host"
ls -l build/packages/*.*
