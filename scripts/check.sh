#!/usr/bin/env bash
# Sets up and checks everything: format, build, headers, layering, tests (of records too), clang-tidy, sanitizers, Windows.
# Every step runs, whatever became of those before it. Exit status 0 only if all is well. Tests that cannot run
# here, for want of root or loop devices, skip themselves and are named at the end.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

cd "$root"
export PYTHONDONTWRITEBYTECODE=1
notes="$root/build/check" # what the steps leave for the end: counts of tests, and the names of skipped ones
rm -rf "$notes" "$root/build/check-windows"
mkdir -p "$notes"
failed_steps=()

# tracked PATTERN...: the files of the project that git knows, one a line.
tracked() {
    git -c safe.directory="$root" ls-files -- "$@" | while IFS= read -r file; do [ ! -f "$file" ] || echo "$file"; done
}

# step TITLE COMMAND...: runs one step in a shell of its own, in which every error ends it.
step() {
    local title="$1" started="$SECONDS" status=0
    shift
    printf '\n== %s\n' "$title"
    # Not as part of a condition, in which the shell would let errors pass.
    set +e
    (
        set -e
        "$@"
    )
    status=$?
    set -e
    case "$status" in
        0) printf '== %s: ok, %d s\n' "$title" $((SECONDS - started)) ;;
        *)
            printf '== %s: FAILED, %d s\n' "$title" $((SECONDS - started))
            failed_steps+=("$title")
            ;;
    esac
}

# start_aside COMMAND...: starts what waits more than it computes; the steps beside it give way. end_aside ends it.
start_aside() {
    set -m # in a group of its own
    (
        set +e
        (
            set -e
            "$@"
        )
        echo $? >"$notes/aside.status"
    ) >"$notes/aside.log" 2>&1 &
    aside=$!
    set +m
    trap 'kill -- "-$aside" 2>/dev/null || true' EXIT
    renice -n 19 $$ >/dev/null
}

# end_aside: waits for it, and says what it said.
end_aside() {
    tail --pid="$aside" -f /dev/null
    cat "$notes/aside.log"
    return "$(cat "$notes/aside.status")"
}

set_up() { scripts/setup.sh --dev --windows; }

check_format() {
    local files
    files="$(tracked '*.h' '*.cpp')"
    [ -n "$files" ] || fail "git lists no source files" "run this in a git checkout of the project"
    xargs -d '\n' clang-format --dry-run -Werror <<<"$files"
}

