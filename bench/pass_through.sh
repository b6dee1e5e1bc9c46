#!/usr/bin/env bash
# How fast drives are read by commands and by the block device, in a virtual machine with the kernel's own drivers:
# the linear read test against itself by another way, and against programs that send single commands of the same size
# (one of our own, and sg_dd). Rates in such a machine mean nothing by themselves; the ratios of one run do.
#   --quick  smaller drives and fewer rounds: a look, no figure to keep
# Figures never make it fail.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

mebibytes=1024 rounds=9
for option in "$@"; do
    case "$option" in
        --quick) mebibytes=64 rounds=2 ;;
        *) fail "unknown option $option" "use it as: pass_through.sh [--quick]" ;;
    esac
done

"$root/scripts/setup.sh" --bench
build_release
single_commands="$root/build/release/bin/single_commands"
g++ -O2 -std=c++20 -o "$single_commands" "$root/bench/single_commands.cpp"

export PYTHONDONTWRITEBYTECODE=1 DRIVETEST="$drivetest" SINGLE_COMMANDS="$single_commands"
export LAB_KERNEL="${LAB_KERNEL:-$root/build/release/kernel}"
/usr/bin/python3 "$root/bench/pass_through.py" "$mebibytes" "$rounds"
