#!/usr/bin/env bash
# fuzz.sh [SECONDS] [NAME]: runs each fuzz target, or one of them, for the given time. New inputs are kept
# below build/fuzz/corpus; one that fails is left in build/fuzz and printed. Move it to fuzz/corpus/NAME
# and give it a name that says what is special about it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/lib.sh
seconds=${1:-60}
only=${2:-}

names=()
for corpus in fuzz/corpus/*/; do
    name=$(basename "$corpus")
    [ -z "$only" ] || [ "$only" = "$name" ] || continue
    names+=("$name")
done
[ ${#names[@]} -gt 0 ] || { echo "fuzz: there is no target '$only'" >&2; exit 2; }
cmake --build --preset fuzz --target "${names[@]/#/fuzz_}"

export QT_QPA_PLATFORM=offscreen
export ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1 UBSAN_OPTIONS=print_stacktrace=1
for name in "${names[@]}"; do
    say "fuzzing $name for $seconds s"
    found=build/fuzz/corpus/$name
    mkdir -p "$found"
    # Reading a document may take up to 300 MB and a second or two.
    build/fuzz/fuzz/fuzz_"$name" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
        -print_final_stats=1 -artifact_prefix="build/fuzz/$name-" "$found" "fuzz/corpus/$name" \
        >"build/fuzz/$name.log" 2>&1 || {
        grep -vE '^#[0-9]' "build/fuzz/$name.log" | tail -60
        exit 1
    }
    grep -E '^#[0-9]+.*cov:' "build/fuzz/$name.log" | tail -1
    grep -E 'number_of_executed_units|average_exec_per_sec|peak_rss' "build/fuzz/$name.log"
done
say "fuzz: nothing found"
