#!/usr/bin/env bash
# Installs what is missing from Debian 12's packages. Without an option: what building and running needs.
#   --dev    also what scripts/check.sh needs
#   --bench  also what bench/ needs
#   --package  also what scripts/make-deb.sh and scripts/check-package.sh need
#   --windows  also what building for Windows, and running that here, needs
# Nothing is asked, and nothing needs root when nothing is missing.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

packages=(g++ cmake ninja-build ccache pkg-config git jq liburing-dev libblkid-dev libudev-dev libxxhash-dev
    nlohmann-json3-dev libcli11-dev libtomlplusplus-dev libjs-dygraphs)
for option in "$@"; do
    case "$option" in
        --dev) packages+=(libgtest-dev libgmock-dev clang-format clang-tidy-19 clang-19 libclang-rt-19-dev
            python3 python3-jsonschema python3-pyte e2fsprogs util-linux mount dmsetup qemu-system-x86 busybox-static kmod
            xz-utils lvm2 mdadm btrfs-progs bcache-tools fdisk f3 chromium openssh-client sqlite3) ;;
        --bench) packages+=(fio e2fsprogs util-linux mount time python3 dmsetup qemu-system-x86 busybox-static kmod
            xz-utils sg3-utils chromium) ;;
        --package) packages+=(debhelper dpkg-dev lintian mmdebstrap debian-archive-keyring systemd util-linux mount
            e2fsprogs python3 qemu-system-x86 busybox-static kmod xz-utils) ;;
        --windows) packages+=(g++-mingw-w64-x86-64-posix wine64 googletest python3 e2fsprogs util-linux mount zip
            unzip) ;;
        *) fail "unknown option $option" "use it as: setup.sh [--dev] [--bench] [--package] [--windows]" ;;
    esac
done

list_missing() {
    local installed package
    installed="$(dpkg-query -W -f '${Package} ${db:Status-Status}\n' "${packages[@]}" 2>/dev/null || true)"
    for package in "${packages[@]}"; do
        grep -qxF "$package installed" <<<"$installed" || echo "$package"
    done
}

command -v dpkg-query >/dev/null || fail "dpkg-query was not found: this script installs Debian packages" \
    "install by hand what these packages hold: ${packages[*]}"

mapfile -t missing < <(list_missing)
[ ${#missing[@]} -gt 0 ] || exit 0

if [ "$(id -u)" -eq 0 ]; then
    as_root=(env)
elif sudo -n true 2>/dev/null; then
    as_root=(sudo -n env)
else
    fail "packages are missing, and installing them needs root: ${missing[*]}" \
        "run this as root, then try again:" \
        "apt-get update && apt-get install --no-install-recommends ${missing[*]}"
fi

echo "installing: ${missing[*]}"
log="$(mktemp)"
trap 'rm -f "$log"' EXIT
apt_get() {
    "${as_root[@]}" DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 "$@" </dev/null >"$log" 2>&1 || {
        tail -n 30 "$log" >&2
        fail "\"apt-get $*\" failed; its last lines are above" \
            "check the network and the package sources in /etc/apt, then try again"
    }
}
apt_get update
apt_get install -y --no-install-recommends "${missing[@]}"

mapfile -t missing < <(list_missing)
[ ${#missing[@]} -eq 0 ] || fail "apt-get ended well, but these packages are still missing: ${missing[*]}"
