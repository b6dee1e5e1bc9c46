#!/usr/bin/env bash
# Measures what the statistics of a run cost for each transfer, in processor time. Not more than 50 ns are allowed
# for, on a drive of 20 TB; figures never make it fail.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

cd "$root"
cmake --preset release >/dev/null
cmake --build --preset release -j "$jobs" --target zel >/dev/null
libraries="$root/build/release/bin"
g++ -O2 -std=c++20 -I . -I contracts -o "$libraries/statistics" bench/statistics.cpp drivetest/statistics/*.cpp \
    -L "$libraries" -lzel -Wl,-rpath,"$libraries"
"$libraries/statistics"
