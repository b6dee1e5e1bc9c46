#!/usr/bin/env bash
# What the live view, a record and a report cost while a test runs, in processor time: on a drive that takes its time, at
# some thousand transfers a second, and on a file of holes that is read as fast as it can be.
#   --quick  short runs: a look, no figure to keep
# Figures never make it fail.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"
# shellcheck source=bench/common.sh
source "$root/bench/common.sh"

sectors=19200000 gibibytes=64
case "${1:-}" in
    "") ;;
    --quick) sectors=3200000 gibibytes=16 ;;
    *) fail "unknown option $1" "use it as: reporters.sh [--quick]" ;;
esac
"$root/scripts/setup.sh" --bench
build_release
folder="$(mktemp -d -p /dev/shm)"
trap 'rm -rf "$folder"' EXIT

# measure WHAT DEVICE
measure() {
    local figures cost rate seconds
    figures="$(/usr/bin/python3 -B "$root/bench/reporters.py" "$drivetest" "$2")"
    read -r cost rate seconds <<<"$figures"
    echo "$1: $rate transfers a second for $seconds s"
    judge "view, record and report" "$cost" "%" "< 1"
}

measure "a drive that takes its time" "sim:disk,sectors=$sectors,speed=1000,real-time"
truncate -s "${gibibytes}G" "$folder/image"
measure "a file of holes" "$folder/image"
