#!/usr/bin/env bash
# [QT=6] build-sysroot.sh FOLDER [STAGE...]: builds what the cross build for Windows needs, from the distribution's own
# source packages, into FOLDER: with Qt 5.15, or with QT=6 in the environment Qt 6. Made for an empty Debian 12 machine; it is
# not part of CI. Stages: packages zlib libdeflate libzip libsodium libzstd httplib qt runtime; with Qt 6, compat after qt (default:
# all, in this order). Sources and objects stay in FOLDER.build.
set -euo pipefail
[ $# -gt 0 ] || { sed -n '2,5s/^# //p' "$0" >&2; exit 2; }
mkdir -p "$1" "$1.build/bin"
target=$(realpath "$1") work=$(realpath "$1.build")
shift
qt=${QT:-5}
[[ $qt = [56] ]] || { echo "QT is '$qt'; it may be 5 or 6" >&2; exit 2; }
stages=("$@")
if [ $# -eq 0 ]; then
    stages=(packages zlib libdeflate libzip libsodium libzstd httplib qt)
    [ "$qt" = 5 ] || stages+=(compat)
    stages+=(runtime)
fi
jobs=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
triplet=x86_64-w64-mingw32

# Under the plain names, which otherwise select the other thread model.
for tool in gcc g++; do
    ln -sf "$(command -v $triplet-$tool-posix || echo /usr/bin/$triplet-$tool-posix)" "$work/bin/$triplet-$tool"
done
export PATH=$work/bin:$PATH

# source_of PACKAGE: unpacks it below $work and names the folder.
source_of() {
    local folder
    folder=$(find "$work" -maxdepth 1 -type d -name "$1-*" | head -1)
    if [ -z "$folder" ]; then
        (cd "$work" && apt-get source -qq "$1" >/dev/null 2>&1) || {
            echo "no source package $1: are there deb-src lines?" >&2
            return 1
        }
        folder=$(find "$work" -maxdepth 1 -type d -name "$1-*" | head -1)
    fi
    echo "$folder"
}

# with_cmake PACKAGE [ARGUMENTS]
with_cmake() {
    local source
    source=$(source_of "$1")
    cmake -S "$source" -B "$work/build-$1" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_SYSTEM_NAME=Windows \
        -DCMAKE_SYSTEM_PROCESSOR=x86_64 -DCMAKE_C_COMPILER=$triplet-gcc -DCMAKE_CXX_COMPILER=$triplet-g++ \
        -DCMAKE_RC_COMPILER=$triplet-windres \
        -DCMAKE_FIND_ROOT_PATH="$target" -DCMAKE_FIND_ROOT_PATH_MODE_PROGRAM=NEVER \
        -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY \
        -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=ONLY -DCMAKE_INSTALL_PREFIX="$target" -DBUILD_SHARED_LIBS=OFF "${@:2}"
    cmake --build "$work/build-$1" -j "$jobs"
    cmake --install "$work/build-$1"
}

license() { install -D -m 644 "$1" "$target/licenses/$2"; }

stage_packages() {
    sed -i 's/^Types: deb$/Types: deb deb-src/' /etc/apt/sources.list.d/*.sources 2>/dev/null || true
    apt-get update -qq
    local host_tools=()
    [ "$qt" = 5 ] || host_tools=(qt6-base-dev qt6-base-dev-tools)
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends autoconf automake build-essential cmake dpkg-dev \
        g++-mingw-w64-x86-64-posix libtool ninja-build perl pkg-config python3 "${host_tools[@]}" >/dev/null
}

stage_zlib() {
    local source
    source=$(source_of zlib)
    (
        cd "$source"
        # The source package lacks the Windows-specific parts, which are not needed.
        CHOST=$triplet ./configure --static --uname=GNU
        make -j "$jobs" libz.a
        install -D -m 644 -t "$target/include" zlib.h zconf.h
        install -D -m 644 -t "$target/lib" libz.a
    )
    license "$source/LICENSE" zlib.txt
}

stage_libdeflate() {
    local source
    source=$(source_of libdeflate)
    (
        cd "$source"
        $triplet-gcc -O2 -I. -c lib/*.c lib/*/*.c
        mkdir -p "$target/lib"
        rm -f "$target/lib/libdeflate.a"
        $triplet-ar rcs "$target/lib/libdeflate.a" ./*.o
        install -D -m 644 -t "$target/include" libdeflate.h
    )
    license "$source/COPYING" libdeflate.txt
}

stage_libzip() {
    local source
    source=$(source_of libzip)
    with_cmake libzip -DENABLE_BZIP2=OFF -DENABLE_LZMA=OFF -DENABLE_ZSTD=OFF -DENABLE_GNUTLS=OFF \
        -DENABLE_OPENSSL=OFF -DENABLE_MBEDTLS=OFF -DBUILD_TOOLS=OFF -DBUILD_REGRESS=OFF -DBUILD_EXAMPLES=OFF \
        -DBUILD_DOC=OFF
    license "$source/LICENSE" libzip.txt
}

stage_libsodium() {
    local source
    source=$(source_of libsodium)
    (
        cd "$source"
        autoreconf -fi
        ./configure --host=$triplet --prefix="$target" --disable-shared --enable-static --quiet
        make -j "$jobs" --quiet
        make install --quiet
    )
    license "$source/LICENSE" libsodium.txt
}

stage_libzstd() {
    local source
    source=$(source_of libzstd)
    make -C "$source/lib" CC=$triplet-gcc AR=$triplet-ar TARGET_SYSTEM=Windows_NT -j "$jobs" libzstd.a
    install -D -m 644 -t "$target/include" "$source"/lib/zstd.h "$source"/lib/zstd_errors.h
    install -D -m 644 -t "$target/lib" "$source/lib/libzstd.a"
    license "$source/LICENSE" zstd.txt
}

stage_httplib() {
    local source
    source=$(source_of cpp-httplib)
    install -D -m 644 -t "$target/include" "$source/httplib.h"
    license "$source/LICENSE" cpp-httplib.txt
}

stage_qt() { "build_qt$qt"; }

build_qt5() {
    local source
    source=$(source_of qtbase-opensource-src)
    # The case of the names of Windows' import libraries matters on this file system.
    sed -i 's/-lCrypt32/-lcrypt32/; s/-lSecur32/-lsecur32/' "$source/src/network/ssl/ssl.pri"
    mkdir -p "$work/build-qt"
    (
        cd "$work/build-qt"
        "$source/configure" -opensource -confirm-license -silent -release -shared -prefix "$target" \
            -xplatform win32-g++ -device-option CROSS_COMPILE=$triplet- -opengl desktop -no-feature-vulkan \
            -no-feature-sql -no-feature-printer -no-dbus -no-direct2d -no-feature-tabletevent -no-feature-concurrent \
            -no-openssl -schannel -no-icu -no-pch -qt-zlib -qt-pcre -qt-libpng -qt-libjpeg -qt-freetype \
            -qt-harfbuzz -nomake examples -nomake tests
        make -j "$jobs"
        make install
    )
    license "$source/LICENSE.LGPL3" Qt-LGPL3.txt
}

# with_host_qt6 PACKAGE [ARGUMENTS]: with_cmake for parts of Qt 6, whose tools (moc, rcc, uic) are those of the host's Qt of
# the same version.
with_host_qt6() {
    local multiarch
    multiarch=$(dpkg-architecture -qDEB_BUILD_MULTIARCH)
    with_cmake "$1" -DCMAKE_FIND_ROOT_PATH="$target;/usr/$triplet" -DCMAKE_PREFIX_PATH="$target" -DBUILD_SHARED_LIBS=ON \
        -DQT_HOST_PATH=/usr -DQT_HOST_PATH_CMAKE_DIR="/usr/lib/$multiarch/cmake" -DQT_BUILD_EXAMPLES=OFF \
        -DQT_BUILD_TESTS=OFF "${@:2}"
}

build_qt6() {
    # tabletevent: the header of Wintab is not free, so the source package lacks it. directwrite*: the platform
    # plugin does not link with them but without direct2d.
    with_host_qt6 qt6-base -DQT_QMAKE_TARGET_MKSPEC=win32-g++ -DINPUT_opengl=desktop -DINPUT_openssl=no -DFEATURE_schannel=ON \
        -DFEATURE_{vulkan,sql,printsupport,dbus,concurrent,direct2d,directwrite,directwrite3,tabletevent,icu,zstd,pkg_config}=OFF \
        -DFEATURE_system_{zlib,pcre2,png,jpeg,freetype,harfbuzz,doubleconversion,libb2,textmarkdownreader}=OFF
    license "$(source_of qt6-base)/LICENSES/LGPL-3.0-only.txt" Qt-LGPL3.txt
}

# Qt 6's module with QRegExp, QTextCodec and the SAX reader.
stage_compat() { with_host_qt6 qt6-5compat; }

# The runtime DLLs of this compiler.
stage_runtime() {
    local library
    mkdir -p "$target/bin"
    for library in libstdc++-6.dll libgcc_s_seh-1.dll; do
        install -m 644 "$($triplet-g++ -print-file-name=$library)" "$target/bin/$library"
    done
    install -m 644 /usr/$triplet/lib/libwinpthread-1.dll "$target/bin/"
}

for stage in "${stages[@]}"; do
    SECONDS=0
    echo "== $stage"
    # Not as a condition, which would disable `set -e` inside.
    set +e
    (set -e && "stage_$stage") >"$work/$stage.log" 2>&1
    status=$?
    set -e
    if [ $status -ne 0 ]; then
        tail -30 "$work/$stage.log" >&2
        echo "$stage failed; all of it is in $work/$stage.log" >&2
        exit 1
    fi
    echo "   $stage: $SECONDS s"
done
