# Shared by ./run and the scripts below this folder; to be sourced from the project's root.

# What one checkout has compiled serves another in a different folder as well.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1

say() { printf '\n== %s\n' "$*"; }

# Installs the packages of the lists that are missing; asks for nothing.
setup_packages() {
    local lists=(scripts/debian-packages.txt) package missing=()
    [ "${1:-}" = extra ] && lists+=(scripts/debian-packages-extra.txt)
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

# Configures a preset once; CMake itself notices later changes of its files.
configure() {
    local preset=$1 launcher=()
    [ -f "build/$preset/build.ninja" ] && return 0
    command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    say "configuring ($preset)"
    cmake --preset "$preset" "${launcher[@]}"
}
