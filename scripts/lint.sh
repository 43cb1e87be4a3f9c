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

# "KEY FILE" for each compiled source: the key stands for the source, all headers of ours that it includes, and
# the checks. Two checkouts of the same state have the same keys.
tidy_keys() {
    local root=$PWD config file sums
    config=$(cat .clang-tidy <(clang-tidy --version) | sha256sum)
    {
        find . -path ./build -prune -o -type f \( -name '*.cpp' -o -name '*.h' \) -exec sha256sum {} + |
            sed "s|  \./|  $root/|"
        ninja -C build/clang -t deps
    } | awk -v root="$root/" '
        NF == 2 && length($1) == 64 { sum[$2] = $1; next }
        /: #deps/ { source = ""; next }
        NF == 1 && index($1, root) == 1 {
            if (source == "") { source = $1 }
            if ($1 in sum) { sums[source] = sums[source] sum[$1] }
        }
        END { for (file in sums) { print file, sums[file] } }' |
        while read -r file sums; do
            echo "$(sha256sum <<<"$config $sums" | cut -d' ' -f1) $file"
        done
}

# Notes in $tidy_cache what was found clean: it takes seconds a file, and most do not change.
tidy_cache=${XDG_CACHE_HOME:-$HOME/.cache}/softwareupdate-clang-tidy
tidy_one() {
    local key=$1 file=$2
    [ "$key" != none ] && [ -e "$tidy_cache/$key" ] && return 0
    # Its count of warnings in headers that are not ours goes to stderr.
    clang-tidy -p build/clang --quiet "$file" 2>/dev/null && touch "$tidy_cache/$key"
}

step_tidy() {
    build_clang
    say "clang-tidy"
    mkdir -p "$tidy_cache"
    export -f tidy_one
    export tidy_cache
    local keys
    keys=$(tidy_keys)
    # All that is compiled, and nothing generated.
    compiled_sources | while read -r file; do
        awk -v file="$file" '$2 == file { print; found = 1 } END { if (!found) print "none", file }' <<<"$keys"
    done | xargs -P "$(nproc)" -L 1 bash -c 'tidy_one "$0" "$1"'
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
