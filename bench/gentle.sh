#!/usr/bin/env bash
# How much of the good sectors of a dying drive is read in an hour, gently and otherwise; simulated.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

build_release
/usr/bin/python3 -B "$root/bench/gentle.py" "$drivetest"