check_header() {
    local header="$1" compiler=g++ paths=(-I. -Icontracts -Itests)
    [[ "$header" != contracts/* ]] || paths=(-Icontracts)
    [[ "$header" != */windows/* ]] || compiler=x86_64-w64-mingw32-g++-posix
    ccache "$compiler" -std=c++20 -D_FILE_OFFSET_BITS=64 "${paths[@]}" -fsyntax-only -Wall -Wextra -Werror \
        -include "$header" -x c++ /dev/null || {
        echo "$header does not compile alone: include in it what it uses" >&2
        exit 255
    }
}

# Of headers that a source includes first the build has proven it.
check_headers() {
    local headers
    headers="$(for platform in "" windows; do
        # shellcheck disable=SC2086 # nothing, or one word
        /usr/bin/python3 -B scripts/check_includes.py --headers "$root" $platform
    done)"
    export -f check_header
    # shellcheck disable=SC2016 # expands in the inner shell
    xargs -d '\n' -P "$jobs" -I '{}' bash -c 'check_header "$1"' - '{}' <<<"$headers"
    echo "$(wc -l <<<"$headers") headers compiled"
}

check_includes() { /usr/bin/python3 -B scripts/check_includes.py "$root" build/dev/compile_commands.json; }

# build_preset PRESET: leaves a mark while it is not built, so that nobody tests what an earlier build left.
build_preset() {
    touch "$notes/$1.unbuilt"
    build "$1"
    rm "$notes/$1.unbuilt"
}

# run_tests PRESET LABELS: counts what ran; a run without tests is a failure.
run_tests() {
    [ ! -e "$notes/$1.unbuilt" ] || fail "nothing was run: the build of preset $1 failed, see above"
    local name="$1-${2//|/-}" status=0
    local log="$notes/ctest-$name.log"
    ctest --preset "$1" -L "$2" -j "$jobs" --no-tests=error --test-output-size-passed 1000000 \
        --output-junit "$notes/$name.xml" >"$log" 2>&1 || status=$?
    if [ "$status" -eq 0 ]; then
        grep '% tests passed' "$log"
    else
        grep -vE '^ +Start +[0-9]+:|^ *[0-9]+/[0-9]+ Test.* Passed ' "$log"
    fi
    /usr/bin/python3 -B scripts/count_tests.py "$notes/$name.xml" "$name" "$notes"
    return "$status"
}

# run_release_tests: what users get is what is tested. The compiler may make of it what the build for developers does not.
run_release_tests() {
    [ ! -e "$notes/release.unbuilt" ] || fail "nothing was run: the build of preset release failed, see above"
    DRIVETEST_INSTEAD="$root/build/release/bin/drivetest" run_tests dev cli
}

check_tidy() {
    /usr/bin/python3 -B scripts/tidy.py "$root" build/dev/compile_commands.json "$jobs"
    # What is for Windows alone.
    cmake --preset windows >"$root/build/windows.log" 2>&1 || { tail -n 60 "$root/build/windows.log" >&2; return 1; }
    /usr/bin/python3 -B scripts/tidy.py "$root" build/windows/compile_commands.json "$jobs" windows
}

# run_shuffled PRESET: the unit tests, each program as a whole and in an order that no test may rely on.
run_shuffled() {
    [ ! -e "$notes/$1.unbuilt" ] || fail "nothing was run: the build of preset $1 failed, see above"
    local seed="${SEED:-$((RANDOM + 1))}" program name failed=0
    local -A running
    echo "order of the tests: SEED=$seed"
    for program in "build/$1/bin"/tests_*; do
        name="$(basename "$program")"
        [ "$(jobs -pr | wc -l)" -lt "$jobs" ] || wait -n || true # its status is asked for below
        "$program" --gtest_shuffle --gtest_random_seed="$seed" --gtest_output="xml:$notes/$1-$name.xml" \
            >"$notes/$1-$name.log" 2>&1 &
        running[$name]=$!
    done
    for name in "${!running[@]}"; do
        wait "${running[$name]}" || { failed=1; grep -vE '^\[ +(OK|RUN) |^\[-+\]' "$notes/$1-$name.log"; }
        /usr/bin/python3 -B scripts/count_tests.py "$notes/$1-$name.xml" "$1-$name" "$notes"
    done
    return "$failed"
}

step "set-up" set_up
step "format" check_format
step "build (preset dev, warnings are errors)" build_preset dev
start_aside run_tests dev lab
step "texts in every language" /usr/bin/python3 -B scripts/check_words.py "$root"
step "headers compile alone" check_headers
step "who includes whom" check_includes
step "unit tests" run_tests dev unit
step "build for users (preset release)" build_preset release
step "command-line tests, with the program that users get" run_release_tests
step "clang-tidy" check_tidy
step "build with sanitizers (preset asan)" build_preset asan
step "unit tests with sanitizers, shuffled" run_shuffled asan
step "build of the fuzz targets (preset fuzz)" build_preset fuzz
step "parsers under fuzzing" run_tests fuzz fuzz
step "build for Windows, tests under Wine" scripts/check-windows.sh --no-setup
step "tests in a virtual machine, begun after the first build" end_aside

passed=0 failed=0 skipped=0
for counts in "$notes"/*.counts; do
    [ -f "$counts" ] || continue
    read -r p f s <"$counts"
    passed=$((passed + p)) failed=$((failed + f)) skipped=$((skipped + s))
done

printf '\nAll steps took %d min %d s.\n' $((SECONDS / 60)) $((SECONDS % 60))
if [ -s "$notes/skipped" ]; then
    echo "Skipped:"
    sed 's/^/  /' "$notes/skipped"
fi
if [ ${#failed_steps[@]} -gt 0 ]; then
    echo "Failed steps:"
    printf '  %s\n' "${failed_steps[@]}"
fi
[ ! -s "$root/build/check-windows/summary" ] || cat "$root/build/check-windows/summary"
echo "$passed passed, $failed failed, $skipped skipped"
[ ${#failed_steps[@]} -eq 0 ]
