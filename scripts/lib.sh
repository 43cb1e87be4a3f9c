# Shared by ./run and the scripts in this folder; sourced from the project's root.

# Lets checkouts in different folders share the compiler cache.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1

say() { printf '\n== %s\n' "$*"; }

# setup_packages [LIST|PRESET]: installs the missing packages of the lists without prompting.
setup_packages() {
    local lists=(scripts/debian-packages.txt) package missing=()
    case ${1:-} in
        extra) lists+=(scripts/debian-packages-extra.txt) ;;
        qt6 | *-qt6) lists+=(scripts/debian-packages-qt6.txt) ;;
    esac
    while read -r package; do
        dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
    done < <(grep -hv '^#' "${lists[@]}")
    [ ${#missing[@]} -eq 0 ] && return 0

    say "installing ${missing[*]}"
    local sudo=()
    if [ "$(id -u)" != 0 ]; then
        command -v sudo >/dev/null || {
            echo "These packages are missing, and only root can install them: ${missing[*]}" >&2
            return 1
        }
        sudo=(sudo)
    fi
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
        "${missing[@]}" >/dev/null
}

# Configures a preset once; later changes of CMake files are detected by the build.
configure() {
    local preset=$1 launcher=()
    [ -f "build/$preset/build.ninja" ] && return 0
    command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    say "configuring ($preset)"
    cmake --preset "$preset" "${launcher[@]}"
}

# find_windows_sysroot [-qt6]: names the folder with Qt for Windows in SOFTWAREUPDATE_WINDOWS_SYSROOT. It is what
# SOFTWAREUPDATE_WINDOWS_SYSROOT, with Qt 6 SOFTWAREUPDATE_WINDOWS_SYSROOT_QT6, names already; if not set, the archive
# beside the project is unpacked. Fails if there is neither.
find_windows_sysroot() {
    local suffix=${1:-} variable=SOFTWAREUPDATE_WINDOWS_SYSROOT
    [ "$suffix" != -qt6 ] || variable=SOFTWAREUPDATE_WINDOWS_SYSROOT_QT6
    local sysroot=${!variable:-} archive=../shared/windows-sysroot$suffix.tar.xz
    if [ -z "$sysroot" ]; then
        [ -f "$archive" ] || return 1
        sysroot=$PWD/build/sysroot/win64$suffix
        if [ ! -d "$sysroot/include" ]; then
            say "unpacking $archive"
            mkdir -p build/sysroot
            tar -C build/sysroot -xJf "$archive"
        fi
    fi
    export SOFTWAREUPDATE_WINDOWS_SYSROOT=$sysroot
}

# A private Wine prefix, isolated from the user's; only its own server is ended.
start_wine() {
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
    # Persistent for the whole run: each start would take a second.
    wineserver -p
}
