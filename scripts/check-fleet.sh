#!/usr/bin/env bash
# Checks for real what is in fleet/: Ansible over hosts in namespaces of their own, MAAS's script, a Slurm cluster, and the package and
# metrics where their checks are there. Needs root, and Debian 12's packages, which it installs into a layer over this system that
# is gone with it: no package, user, key, mount, namespace or process stays. What it says stays in build/fleet.
#   --quick  leaves out what takes minutes: five hosts and short runs instead of twenty and long ones, no node of Slurm that
#            reboots, and no package
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

quick=""
[ "${1:-}" != --quick ] || quick=1
[ $# -le ${#quick} ] || fail "unknown option $*" "use it as: check-fleet.sh [--quick]"
[ "$(id -u)" -eq 0 ] || fail "this needs root, for namespaces of processes, mounts and networks" "start it with sudo"
[ -f "$root/fleet/ansible/galaxy.yml" ] || fail "there is no fleet/ansible in $root"

# All of it in namespaces, with which everything goes, however this ends, but for empty folders and control groups.
if [ -z "${DRIVETEST_FLEET_WORK:-}" ]; then
    DRIVETEST_FLEET_WORK="$(mktemp -d /tmp/drivetest-fleet.XXXXXX)"
    export DRIVETEST_FLEET_WORK
    status=0
    unshare --mount --propagation private --pid --fork --kill-child --mount-proc --ipc "${BASH_SOURCE[0]}" "$@" &
    namespaces=$!
    trap 'kill -KILL "$namespaces" 2>/dev/null || true' INT TERM HUP
    wait "$namespaces" || status=$?
    wait "$namespaces" 2>/dev/null || true # after a signal
    rmdir "$DRIVETEST_FLEET_WORK"
    groups="$(awk '$3 == "cgroup2" { print $2; exit }' /proc/mounts)"
    [ -z "$groups" ] || find "$groups" -mindepth 1 -depth -type d -path '*/drivetest-fleet-*' -exec rmdir {} + 2>/dev/null || true
    exit "$status"
fi
work="$DRIVETEST_FLEET_WORK"
trap 'exit 130' INT TERM # as the first process of its namespace it would not hear of them

cd "$root"
export PYTHONDONTWRITEBYTECODE=1 LC_ALL=C.UTF-8
packages=(ansible-core python3-apt python3-yaml python3-jsonschema openssh-server openssh-client sudo iproute2 munge slurmctld slurmd
    slurm-client prometheus sqlite3 libxml2-utils)
notes="$root/build/fleet"
mkdir -p "$notes/debs/partial"
failed_steps=()

# step TITLE COMMAND...: runs one step in a shell of its own, in which every error ends it.
step() {
    local title="$1" started="$SECONDS" status=0
    shift
    printf '\n== %s\n' "$title"
    set +e
    (
        set -e
        "$@"
    )
    status=$?
    set -e
    if [ "$status" -eq 0 ]; then
        printf '== %s: ok, %d s\n' "$title" $((SECONDS - started))
    else
        printf '== %s: FAILED, %d s\n' "$title" $((SECONDS - started))
        failed_steps+=("$title")
    fi
}

# in_layer COMMAND...: in the layer, which has the packages.
in_layer() { chroot "$work/root" /usr/bin/env -C "$root" "$@"; }

# mount_layer LOWER: what is written goes to $work/upper.
mount_layer() {
    mount -t overlay overlay -o "lowerdir=$1,upperdir=$work/$2,workdir=$work/$2.work" "$work/root"
    local part
    for part in dev sys; do mount --rbind "/$part" "$work/root/$part"; done
    mount -t proc proc "$work/root/proc"
    # Those that may lie on other file systems.
    for part in "$root" "$work"; do
        mkdir -p "$work/root$part"
        mount --bind "$part" "$work/root$part"
    done
    mount --bind "$work/base" "$work/root$work/base"
}

make_layer() {
    mount -t tmpfs -o size=6G tmpfs "$work"
    mkdir "$work"/{base,root,packages,packages.work,tools,tools.work}
    mount --bind / "$work/base"
    mount_layer "$work/base" packages
    # No daemon of a package starts by itself.
    printf '#!/bin/sh\nexit 101\n' >"$work/root/usr/sbin/policy-rc.d"
    chmod 755 "$work/root/usr/sbin/policy-rc.d"
    mount --bind "$notes/debs" "$work/root/var/cache/apt/archives"
    in_layer apt-get update >"$notes/packages.log" 2>&1 || log_of packages
    in_layer env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${packages[@]}" \
        >>"$notes/packages.log" 2>&1 || log_of packages
    umount -R "$work/root"
    mount_layer "$work/packages:$work/base" tools
}

log_of() {
    tail -n 40 "$notes/$1.log" >&2
    return 1
}

print_versions() {
    local program
    for program in "ansible --version" "slurmctld -V" "promtool --version" "munged --version" "ssh -V" "systemctl --version"; do
        # shellcheck disable=SC2086 # a program and its option
        in_layer $program 2>&1 | sed -n 1p
    done
}

# Only what is installed.
set_up() {
    scripts/setup.sh --dev
    [ -n "$quick" ] || [ ! -x scripts/make-deb.sh ] || scripts/setup.sh --package
    { cmake --preset dev && cmake --build --preset dev -j "$jobs" --target drivetest libDriveTest drivetest_help; } \
        >"$notes/build.log" 2>&1 || log_of build
}

# What the hosts of the tests get. The build of the tests is good enough; the package has its own check.
make_archive() {
    cmake --install build/dev --strip --prefix "$work/installed" >/dev/null
    tar -C "$work/installed" -czf "$work/drivetest.tar.gz" .
    "$work/installed/bin/drivetest" --version
}

# run_test FILE [VARIABLE=VALUE...]: a test in the layer, in a network of its own.
run_test() {
    local test="tests/$1"
    shift
    unshare --net chroot "$work/root" /usr/bin/env -C "$root" \
        DRIVETEST="$work/installed/bin/drivetest" DRIVETEST_ARCHIVE="$work/drivetest.tar.gz" TMPDIR="$work" \
        FLEET_LAYERS="$work/packages:$work/base" PYTHONPATH="$root/tests/fleet:$root/tests/cli:$root/tests/record:$work/python" \
        ANSIBLE_COLLECTIONS_PATH="$work/python" RECORD_CHECKER="$root/tests/record/check_record.py" "$@" /usr/bin/python3 -B "$test"
}

check_modules() {
    mkdir -p "$work/python/ansible_collections/drivetest"
    cp -a fleet/ansible "$work/python/ansible_collections/drivetest/drivetest"
    run_test fleet/records_test.py
    run_test fleet/run_plan_test.py
}

check_maas() { run_test fleet/maas_test.py; }
check_slurm() { run_test fleet/slurm_test.py "$@"; }
check_ansible() { run_test fleet/ansible_test.py DRIVETEST_PACKAGE="$work/drivetest.deb" "$@"; }

# What tells of many records, where it is there: with the real promtool, SQLite and so on.
check_records() {
    local test
    for test in "${record_tests[@]}"; do run_test "cli/$test" TMPDIR=/tmp; done
}

# The package that everybody gets; the quick half has one that only holds the same files.
make_package() {
    if [ -z "$quick" ] && [ -x scripts/make-deb.sh ]; then
        scripts/make-deb.sh -o "$work/package"
        mv "$work"/package/drivetest_*.deb "$work/drivetest.deb"
        return
    fi
    mkdir -p "$work/package/DEBIAN"
    cp -a "$work/installed" "$work/package/usr"
    printf '%s\n' "Package: drivetest" "Version: 0" "Architecture: $(dpkg --print-architecture)" "Depends: libc6" \
        "Maintainer: DriveTest developers <drivetest@example.org>" "Description: files to try an installation with" \
        >"$work/package/DEBIAN/control"
    dpkg-deb --root-owner-group --build "$work/package" "$work/drivetest.deb"
}

record_tests=()
for test in fleet_test.py junit_test.py queries_test.py; do
    [ ! -f "tests/cli/$test" ] || record_tests+=("$test")
done

# In a function, so that it is read whole before it begins.
main() {
    step "set-up and build" set_up # before the layer: what it lies over must not change
    step "packages of the distribution, in a layer" make_layer
    step "versions" print_versions
    step "an archive of what is installed" make_archive
    step "a plan on one host; what is made of records" check_modules
    step "a package" make_package
    step "MAAS: header and result" check_maas
    [ ${#record_tests[@]} -eq 0 ] || step "metrics, JUnit and queries" check_records
    if [ -n "$quick" ]; then
        step "Slurm: a job array on a cluster" check_slurm FLEET_SECONDS=5
        step "Ansible: five hosts, two reboot, two are lost" check_ansible HOSTS=5 FLEET_SECONDS=20
    else
        step "Slurm: a job array on a cluster, a node of which reboots" check_slurm
        step "Ansible: twenty hosts, two reboot, two are lost" check_ansible
        [ ! -x scripts/check-package.sh ] || step "the package, installed, upgraded, removed" scripts/check-package.sh
    fi

    printf '\nAll steps took %d min %d s.\n' $((SECONDS / 60)) $((SECONDS % 60))
    [ -z "$quick" ] || echo "Left out by --quick: twenty hosts, a node of Slurm that reboots, the package. scripts/check-fleet.sh has them."
    if [ ${#failed_steps[@]} -gt 0 ]; then
        echo "Failed steps:"
        printf '  %s\n' "${failed_steps[@]}"
        return 1
    fi
}

main
