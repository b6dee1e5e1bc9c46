#!/usr/bin/env bash
# Sets up, builds, and runs the main job on a simulated drive with five bad sectors. Touches no real drive.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

"$root/scripts/setup.sh"
echo "building build/release ..."
build_release

folder="$root/build/try"
record="$folder/record.jsonl"
drive="sim:disk,sectors=1000000,bad=1234+5000-5003"
mkdir -p "$folder"
rm -f "$record"

echo "\$ drivetest run LinearReadTest $drive --events $record"
status=0
"$drivetest" run LinearReadTest "$drive" --events "$record" </dev/null || status=$?
[ "$status" -eq 1 ] ||
    fail "the run ended with status $status, expected 1: bad sectors found" "the record, if any, is $record"

# extension NAME: the content of the record's extensions of that name, one a line.
extension() {
    jq -c --arg name "$1" '.testStepArtifact.extension? | select(.name? == $name) | .content' "$record"
}
summary="$(extension coverage | jq -r '"\(.requested) sectors asked for: \(.tested) good, \(.failed) bad, \(.skipped) skipped"')"
bad="$(extension event | jq -r 'select(.type == "ERR") | .message')"
if [ -z "$summary" ] || [ -z "$bad" ]; then
    fail "the record names no bad sectors, although the run found some: $record"
fi

cat <<END

What the record says
  verdict  $(extension result | jq -r .result)
  surface  $summary
  ${bad//$'\n'/$'\n'  }

The record, JSON Lines:  $record

A real drive, as root (reading never writes to it):
  $drivetest devices
  $drivetest run LinearReadTest /dev/sdX
END
