#!/usr/bin/env bash
# How fast the program for Windows is under Wine, against the one for Linux, on the same loop devices over files in memory.
# Needs root. What Wine itself costs is in the figures: they bound the drive layer's cost from above.
#   --quick  a small file and fewer rounds: a look, no figure to keep
# Figures never make it fail. 1 MB is 1,048,576 bytes.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"
# shellcheck source=bench/common.sh
source "$root/bench/common.sh"

mebibytes=2048 rounds=5
read_options windows.sh 256 2 "$@"
require_loop_devices 1
"$root/scripts/setup.sh" --windows
build_release
build windows-release
attach_memory 1
loop="${loops[0]}"
export WINEPREFIX="$root/build/wine" WINEDEBUG=-all
mkdir -p "$WINEPREFIX"
wine=/usr/lib/wine/wine64
"$wine" cmd /c ver >/dev/null 2>&1 </dev/null
ln -sfn "$loop" "$WINEPREFIX/dosdevices/physicaldrive99"
drive='\\.\PhysicalDrive99'

# on_both TEST NAME OPTION...: runs the test with both programs and keeps the rates of their records.
on_both() {
    local test="$1" rate="$2"
    shift 2
    "$drivetest" run "$test" "$loop" --confirm "$loop" --events "$record" --force "$@" >"$output" 2>&1
    best "Linux, $test, $rate" "$(measured "$rate")"
    "$wine" "$root/build/windows-release/bin/drivetest.exe" run "$test" "$drive" --confirm "$drive" --events "$record" \
        --force "$@" >"$output" 2>&1
    best "Windows, $test, $rate" "$(measured "$rate")"
}

echo "$megabytes MB in memory behind $loop, best of $rounds rounds, MB/s"
for ((round = 0; round < rounds; ++round)); do
    on_both LinearReadTest readRate
    on_both LinearPatternTest writeRate --no-journal -p NumberOfPatterns=1
done
for what in "LinearReadTest, readRate" "LinearPatternTest, writeRate"; do
    print_best "Linux, $what" "Windows, $what"
    printf '  %-58s %12s\n' "Windows / Linux" "$(calculate 2 "${highest[Windows, $what]} / ${highest[Linux, $what]}")"
done
rm -f "$WINEPREFIX/dosdevices/physicaldrive99"
