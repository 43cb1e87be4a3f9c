#!/usr/bin/env bash
# The steps of ./run lint, cheapest first; `scripts/lint.sh STEP ...` runs single steps.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/lib.sh

code_folders=(types trust support download catalogue ui install client updateinstaller publisher demo examples tests benchmarks fuzz faults)

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

# Include paths do not enforce this: all folders share one root.
step_includes() {
    say "include directions"
    local failed=0 folder allowed found
    declare -A may=(
        [trust]="trust"
        [support]="trust support"
        [types]="types support"
        [catalogue]="catalogue types support"
        [ui]="ui types support"
        [download]="download trust support"
        [install]="install catalogue ui download trust types support"
        [client]="client install catalogue ui download trust types support"
        [updateinstaller]="updateinstaller trust"
        [publisher]="publisher install catalogue ui download trust types support"
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
    found=$(grep -rnE '#include [<"]Q' updateinstaller trust --include='*.cpp' --include='*.h' 2>/dev/null || true)
    [ -z "$found" ] || { echo "updateinstaller/ and trust/ use no Qt:"; echo "$found"; failed=1; }
    return $failed
}

step_headers() {
    say "public headers compiled alone"
    configure clang
    cmake --build --preset clang --target all_verify_interface_header_sets
}

step_docs() {
    say "every public member documented"
    cmake --build --preset clang --target api_reference
}

# "KEY FILE" for each compiled source: the key stands for the source, all headers of ours that it includes, and
# the checks. Two checkouts of the same state have the same keys.
source_keys() {
    local root=$PWD config file sums
    config=$({ cat .clang-tidy tests/.clang-tidy; declare -f run_tidy run_clazy; clang-tidy --version; } | sha256sum)
    {
        find . -path ./build -prune -o -type f \( -name '*.cpp' -o -name '*.h' \) -exec sha256sum {} + |
            sed "s|  \./|  $root/|"
        ninja -C build/clang -t deps
        # All compiled sources except generated ones.
        grep -oE '"file": "[^"]+"' build/clang/compile_commands.json | cut -d'"' -f4 |
            grep "^$root/" | grep -v "^$root/build/" | sort -u | sed 's/^/source: /'
    } | awk -v root="$root/" '
        NF == 2 && length($1) == 64 { sum[$2] = $1; next }
        /^source: / { wanted[$2] = 1; next }
        /: #deps/ { source = ""; next }
        # ccache makes paths relative to the build folder.
        NF == 1 { path = $1; sub(/^\.\.\/\.\.\//, root, path) }
        NF == 1 && index(path, root) == 1 {
            if (source == "") { source = path }
            if (path in sum) { sums[source] = sums[source] sum[path] }
        }
        END { for (file in wanted) { print file, sums[file] } }' |
        while read -r file sums; do
            [ -n "$sums" ] || { echo "lint: what $file includes is not known" >&2; return 1; }
            echo "$(sha256sum <<<"$config $sums" | cut -d' ' -f1) $file"
        done
}

run_tidy() {
    # Its count of warnings in headers that are not ours goes to stderr.
    clang-tidy -p build/clang --quiet "$1" 2>/dev/null
}

run_clazy() {
    [[ $1 != "$PWD"/updateinstaller/* && $1 != "$PWD"/trust/* ]] || return 0
    local found
    # Its exit code is always 0: any output is a finding.
    found=$(clazy-standalone -p build/clang --checks=level0,level1 \
        --header-filter="$PWD/(types|trust|support|download|catalogue|ui|install|client|publisher|demo|examples|tests)/.*" \
        --ignore-dirs='.*(_autogen|/usr/|/build/).*' "$1" 2>&1 |
        grep -E 'warning:|error:' | sort -u || true)
    [ -z "$found" ] || { echo "$found"; return 1; }
}

# Remembers clean files: checking one takes seconds, and most do not change.
clean_sources=${XDG_CACHE_HOME:-$HOME/.cache}/softwareupdate-lint
run_unless_clean() {
    local tool=$1 key=$2 file=$3
    [ -e "$clean_sources/$tool-$key" ] && return 0
    "run_$tool" "$file" && touch "$clean_sources/$tool-$key"
}

check_sources() { # TOOL
    configure clang
    cmake --build --preset clang
    say "$1"
    mkdir -p "$clean_sources"
    export -f run_unless_clean run_tidy run_clazy
    export clean_sources
    source_keys | xargs -P "$(nproc)" -L 1 bash -c 'run_unless_clean "$@"' run "$1"
}

step_tidy() { check_sources tidy; }
step_clazy() { check_sources clazy; }

steps=("$@")
[ ${#steps[@]} -gt 0 ] || steps=(format includes headers docs tidy clazy)
for step in "${steps[@]}"; do
    "step_$step"
done
say "lint: clean (${steps[*]})"
