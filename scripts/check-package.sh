#!/usr/bin/env bash
# Builds the Debian packages, and proves in a bare system of the distribution, as root: what they install works; an upgrade
# and a removal lose nothing of an open undo journal; purged, they leave nothing but that. Builds are compared byte for
# byte. Says each step; ends with 0 only if all went well, and leaves no mount, no loop device and no process behind.
#   --no-service   leaves out the virtual machine in which systemd runs the weekly scrub
#   --no-setup     installs nothing on this machine
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

service=1 setup=1
for option in "$@"; do
    case "$option" in
        --no-service) service=0 ;;
        --no-setup) setup=0 ;;
        *) fail "unknown option $option" "use it as: check-package.sh [--no-service] [--no-setup]" ;;
    esac
done
[ "$(id -u)" -eq 0 ] || fail "a system to install in can only be made by root" "run this as root"

cd "$root"
store="$root/build/check-package"
[ "$setup" -eq 0 ] || scripts/setup.sh --package
mkdir -p "$store"
# Where packages are built, the same for all clones of the project, as the compiler's cache knows paths. One at a time.
builds=/var/tmp/drivetest-packages
mkdir -p "$builds"
exec 9>"$builds.lock"
flock 9
work="$(mktemp -d "${TMPDIR:-/var/tmp}/check-package-XXXXXX")"
bare="$work/bare"

clean_up() {
    local status=$? loop process
    for process in $(jobs -pr); do
        kill -KILL "$process" 2>/dev/null || true
        wait "$process" 2>/dev/null || true
    done
    for loop in $(losetup --list --noheadings --output NAME,BACK-FILE | grep -F " $work/" | cut -d ' ' -f 1); do
        losetup --detach "$loop" || true
    done
    rm -rf --one-file-system "$work" "$builds"
    return "$status"
}
trap clean_up EXIT
trap 'exit 130' INT TERM HUP

begun="$SECONDS"
say() {
    printf '== %s (%d s)\n' "$1" $((SECONDS - begun))
}

# build_twice: in two folders, one after the other, with what else could show in the packages different each time. Each folder
# has a name in the compiler's cache of its own, so that what is compared was compiled in each.
build_twice() {
    rm -rf "$store/new" "$store/again" "${builds:?}"/*
    (
        umask 022
        CCACHE_NAMESPACE=deb-1 LC_ALL=C TZ=UTC scripts/make-deb.sh -o "$store/new" -w "$builds/one" >/dev/null
    )
    (
        umask 077
        export CCACHE_NAMESPACE=deb-2 LC_ALL=C.UTF-8 LANGUAGE=ja TZ=Asia/Tokyo USER=somebody CCACHE_UMASK=022
        scripts/make-deb.sh -o "$store/again" -w "$builds/another/folder/of/packages" >/dev/null
    )
    local package
    for package in "$store/new"/*.deb; do
        cmp "$package" "$store/again/$(basename "$package")" ||
            fail "$(basename "$package") depends on where and when it is built" \
                "diffoscope shows how: $package $store/again/$(basename "$package")"
    done
    [ "$(cd "$store/new" && echo ./*.deb)" = "$(cd "$store/again" && echo ./*.deb)" ] || fail "one build made other packages"
    (cd "$store/new" && sha256sum -- *.deb)
}

build_older() {
    rm -rf "$store/old"
    CCACHE_NAMESPACE=deb-1 scripts/make-deb.sh -o "$store/old" -w "$builds/one" --version 0.0.9 >/dev/null
}

check_policy() {
    lintian --fail-on error,warning --info --tag-display-limit 0 "$store/new"/*.changes
}

# A unit is looked at as it is installed.
check_units() {
    local unpacked="$work/unpacked" unit
    dpkg-deb -x "$(echo "$store/new"/drivetest_*.deb)" "$unpacked"
    for unit in drivetest-scrub.service drivetest-scrub-stop.service; do
        SYSTEMD_LOG_LEVEL=warning systemd-analyze security --offline=yes --threshold=30 --no-pager --root="$unpacked" "$unit" | tail -n 1
    done
}

# A module from elsewhere is built with what the packages install.
check_headers() {
    local unpacked="$work/unpacked"
    dpkg-deb -x "$(echo "$store/new"/drivetest-dev_*.deb)" "$unpacked"
    if ! cmake -S tests/install/module -B "$work/module" -G Ninja -DCMAKE_PREFIX_PATH="$unpacked/usr" >"$work/module.log" ||
        ! cmake --build "$work/module" >>"$work/module.log"; then
        fail "a module cannot be built with drivetest-dev" "$(tail "$work/module.log")"
    fi
    "$unpacked/usr/bin/drivetest" run FirstSectorTest sim:disk,sectors=1000,bad=1 --no-record --module "$work/module/FirstSector.so" >/dev/null
}

# sources: those of the distribution that this machine has.
sources() {
    # shellcheck disable=SC2016 # apt-get's own variables
    apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' 'Origin: Debian' |
        sed 's,^,deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] ,' | sort -u
}

# bare_archive NAME PACKAGES: the archive of a bare system with these packages, made anew once a day.
bare_archive() {
    local archive="$store/$1.tar"
    if [ -z "$(find "$archive" -mtime -1 2>/dev/null)" ]; then
        sources >"$work/sources.list"
        mmdebstrap --quiet --mode=root --variant=apt --include="$2" --aptopt='Acquire::Retries "3"' \
            "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$work/$1.tar" "$work/sources.list" >"$work/mmdebstrap.log" 2>&1 ||
            fail "no bare system could be made" "$(tail "$work/mmdebstrap.log")"
        mv "$work/$1.tar" "$archive"
    fi
    echo "$archive"
}

check_bare_system() {
    mkdir "$bare"
    tar -x --xattrs --numeric-owner -C "$bare" -f "$(bare_archive bare man-db,bash-completion)"
    cp /etc/resolv.conf "$bare/etc/resolv.conf"
    mkdir -p "$bare/packages"
    cp -r "$store/old" "$store/new" "$bare/packages/"
    head -c 8M /dev/urandom >"$bare/srv/loop.img"
    cp "$bare/srv/loop.img" "$bare/srv/loop-before.img"
    local loop
    loop="$(losetup --find --show "$bare/srv/loop.img")"
    # All that is mounted and started there ends with it, and it ends with this script, whatever ends that.
    setpriv --pdeathsig KILL unshare --mount --pid --mount-proc --fork --kill-child \
        tests/package/bare_system.sh "$bare" "$loop" &
    wait $!
    losetup --detach "$loop"
}

check_service() {
    local system="$work/service"
    mkdir "$system"
    tar -x --xattrs --numeric-owner -C "$system" -f "$(bare_archive service systemd,systemd-sysv,udev,dbus,smartmontools,libblkid1,libudev1,liburing2,libxxhash0,libstdc++6)"
    cp "$store/new"/drivetest_*.deb "$system/"
    LAB_KERNEL="${LAB_KERNEL:-$root/build/dev/tests/lab/kernel}" PYTHONPATH="tests/lab:tests/package" \
        /usr/bin/python3 -B tests/package/service.py "$system" "$work"
}

say "two builds, byte for byte"
build_twice
say "an older version, 0.0.9"
build_older
say "lintian"
check_policy
say "rights of the units (at most 3.0)"
check_units
say "a module built with drivetest-dev"
check_headers
say "in a bare system"
check_bare_system
if [ "$service" -eq 1 ]; then
    say "the weekly scrub, by systemd in a virtual machine"
    check_service
fi
say "all went well"
