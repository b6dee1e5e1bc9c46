# shellcheck shell=bash
# What the scripts share; read with "source". Sets "root", the project's folder.

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

# fail MESSAGE...: each argument is one line of what happened and what to do.
fail() {
    printf '%s: %s\n' "$(basename "$0")" "$1" >&2
    shift
    [ $# -eq 0 ] || printf '  %s\n' "$@" >&2
    exit 1
}

# JOBS limits how many processes work side by side.
jobs="${JOBS:-$(nproc)}"

# build PRESET [CMAKE OPTION...]: configures and builds build/PRESET.
build() {
    local preset="$1"
    shift
    mkdir -p "$root/build"
    local log="$root/build/$preset.log"
    (cd "$root" && cmake --preset "$preset" "$@" && cmake --build --preset "$preset" -j "$jobs") >"$log" 2>&1 || {
        tail -n 60 "$log" >&2
        fail "the build of preset $preset failed" "everything it said is in $log"
    }
}

build_release() {
    build release
    drivetest="$root/build/release/bin/drivetest"
    [ -x "$drivetest" ] || fail "the build made no $drivetest" "see $root/build/release.log"
}
