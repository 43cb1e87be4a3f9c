#!/usr/bin/env bash
# demo.sh BUILD_DIR [OPTIONS OF THE HOST]: runs the demo host; `./run demo` builds it and calls this.
#
# With options it only runs the host with them. Without: with a display it opens the window for the user;
# with none, the five console checks, a self-update, and then the tour in all languages and sizes, pictures and
# all.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/lib.sh
build=${1:?usage: scripts/demo.sh BUILD_DIR [OPTIONS]}
shift
host=$build/demo/CameraDesk
pictures=$PWD/build/demo
[[ $build != *-qt6 ]] || pictures+=-qt6

[ -x "$host" ] || {
    echo "There is no $host; build it first (./run demo does)." >&2
    exit 1
}
private=$(mktemp -d)
trap 'rm -rf "$private"' EXIT
mkdir -m 700 "$private/runtime"
export QT_HASH_SEED=0
# The update server is on this machine, so bypass any proxy.
export no_proxy="127.0.0.1${no_proxy:+,$no_proxy}"

has_display() { [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; }

# Qt takes language and formats from LC_ALL whether the locale is installed or not; bash would complain.
locale_of() {
    case $1 in
        de) echo de_DE.UTF-8 ;;
        fr) echo fr_FR.UTF-8 ;;
        *) echo en_US.UTF-8 ;;
    esac
}

# run_host LANGUAGE ARGUMENTS: unattended, isolated from the user's files.
run_host() {
    local language=$1
    shift
    mkdir -p "$private/tmp"
    env LC_ALL="$(locale_of "$language")" QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}" \
        XDG_RUNTIME_DIR="$private/runtime" HOME="$private" TMPDIR="$private/tmp" \
        "$host" --language "$language" "$@"
}

# check HEADING FINAL_STATE ARGUMENTS
check() {
    local heading=$1 expected=$2 output=$private/output
    shift 2
    say "$heading"
    rm -f "$private/settings.ini"
    run_host en --check --settings "$private/settings.ini" "$@" | tee "$output"
    grep -qxF "final state: $expected" "$output" || {
        echo "demo: expected the final state $expected" >&2
        return 1
    }
}

all_checks() {
    check "Check 1 of 5: Camera Desk 4.2.0, the server has newer packages" "2 (update available)"
    grep -qF "Camera Desk 4.3" "$private/output" || {
        echo "demo: the newer packages are not named" >&2
        return 1
    }
    check "Check 2 of 5: Camera Desk 9.9, nothing is newer" "3 (up to date)" --host-version 9.9
    check "Check 3 of 5: the server does not run" "6 (error)" --server stopped
    check "Check 4 of 5: the server says nothing (this takes 15 seconds)" "4 (timeout)" --server hanging
    check "Check 5 of 5: the server has an empty document" "5 (no update available)" --server empty
}

all_tours() {
    local language scale
    for language in en fr de; do
        for scale in 1 2; do
            say "Tour: language $language, scale ${scale}00 %"
            rm -f "$private/settings.ini"
            QT_SCALE_FACTOR=$scale run_host "$language" --tour --settings "$private/settings.ini" \
                --pictures "$pictures"
        done
    done
    say "All checks and tours are done; $(find "$pictures" -name '*.png' | wc -l) pictures in $pictures"
}

self_update() {
    say "Self-update: 4.2.0 downloads 4.3.0, hands over, and 4.3.0 starts in its place"
    mkdir -p "$private/tmp"
    env LC_ALL=C.UTF-8 QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}" XDG_RUNTIME_DIR="$private/runtime" \
        HOME="$private" TMPDIR="$private/tmp" \
        "$build/demo/SelfUpdate" "$host" "$build/demo/next/CameraDesk" "$build"/libSoftwareUpdateClient*.so.?
}

# With the given options, in the user's own environment if there is one.
run_with_options() {
    local host_locale= language=en previous='' argument unattended=no
    for argument in "$@"; do
        [ "$previous" = --language ] && language=$argument
        case $argument in
            --language=*) language=${argument#*=} ;;
            --check | --tour | -h | --help | --help-all | -v | --version) unattended=yes ;;
        esac
        previous=$argument
    done
    export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$private/runtime}
    case "$*:${LC_ALL:-${LANG:-C}}" in
        *--language* | *:C | *:C.* | *:POSIX) host_locale=$(locale_of "$language") ;;
    esac
    if ! has_display && [ -z "${QT_QPA_PLATFORM:-}" ]; then
        [ $unattended = yes ] || {
            echo "There is no display for the window; add --check or --tour." >&2
            return 1
        }
        export QT_QPA_PLATFORM=offscreen XDG_RUNTIME_DIR=$private/runtime
    fi
    env ${host_locale:+LC_ALL="$host_locale"} "$host" "$@"
}

if [ $# -gt 0 ]; then
    run_with_options "$@"
elif has_display; then
    say "Camera Desk is open: try Help > Check for updates (./run demo --tour plays by itself)"
    run_with_options
else
    rm -rf "$pictures"
    all_checks
    self_update
    all_tours
fi
