#!/usr/bin/env bash
# How often the promise of "drivetest check" holds, on 10,000 simulated drives.
#   --quick  300 of them
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

drives=10000
case "${1:-}" in
    "") ;;
    --quick) drives=300 ;;
    *) fail "unknown option $1" "use it as: check_promise.sh [--quick]" ;;
esac
build_release
/usr/bin/python3 -B "$root/bench/check_promise.py" "$drivetest" "$drives"
