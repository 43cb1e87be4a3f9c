#!/usr/bin/env bash
# What ./run lint does, in the order of cost; `scripts/lint.sh STEP ...` runs single steps.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/lib.sh

code_folders=(types support catalogue ui install client updateinstaller publisher demo tests benchmarks fuzz)

sources() { # PATTERN...
    local folder
    for folder in "${code_folders[@]}"; do
        if [ -d "$folder" ]; then
            find "$folder" -type f \( "$@" \)
        fi
    done | sort
}

step_format() {
    say "clang-format"
    sources -name '*.cpp' -o -name '*.h' | xargs clang-format --dry-run --Werror
}

# Include paths alone do not keep the folders apart: all share one root.
step_includes() {
    say "include directions"
    local failed=0 folder allowed found
    declare -A may=(
        [support]="support"
        [types]="types support"
        [catalogue]="catalogue types support"
        [ui]="ui types support"
        [install]="install catalogue ui types support"
        [client]="client install catalogue ui types support"
        [updateinstaller]="updateinstaller"
        [publisher]="publisher catalogue types support"
    )
    for folder in "${!may[@]}"; do
        [ -d "$folder" ] || continue
        allowed=$(tr ' ' '|' <<<"${may[$folder]}")
        found=$(grep -rnE '#include "[a-z]+/' "$folder" --include='*.cpp' --include='*.h' |
            grep -vE "#include \"($allowed)/" || true)
        if [ -n "$found" ]; then
            echo "$folder/ may include from ${may[$folder]} only:"
            echo "$found"
            failed=1
        fi
    done
    found=$(grep -rnE '#include [<"]Q' updateinstaller --include='*.cpp' --include='*.h' 2>/dev/null || true)
    [ -z "$found" ] || { echo "updateinstaller/ uses no Qt:"; echo "$found"; failed=1; }
    return $failed
}

step_headers() {
    say "public headers compiled alone"
    configure clang
    cmake --build --preset clang --target all_verify_interface_header_sets
}

build_clang() {
    configure clang
    cmake --build --preset clang
}

# Generated files have no place in the report; everything else that is compiled has.
compiled_sources() {
    local root
    root=$(pwd)
    grep -oE '"file": "[^"]+"' build/clang/compile_commands.json | cut -d'"' -f4 |
        grep "^$root/" | grep -v "^$root/build/" | sort -u
}

step_tidy() {
    build_clang
    say "clang-tidy"
    # Its count of warnings in headers that are not ours goes to stderr.
    compiled_sources | xargs -P "$(nproc)" -n 4 clang-tidy -p build/clang --quiet 2>/dev/null
}

step_clazy() {
    build_clang
    say "clazy"
    # Its exit code says nothing: any output is a finding.
    local found
    found=$(compiled_sources | grep -v "^$(pwd)/updateinstaller/" |
        xargs -P "$(nproc)" -n 4 clazy-standalone -p build/clang \
            --checks=level0,level1 \
            --header-filter="$(pwd)/(types|support|catalogue|ui|install|client|publisher|demo|tests)/.*" \
            --ignore-dirs='.*(_autogen|/usr/|/build/).*' 2>&1 |
        grep -E 'warning:|error:' | sort -u || true)
    if [ -n "$found" ]; then
        echo "$found"
        return 1
    fi
}

steps=("$@")
[ ${#steps[@]} -gt 0 ] || steps=(format includes headers tidy clazy)
for step in "${steps[@]}"; do
    "step_$step"
done
say "lint: clean (${steps[*]})"
