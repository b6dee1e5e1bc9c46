#!/usr/bin/env bash
# How fast the pattern, seek and speed tests are, against badblocks and fio on the same device. Needs root: the device is a
# file in memory behind a loop device, so that what is compared is what the programs themselves cost; for the read
# speed test it is slowed down to a rate that is known.
#   --quick  a small file and fewer rounds: a look, no figure to keep
# Figures never make it fail.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"
# shellcheck source=bench/common.sh
source "$root/bench/common.sh"

mebibytes=1024 rounds=5
read_options write_tests.sh 128 2 "$@"
require_loop_devices 2
build_release
attach_memory 2
loop="${loops[0]}"
mount_loop "${loops[1]}" # where the undo journal lies
patterns=(-t 0xff -t 0 -t 0xf0 -t 0x0f)
seeks=40000
throttle_mb=100

pattern_test() {
    timed "$1" "$megabytes" "$drivetest" run LinearPatternTest "$loop" --confirm "$loop" "${@:2}"
}

# fio's figure must not come from a different sequence of the device's sectors, so every round draws anew.
random_reads() {
    local sector
    sector="$(blockdev --getss "$loop")"
    "$drivetest" run RandomSeekTest "$loop" -p SeekMethod=read -p NumberOfSeeks=$seeks --events "$record" >"$output" 2>&1
    best "drivetest, random reads a second" "$(calculate 1 "$(measured readRate) * 1048576 / $sector")"
    fio --name=seek --filename="$loop" --readonly --rw=randread --norandommap --randrepeat=0 --bs="$sector" --iodepth=1 \
        --ioengine="$1" --direct=1 --number_ios=$seeks --output-format=json --output="$folder/fio.json"
    best "fio, random reads a second" "$(jq '.jobs[0].read.iops' "$folder/fio.json")"
}

# throttle BYTES_A_SECOND COMMAND...: runs it while reads of the device are held to that rate; fails where the
# kernel offers no way.
throttle() {
    local bytes="$1" group device
    shift
    device="$(printf '%d:%d' "0x$(stat -c %t "$loop")" "0x$(stat -c %T "$loop")")"
    group="$(awk '$3 == "cgroup" && $4 ~ /(^|,)blkio(,|$)/ {print $2; exit}' /proc/mounts)/drivetest_bench"
    mkdir -p "$group" 2>/dev/null && echo "$device $bytes" >"$group/blkio.throttle.read_bps_device" || return 1
    (echo "$BASHPID" >"$group/cgroup.procs" && exec "$@") >"$output" 2>&1 || return 1
    rmdir "$group"
}

read_speed() {
    local bytes=$((throttle_mb * 1048576))
    throttle $bytes "$drivetest" run ReadSpeedTest "$loop" --events "$record" || return 1
    best "drivetest, slowed down" "$(measured readRate)"
    throttle $bytes fio --name=read --filename="$loop" --readonly --rw=read --bs=2M --iodepth=1 --ioengine=psync --direct=1 \
        --size=100% --output-format=json --output="$folder/fio.json" || return 1
    best "fio, slowed down" "$(jq '.jobs[0].read.bw_bytes / 1048576' "$folder/fio.json")"
}

echo "four patterns over $loop, $megabytes MB in memory, best of $rounds rounds, MB/s of the device"
for ((round = 0; round < rounds; ++round)); do
    timed "badblocks -n" "$megabytes" badblocks -n "${patterns[@]}" "$loop"
    pattern_test "drivetest" --no-journal
    pattern_test "drivetest with journal" --journal "$folder/files" --no-verify-restore
    pattern_test "drivetest with journal, verified" --journal "$folder/files"
    timed "badblocks -w" "$megabytes" badblocks -w "${patterns[@]}" "$loop"
    pattern_test "drivetest, PreserveData=false" -p PreserveData=false
done
print_best "badblocks -n" "drivetest" "drivetest with journal" "drivetest with journal, verified" "badblocks -w" "drivetest, PreserveData=false"
judge "drivetest / badblocks -n" "$(calculate 2 "${highest[drivetest]} / ${highest[badblocks -n]}")" "" ">= 1.5"
for journaled in "drivetest with journal" "drivetest with journal, verified"; do
    judge "$journaled / without" "$(calculate 2 "${highest[$journaled]} / ${highest[drivetest]}")" "" ">= 0.6"
    judge "$journaled / badblocks -n" "$(calculate 2 "${highest[$journaled]} / ${highest[badblocks -n]}")" "" "> 1"
done
judge "drivetest, PreserveData=false / badblocks -w" \
    "$(calculate 2 "${highest[drivetest, PreserveData=false]} / ${highest[badblocks -w]}")" "" ">= 1.5"

echo "random reads of one sector, one at a time"
for ((round = 0; round < rounds; ++round)); do
    random_reads psync
done
print_best "fio, random reads a second" "drivetest, random reads a second"
judge "drivetest / fio" \
    "$(calculate 3 "${highest[drivetest, random reads a second]} / ${highest[fio, random reads a second]}")" "" ">= 0.95"

echo "sequential reads, held to $throttle_mb MB/s"
if read_speed; then
    print_best "fio, slowed down" "drivetest, slowed down"
    judge "distance between drivetest and fio, percent" "$(calculate 2 \
        "sqrt((100 * (${highest[drivetest, slowed down]} / ${highest[fio, slowed down]} - 1)) ^ 2)")" "%" "<= 3"
else
    echo "  not measured: the kernel cannot slow the device down (control group \"blkio\"): $(tail -n 1 "$output")"
fi

echo "seeks on a simulated drive that takes no time"
for ((round = 0; round < rounds; ++round)); do
    timed "seeks a second" 10000000 "$drivetest" run LinearSeekTest sim:disk,sectors=10000000
done
judge "time of a position, whole process" "$(calculate 0 "1000000000 / ${highest[seeks a second]}")" "ns" "<= 200"
