#!/usr/bin/env bash
# What many drives cost that are read at the same time: processor seconds for a TiB, and memory of each process, of
# "drivetest run read" against "dd iflag=direct", for 1, 8 and 32 drives. Needs root: the drives are loop devices over
# files in memory; with a virtual machine at hand, also null_blk and scsi_debug there (--lab).
#   --quick  small files and two rounds: a look, no figure to keep
#   --lab    in a virtual machine as well, which takes some minutes
# Figures never make it fail.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"
# shellcheck source=bench/common.sh
source "$root/bench/common.sh"

mebibytes=1 rounds=3 most=32 lab=no divisor=1
options=()
for option in "$@"; do
    case "$option" in
        --lab) lab=yes ;;
        --quick) options+=("$option") divisor=8 ;;
        *) options+=("$option") ;;
    esac
done
read_options many_drives.sh 1 2 "${options[@]}"
require_loop_devices 1
[ -n "${DRIVETEST:-}" ] || build_release
program="${DRIVETEST:-$drivetest}"
attach_memory 1

# attach_sparse DRIVES MEBIBYTES: files that hold nothing take no memory, and are read like others.
attach_sparse() {
    local i
    for ((i = 0; i < $1; ++i)); do
        truncate -s "$2M" "$folder/sparse$i"
        loops+=("$(losetup --find --show "$folder/sparse$i")")
    done
    megabytes="$2"
}

detach_sparse() {
    while [ ${#loops[@]} -gt 1 ]; do
        losetup --detach "${loops[-1]}"
        unset 'loops[-1]'
    done
    rm -f "$folder"/sparse*
}

read_by_drivetest() { "$program" run LinearReadTest "$1" -q --events "$folder/$2.jsonl" --force; }
read_by_dd() { dd if="$1" of=/dev/null bs="$dd_bytes" iflag=direct status=none; }

# cost NAME DRIVES: reads so many drives side by side; leaves processor seconds for a TiB in $seconds.
cost() {
    local name="$1" drives="$2" i children=()
    local TIMEFORMAT='%U %S'
    for ((i = 1; i <= drives; ++i)); do
        { time "read_by_$name" "${loops[$i]}" "$i" >"$folder/$i.out" 2>&1 </dev/null; } 2>"$folder/$i.time" &
        children+=($!)
    done
    for i in "${children[@]}"; do
        wait "$i" || fail "a reading by $name failed" "it said: $(tail -qn 2 "$folder"/*.out "$folder"/*.time | head -n 5)"
    done
    seconds="$(cat "$folder"/*.time | awk -v mebibytes="$((drives * megabytes))" \
        '{sum += $1 + $2} END {printf "%.2f", sum * 1048576 / mebibytes}')"
    rm -f "$folder"/*.time "$folder"/*.jsonl
}

# The lowest of the rounds: whatever else runs only adds.
declare -A lowest
keep_lowest() {
    if [ -z "${lowest[$1]:-}" ] || [ "$(calculate 0 "$2 < ${lowest[$1]}")" = 1 ]; then
        lowest[$1]="$2"
    fi
}

echo "reading loop devices over files in memory, best of $rounds rounds, processor seconds for a TiB"
for drives in 1 8 "$most"; do
    attach_sparse "$drives" $(((drives == 1 ? 32768 : 131072 / drives) / divisor))
    for ((round = 0; round < rounds; ++round)); do
        for dd_bytes in 1M 4M; do
            cost dd "$drives"
            keep_lowest "dd" "$seconds"
        done
        cost drivetest "$drives"
        keep_lowest "drivetest" "$seconds"
    done
    detach_sparse
    printf '  %-30s dd %8.1f   drivetest %8.1f\n' "$drives of $megabytes MB" "${lowest[dd]}" "${lowest[drivetest]}"
    judge "drivetest / dd, $drives drives" "$(calculate 2 "${lowest[drivetest]} / ${lowest[dd]}")" "" "<= 1.0"
    lowest=()
done

peak_memory() {
    command time --quiet -f %M -o "$folder/memory" "$@" >"$output" 2>&1 </dev/null ||
        fail "\"$*\" failed" "it said: $(tail -n 5 "$output")"
    calculate 1 "$(tail -n 1 "$folder/memory") / 1024"
}

echo "peak memory of one process"
attach_sparse 1 16384  # large enough for a surface of a million cells
judge "a loop device" "$(peak_memory "$program" run LinearReadTest "${loops[1]}" --events "$record" --force)" MiB "<= 12"
detach_sparse
judge "18 TB, simulated, a sample of it" "$(peak_memory "$program" run LinearReadTest sim:disk,sectors=35156656128 \
    -p SectorPercentToTest=0.01 --events "$record" --force)" MiB "<= 12"

if [ "$lab" = yes ]; then
    export PYTHONDONTWRITEBYTECODE=1 DRIVETEST="$program" LAB_KERNEL="${LAB_KERNEL:-$root/build/release/kernel}"
    /usr/bin/python3 "$root/bench/many_drives.py" "$most"
fi
