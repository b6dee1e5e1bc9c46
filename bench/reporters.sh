#!/usr/bin/env bash
# What the live view, a record and a report cost a run, in processor time: what a run uses that is watched in a terminal,
# less what the same run uses when it is quiet and writes nothing. Once on a drive that takes its time, at some thousand
# transfers a second, once on a file in memory that is read as fast as it can be.
#   --quick  short runs: a look, no figure to keep
# Figures never make it fail.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"
# shellcheck source=bench/common.sh
source "$root/bench/common.sh"

sectors=12800000 mebibytes=1024 rounds=3
case "${1:-}" in
    "") ;;
    --quick) sectors=1280000 mebibytes=256 rounds=1 ;;
    *) fail "unknown option $1" "use it as: reporters.sh [--quick]" ;;
esac
"$root/scripts/setup.sh" --bench
build_release
folder="$(mktemp -d -p /dev/shm)"
trap 'rm -rf "$folder"' EXIT

# measure WHAT TEST DEVICE ROUNDS
measure() {
    local cost rate used seconds
    read -r cost rate used seconds < <(/usr/bin/python3 -B "$root/bench/reporters.py" "$drivetest" "$2" "$3" "$4")
    echo "$1: $rate transfers a second for $seconds s, of which the quiet run takes $used % of a core"
    judge "view, record and report" "$cost" "%" "< 1"
}

measure "a drive that takes its time" LinearReadTest "sim:disk,sectors=$sectors,speed=1000,real-time" "$rounds"
head -c "${mebibytes}M" /dev/urandom >"$folder/image"
measure "a file in memory" LinearReadTest "$folder/image" $((rounds * 5))
