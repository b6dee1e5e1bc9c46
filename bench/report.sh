#!/usr/bin/env bash
# How long a report takes, and how much memory, from a record of a million cells, no two neighbours alike, and a hundred
# thousand events; the same with the surface in the form that needs the longest lines; how large the page is, and how long
# a browser takes for it.
#   --quick  a tenth of both: a look, no figure to keep
# Figures never make it fail.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"
# shellcheck source=bench/common.sh
source "$root/bench/common.sh"

cells=1000000 events=100000
case "${1:-}" in
    "") ;;
    --quick) cells=100000 events=10000 ;;
    *) fail "unknown option $1" "use it as: report.sh [--quick]" ;;
esac
"$root/scripts/setup.sh" --bench
build_release
folder="$(mktemp -d)"
trap 'rm -rf "$folder"' EXIT

# record FILE RATES: with a rate for each cell, as records had them before they had regions, or without.
record() {
    PYTHONPATH="$root/tests/browser" /usr/bin/python3 -B - "$1" "$cells" "$events" "$2" <<'END'
import sys
import records
path, cells, events, rates = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4] == "rates"
lines = list(records.large(cells, events, range(7, cells, cells // 500)))
for line in lines:
    extension = line.get("testStepArtifact", {}).get("extension", {})
    if rates and extension.get("name") == "surface":
        extension["content"]["megabytesPerSecond"] = [[records.noise(cell) / 7, 1] for cell in range(cells)]
records.write(path, lines)
END
}

# open_page FILE: prints for how many seconds the page keeps a browser busy until it stands there.
open_page() {
    PYTHONPATH="$root/tests/browser" /usr/bin/python3 -B - "$folder/browser" "$1" <<'END'
import sys
from browser import Browser, Page
browser = Browser(sys.argv[1])
page = Page(browser)
page.open(sys.argv[2]).value("0")  # what was on its way is done then
print("%.2f" % page.task_seconds())
browser.close()
END
}

# measure WHAT RECORD: prints time, memory and size of its report.
measure() {
    local round seconds kibibytes least=1000000 most=0
    for round in 1 2 3; do
        /usr/bin/time -f '%e %M' -o "$folder/time" "$drivetest" report "$2" -o "$folder/report.html" --force
        read -r seconds kibibytes <"$folder/time"
        [ "$(calculate 0 "$seconds < $least")" = 0 ] || least="$seconds"
        [ "$kibibytes" -le "$most" ] || most="$kibibytes"
    done
    echo "$1: $cells cells, $events events, $(($(stat -c %s "$2") / 1048576)) MiB"
    judge "time, best of $round" "$least" "s" "< 3"
    judge "memory" "$((most / 1024))" "MiB" "< 200"
    judge "page" "$(calculate 2 "$(stat -c %s "$folder/report.html") / 1048576")" "MiB" "< 3"
    judge "time until a browser shows it" "$(open_page "$folder/report.html")" "s" "< 2"
}

record "$folder/record.jsonl" none
measure "a record" "$folder/record.jsonl"
record "$folder/old.jsonl" rates
measure "a record with rates of cells" "$folder/old.jsonl"
