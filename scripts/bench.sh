#!/usr/bin/env bash
# Runs the benchmarks of a build: bench.sh BUILD_DIR [NAME [ARGUMENTS]]; without a name all of them. Ends with a
# table of the figures: what was measured, ours, what it is compared with, and how the two relate.
set -euo pipefail
build=$1
name=${2:-}
[ $# -gt 1 ] && shift 2 || shift
export QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8 XDG_RUNTIME_DIR=$build/runtime
figures=$(mktemp)
copy=$(mktemp)
trap 'rm -f "$figures" "$copy"' EXIT

# What a program prints, and of that what belongs into the table.
show() { tee >(grep '^FIGURE|' >>"$figures" || true) | { grep -v '^FIGURE|' || true; } | cat -s; }
figure() { printf 'FIGURE|%s|%s|%s|%s\n' "$@" >>"$figures"; }

for program in "$build"/benchmarks/bench_${name:-*}; do
    [ -x "$program" ] && [ -f "$program" ] || { echo "no benchmark '$name' in $build" >&2; exit 2; }
    printf '\n== %s\n' "$(basename "$program")"
    "$program" "$@" | show
done

if [ -z "$name" ]; then
    printf '\n== self-update\n'
    update=$("$build/demo/SelfUpdate" "$build/demo/CameraDesk" "$build/demo/next/CameraDesk" \
        "$build/libSoftwareUpdateClient.so" | tee /dev/stderr | grep '^self-update: from')
    figure "self-update of 50 MiB, from the check to the new version" \
        "$(sed -n 's/.*answer \([0-9]* ms\),.*/\1/p' <<<"$update")" "" \
        "$(sed -n 's/.* first \([0-9]* ms\).*/\1/p' <<<"$update") without the application"
    for file in libSoftwareUpdateClient.so updateinstaller/UpdateInstaller; do
        strip -o "$copy" "$build/$file"
        figure "size of $(basename "$file"), stripped" "$(($(stat -L -c %s "$copy") / 1024)) KiB" "" ""
    done
fi

printf '\n%-58s %-10s %-22s %s\n' "what" "ours" "beside" ""
sleep 0.2 # the last lines are still on their way through tee
awk -F '|' '{ printf "%-58s %-10s %-22s %s\n", $2, $3, $4, $5 }' "$figures"
