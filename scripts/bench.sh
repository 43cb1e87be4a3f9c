#!/usr/bin/env bash
# Runs the benchmarks of a build: bench.sh BUILD_DIR [NAME [ARGUMENTS]]; without a name all of them. Ends with a
# table of the figures: what was measured, ours, the reference, and their relation.
set -euo pipefail
build=$1
name=${2:-}
[ $# -gt 1 ] && shift 2 || shift
[ "$name" != differential ] || exec scripts/differential-pairs.sh "$build" build/pairs
export QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8 XDG_RUNTIME_DIR=$build/runtime XDG_CACHE_HOME=$build/cache
# Qt warns about a folder that does not exist or that others may read.
mkdir -p "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
figures=$(mktemp)
copy=$(mktemp)
trap 'rm -f "$figures" "$copy"' EXIT

# Prints the output of a program; its figures go to the table. The offscreen platform reports each window that it
# does not size.
show() {
    tee >(grep '^FIGURE|' >>"$figures" || true) |
        { grep -vE '^FIGURE\||^[[:blank:]]*$|This plugin does not support propagateSizeHints' || true; }
}
figure() { printf 'FIGURE|%s|%s|%s|%s\n' "$@" >>"$figures"; }

for program in "$build"/benchmarks/bench_${name:-*}; do
    [ -x "$program" ] && [ -f "$program" ] || { echo "no benchmark '$name' in $build" >&2; exit 2; }
    printf '\n== %s\n' "$(basename "$program")"
    "$program" "$@" 2>&1 | show
done

if [ -z "$name" ]; then
    printf '\n== self-update\n'
    library=$(echo "$build"/libSoftwareUpdateClient*.so)
    update=$("$build/demo/SelfUpdate" "$build/demo/CameraDesk" "$build/demo/next/CameraDesk" \
        "$library" | tee /dev/stderr | grep '^self-update: from')
    figure "self-update of 50 MiB, from the check to the new version" \
        "$(sed -n 's/.*answer \([0-9]* ms\),.*/\1/p' <<<"$update")" "" \
        "$(sed -n 's/.* first \([0-9]* ms\).*/\1/p' <<<"$update") without the application"
    for file in "$library" "$build/updateinstaller/UpdateInstaller"; do
        strip -o "$copy" "$file"
        figure "size of $(basename "$file"), stripped" "$(($(stat -L -c %s "$copy") / 1024)) KiB" "" ""
    done
fi

printf '\n%-58s %-10s %s\n' "what" "ours" "reference"
sleep 0.2 # the last lines are still on their way through tee
awk -F '|' '{ printf "%-58s %-10s %-22s %s\n", $2, $3, $4, $5 }' "$figures" | sed 's/ *$//'
