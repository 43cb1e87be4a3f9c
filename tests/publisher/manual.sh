#!/usr/bin/env bash
# The manual page names every command and every option: manual.sh PUBLISH SOURCE_DIR
set -euo pipefail
publish=$1
manual=$(sed 's/\\-/-/g' "$2/docs/softwareupdate-publish.1")
commands=$("$publish" --help | sed -n 's/^  \([a-z]*\) .*/\1/p')
[ "$(wc -w <<<"$commands")" -ge 6 ]
for command in $commands; do
    grep -q "^\.SS $command$" <<<"$manual" || { echo "FAILED: no section for $command" >&2; exit 1; }
    for option in $("$publish" "$command" --help | grep -o '^  --[a-z-]*'); do
        grep -q -- "$option" <<<"$manual" || { echo "FAILED: no $option of $command" >&2; exit 1; }
    done
done
