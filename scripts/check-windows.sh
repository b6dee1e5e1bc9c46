#!/usr/bin/env bash
# Builds for Windows and tests that under Wine: unit tests, the program as a user runs it, every simulated layout, and
# whether it says the same as the program for Linux. Prints how many tests ran, and each that was left out with its
# reason. With --no-setup nothing is installed. Exit status 0 only if all is well.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

cd "$root"
export PYTHONDONTWRITEBYTECODE=1 WINEDEBUG=-all LC_ALL=C.UTF-8
export WINEPREFIX="${WINEPREFIX:-$root/build/wine}"
export DRIVETEST="$root/build/windows/bin/drivetest.exe" RECORD_CHECKER="$root/tests/record/check_record.py"
wine=/usr/lib/wine/wine64 server=/usr/lib/wine/wineserver64
notes="$root/build/check-windows"
rm -rf "$notes"
mkdir -p "$notes" "$WINEPREFIX"

[ "${1:-}" = --no-setup ] || scripts/setup.sh --dev --windows
echo "building build/windows ..."
build windows
build dev --log-level=ERROR
# One server for all programs, which would otherwise end while one of them begins.
scratch=""
clean_up() {
    "$server" -k 2>/dev/null || true
    [ ! -b "$scratch" ] || losetup --detach "$scratch" || true
}
trap clean_up EXIT
"$server" -p
# The system's own services, which the first program starts, must not keep the pipes of a test.
"$wine" cmd /c ver >/dev/null 2>&1 </dev/null

# A drive of 16 MiB that the tests may overwrite: a loop device where this user may make one, else the image itself.
truncate -s 16M "$notes/scratch.img"
scratch="$(losetup --find --show "$notes/scratch.img" 2>/dev/null || echo "$notes/scratch.img")"
ln -sfn "$scratch" "$WINEPREFIX/dosdevices/physicaldrive63"
export DRIVETEST_SCRATCH_DEVICE='\\.\PhysicalDrive63'

failed=0

# run_units PROGRAM: one program of unit tests, as a whole.
run_units() {
    local name
    name="$(basename "$1" .exe)"
    "$wine" "$1" --gtest_output="xml:$(wine_path "$notes/$name.xml")" >"$notes/$name.log" 2>&1 || {
        failed=1
        grep -vE '^\[ +(OK|RUN) |^\[-+\]' "$notes/$name.log" || true
    }
    /usr/bin/python3 -B scripts/count_tests.py "$notes/$name.xml" "$name" "$notes" || failed=1
}

wine_path() { printf 'Z:%s' "${1//\//\\}"; }

for program in build/windows/bin/tests_*.exe; do
    run_units "$program"
done

# The tests of what Linux has are not built for Windows: they are counted from the sources.
mapfile -t linux_sources < <(git -c safe.directory="$root" ls-files 'tests/*/linux/*.cpp')
linux_tests="$(cat "${linux_sources[@]}" | grep -cE '^(TEST|TEST_F|TEST_P)\(')"
echo "0 0 $linux_tests" >"$notes/linux.counts"
printf '%s\n' "${linux_sources[@]/%/: its tests are about sources for Linux}" >>"$notes/skipped"

/usr/bin/python3 -B tests/windows/run_program_tests.py "$notes" "$jobs" || failed=1

# With Wine in the virtual machine, whose kernel takes its SCSI commands.
LAB_KERNEL="$root/build/dev/tests/lab/kernel" /usr/bin/python3 -B tests/windows/run_program_tests.py "$notes" 1 \
    tests/lab/lab_windows_test.py || failed=1

echo "the same runs by the programs for Linux and for Windows:"
/usr/bin/python3 -B tests/sameness/same_runs.py build/dev/bin/drivetest "$DRIVETEST" || failed=1

passed=0 broken=0 left_out=0
for counts in "$notes"/*.counts; do
    read -r p f s <"$counts"
    passed=$((passed + p)) broken=$((broken + f)) left_out=$((left_out + s))
done
echo "left out:"
sed 's/^/  /' "$notes/skipped"
echo "under Wine ran $((passed + broken)) tests, $broken of them failed; $left_out were left out, $linux_tests of these about sources for Linux" |
    tee "$notes/summary"
[ "$failed" -eq 0 ] && [ "$broken" -eq 0 ]
