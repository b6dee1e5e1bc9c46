#!/usr/bin/env bash
# How long "drivetest overview" and "drivetest metrics" take for 10,000 records, and how much memory; and how large what
# they write is. The records are 300 real runs on simulated drives, and copies of these with other drives' names,
# times, ages and rates.
#   --quick  a tenth of it: a look, no figure to keep
# DRIVETEST names another program than the release build. Figures never make it fail.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"
# shellcheck source=bench/common.sh
source "$root/bench/common.sh"

real=300 records=10000
case "${1:-}" in
    "") ;;
    --quick) real=30 records=1000 ;;
    *) fail "unknown option $1" "use it as: overview.sh [--quick]" ;;
esac
"$root/scripts/setup.sh" --bench
[ -n "${DRIVETEST:-}" ] || build_release
program="${DRIVETEST:-$drivetest}"
folder="$(mktemp -d)"
trap 'rm -rf "$folder"' EXIT
export DRIVETEST_STATE="$folder/state" XDG_CONFIG_HOME="$folder/config"

/usr/bin/python3 -B "$root/bench/overview.py" "$program" "$folder" "$real" "$records"
echo "$records records of $real real runs, $(($(find "$folder/records" -type f -printf '%s\n' | awk '{sum += $1} END {printf "%d", sum}') / 1048576)) MiB"

# measure WHAT FILE BAR COMMAND...: prints time, memory and the size of the file that it makes.
measure() {
    local what="$1" file="$2" bar="$3" round seconds kibibytes least=1000000 most=0
    shift 3
    for round in 1 2 3; do
        /usr/bin/time -f '%e %M' -o "$folder/time" "$@" >/dev/null
        read -r seconds kibibytes <"$folder/time"
        [ "$(calculate 0 "$seconds < $least")" = 0 ] || least="$seconds"
        [ "$kibibytes" -le "$most" ] || most="$kibibytes"
    done
    echo "$what"
    judge "time, best of $round" "$least" "s" "< 20"
    judge "memory" "$((most / 1024))" "MiB" "< 200"
    judge "what it writes" "$(calculate 2 "$(stat -c %s "$file") / 1048576")" "MiB" "$bar"
}

mkdir "$folder/metrics"
measure "overview" "$folder/overview.html" "< 10" \
    "$program" overview "$folder/records" -o "$folder/overview.html" --force
measure "metrics" "$folder/metrics/drivetest.prom" "< 100" \
    "$program" metrics "$folder/records" -o "$folder/metrics"
