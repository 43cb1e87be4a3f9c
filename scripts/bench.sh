#!/usr/bin/env bash
# Runs the benchmarks of a build: bench.sh BUILD_DIR [NAME [ARGUMENTS]]; without a name all of them.
set -euo pipefail
build=$1
name=${2:-}
[ $# -gt 1 ] && shift 2 || shift
export QT_QPA_PLATFORM=offscreen

for program in "$build"/benchmarks/bench_${name:-*}; do
    [ -x "$program" ] && [ -f "$program" ] || { echo "no benchmark '$name' in $build" >&2; exit 2; }
    printf '\n== %s\n' "$(basename "$program")"
    "$program" "$@"
done
