#!/usr/bin/env bash
# Builds the Debian packages of what git has (uncommitted changes are left out), as dpkg-buildpackage does, and puts them into
# build/deb. Equal sources give equal packages, byte for byte, wherever, whenever and by whomever they are built.
#   -o DIR         puts the packages into DIR
#   -w DIR         unpacks and builds in DIR, which must not be there yet; it is removed when all went well
#   --version V    gives the packages this version, and the program keeps its own: to try upgrades
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

usage() { fail "$1" "use it as: make-deb.sh [-o DIR] [-w DIR] [--version V]"; }

out="$root/build/deb" work="" version=""
while [ $# -gt 0 ]; do
    [ $# -gt 1 ] || usage "$1 wants a value, or is unknown"
    case "$1" in
        -o) out="$(realpath -m -- "$2")" ;;
        -w) work="$(realpath -m -- "$2")" ;;
        --version) version="$2" ;;
        *) usage "unknown option $1" ;;
    esac
    shift 2
done
[[ "$version" =~ ^([0-9]+\.[0-9]+\.[0-9]+)?$ ]] || usage "$version is no version: give three numbers, such as 0.1.0"
if [ -z "$work" ]; then
    # Always the same place, so that the compiler's cache knows it.
    work="$root/build/deb-work"
    rm -rf "$work"
fi
[ ! -e "$work" ] || fail "$work is there already" "name a folder that is not, or delete it"
command -v dh >/dev/null || fail "debhelper was not found" "scripts/setup.sh --package installs it"

git_here() { git -c safe.directory="$root" -C "$root" "$@"; }
commit="$(git_here rev-parse --verify HEAD)" || fail "$root is no git checkout" "build the package in one"
[ -z "$(git_here status --porcelain)" ] || echo "not in the package, for git does not have it: uncommitted changes" >&2

mkdir -p "$work/source" "$out"
git_here archive "$commit" | tar -x -C "$work/source"
cd "$work/source"
numbers=("$(dpkg-parsechangelog -S Version)" "$(sed -n 's/^project(DriveTest VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)")
[ "${numbers[0]}" = "${numbers[1]}" ] ||
    fail "debian/changelog has version ${numbers[0]}, CMakeLists.txt has ${numbers[1]}" "give both the same"
[ -z "$version" ] || sed -i "1s/(.*)/($version)/" debian/changelog

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_SLOPPINESS=pch_defines,time_macros
fi
export DEB_BUILD_OPTIONS="${DEB_BUILD_OPTIONS:+$DEB_BUILD_OPTIONS }parallel=$jobs"
dpkg-buildpackage --build=binary --no-sign >"$work/log" 2>&1 || {
    tail -n 60 "$work/log" >&2
    fail "the package could not be built" "everything that was said is in $work/log"
}
mv "$work"/*.deb "$work"/*.changes "$work"/*.buildinfo "$out"
cd /
rm -rf "$work"
ls "$out"/*.deb
