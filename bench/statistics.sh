#!/usr/bin/env bash
# Measures what the statistics of a run cost for each transfer, on a drive of 20 TB. Not more than 50 ns are
# allowed for; figures never make it fail.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

build_release
libraries="$root/build/release/bin"
g++ -O2 -std=c++20 -I "$root" -I "$root/contracts" -o "$libraries/statistics" "$root/bench/statistics.cpp" \
    "$root"/drivetest/statistics/*.cpp -L "$libraries" -lzel -Wl,-rpath,"$libraries"
"$libraries/statistics"
