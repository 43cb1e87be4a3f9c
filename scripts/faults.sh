#!/usr/bin/env bash
# faults.sh [COUNT] [SEED], faults.sh --flow N SEED, or faults.sh soak [CHECKS] [ROUNDS]: complete flows with
# random faults, or endurance runs. Exit code 1 if a condition is violated.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/lib.sh

program=campaign
if [ "${1:-}" = soak ]; then
    program=soak
    shift
fi
cmake --build --preset dev --target "faults_$program"
export QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8 XDG_RUNTIME_DIR=$PWD/build/dev/runtime
unset http_proxy https_proxy all_proxy
"build/dev/faults/$program/app/faults_$program" "$@"
