#!/usr/bin/env bash
# How fast the linear read test reads a block device, against dd, badblocks and fio on the same device, how much
# memory it takes, and how many single sectors it reads a second. Needs root: it makes a file in memory and attaches
# it as a loop device, so that what is compared is what the programs themselves cost.
#   --quick  a small file and fewer rounds: a look, no figure to keep
# Figures never make it fail. 1 MB is 1,048,576 bytes, as in the program's own output.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"
# shellcheck source=bench/common.sh
source "$root/bench/common.sh"

mebibytes=2048 rounds=5
read_options linear_read.sh 256 2 "$@"
require_loop_devices 1
build_release
attach_memory 1
loop="${loops[0]}"

run_fio() {
    timed "fio, whole process" "$megabytes" fio --name=read --filename="$loop" --readonly --rw=read --bs=1M --iodepth=8 \
        --ioengine=io_uring --direct=1 --size=100% --output-format=json --output="$folder/fio.json"
    best "fio, reading" "$(jq '.jobs[0].read.bw_bytes / 1048576' "$folder/fio.json")"
}

run_drivetest() {
    timed "drivetest, whole process" "$megabytes" "$drivetest" run LinearReadTest "$loop" --events "$record"
    best "drivetest, reading" "$(measured readRate)"
}

# peak_memory COMMAND...: in MiB.
peak_memory() {
    command time --quiet -f %M -o "$folder/memory" "$@" >"$output" 2>&1 </dev/null ||
        fail "\"$*\" failed" "it said: $(tail -n 5 "$output")"
    calculate 1 "$(tail -n 1 "$folder/memory") / 1024"
}

echo "reading $loop, $megabytes MB in memory, best of $rounds rounds, MB/s"
for ((round = 0; round < rounds; ++round)); do
    timed "dd, whole process" "$megabytes" dd if="$loop" of=/dev/null bs=4M iflag=direct status=none
    timed "badblocks, whole process" "$megabytes" badblocks -b 4096 -c 512 "$loop"
    run_fio
    run_drivetest
done
print_best "dd, whole process" "badblocks, whole process" "fio, whole process" "fio, reading" "drivetest, whole process" \
    "drivetest, reading"

# The whole process of drivetest against the best that each other shows: of fio, whose start takes long, the
# reading alone.
echo "ratios"
ours="${highest[drivetest, whole process]}"
judge "drivetest / dd" "$(calculate 2 "$ours / ${highest[dd, whole process]}")" "" ">= 1.0"
judge "drivetest / badblocks" "$(calculate 2 "$ours / ${highest[badblocks, whole process]}")" "" ">= 1.5"
judge "drivetest / fio" "$(calculate 2 "$ours / ${highest[fio, reading]}")" "" ">= 0.9"

echo "peak memory"
judge "this device" "$(peak_memory "$drivetest" run LinearReadTest "$loop")" MiB "<= 64"
judge "2^40 sectors, simulated, 100000 of them read" "$(peak_memory "$drivetest" run LinearReadTest \
    sim:disk,sectors=1099511627776 -p NumberOfSeeks=100000)" MiB "<= 64"

echo "single sectors, simulated drive, best of $rounds rounds"
for ((round = 0; round < rounds; ++round)); do
    timed sectors 5000000 "$drivetest" run LinearReadTest sim:disk,sectors=5000000 -p XferSizeHinting=false
done
judge "reads of one sector a second, whole process" "$(calculate 0 "${highest[sectors]}")" "1/s" ">= 1000000"
