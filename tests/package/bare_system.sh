#!/usr/bin/env bash
# What the packages do in a bare system; called by scripts/check-package.sh, in a mount and process namespace of its own.
#   bare_system.sh BARE LOOP    BARE: the folder of the system, with /packages/old/*.deb and /packages/new/*.deb in it;
#                               LOOP: a loop device over BARE/srv/loop.img
# Ends with 0 only if all was as it should be.
set -euo pipefail

bare="$1" loop="$2"
state="$bare/var/lib/drivetest"
said="$bare/said" # what the last command said
mib=$((1 << 20))

miss() {
    printf 'MISSED: %s\n' "$@" >&2
    sed 's/^/  | /' "$said" >&2
    exit 1
}

step() { printf -- '-- %s\n' "$1"; }

# inside COMMAND...: in the bare system; what it says goes to the file "said".
inside() {
    chroot "$bare" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 TERM=dumb \
        DEBIAN_FRONTEND=noninteractive "$@" </dev/null >"$said" 2>&1
}

# gives STATUS COMMAND...: it must end so.
gives() {
    local wanted="$1" status=0
    shift
    inside "$@" || status=$?
    [ "$status" -eq "$wanted" ] || miss "\"$*\" ended with $status, not with $wanted"
}

says() {
    local text
    for text in "$@"; do
        grep -qF -- "$text" "$said" || miss "it did not say \"$text\""
    done
}

# same FILE FILE: byte for byte.
same() { cmp -s "$1" "$2" || miss "$1 is not as $2"; }

# install old|new: that package, with what it needs from the distribution.
install() {
    local package
    package="$(echo "$bare/packages/$1"/drivetest_*.deb)"
    gives 0 apt-get install -y --no-install-recommends "${package#"$bare"}"
}

# version_of old|new
version_of() { dpkg-deb --field "$bare/packages/$1"/drivetest_*.deb Version; }

prepare() {
    mount -t proc proc "$bare/proc"
    mount -t sysfs -o ro sysfs "$bare/sys"
    mount -t tmpfs -o mode=755 dev "$bare/dev"
    local name
    for name in null zero full random urandom tty; do
        cp -a "/dev/$name" "$bare/dev/"
    done
    cp -a "$loop" "$bare/dev/"
    ln -s /proc/self/fd "$bare/dev/fd"
    head -c $((16 * mib)) /dev/urandom >"$bare/srv/drive.img"
    cp "$bare/srv/drive.img" "$bare/srv/before.img"
}

# stands_still PROCESS: waits until a stop has reached it; false when it has ended before.
stands_still() {
    local state
    while read -r state <"/proc/$1/stat"; do
        case "${state##*) }" in
            T*) return 0 ;;
            Z* | X*) return 1 ;;
        esac
    done 2>/dev/null
    return 1
}

# break_off: a test of drive.img is killed while it has overwritten something; its journal is open then.
break_off() {
    local try test
    for try in $(seq 50); do
        chroot "$bare" /usr/bin/env -i PATH=/usr/bin HOME=/root drivetest run LinearPatternTest /srv/drive.img \
            --confirm /srv/drive.img --no-record --no-prompt </dev/null >"$said" 2>&1 &
        test=$!
        while kill -STOP "$test" 2>/dev/null && stands_still "$test"; do
            if ! cmp -s "$bare/srv/drive.img" "$bare/srv/before.img"; then
                kill -KILL "$test"
                { wait "$test" || true; } 2>/dev/null
                cp "$bare/srv/drive.img" "$bare/srv/broken.img"
                return
            fi
            kill -CONT "$test"
            sleep 0.002
        done
        wait "$test" || miss "the test that was to be broken off failed"
    done
    miss "in $try tests the drive never held patterns"
}

# journals: of all that is open, names and digests.
journals() { (cd "$state" && find journal open -type f -exec sha256sum {} + | sort); }

# check_program VERSION: of the package.
check_program() {
    step "the program, its module and its texts, of version $1"
    gives 0 dpkg-query --show drivetest
    says "$1"
    gives 0 drivetest --version
    gives 0 drivetest tests
    says LinearReadTest CapacityTest
    gives 1 drivetest run LinearReadTest sim:disk,sectors=100000,bad=1234+5000-5003 --lang de
    says "Sektor 1234" "5000-5003"
    gives 0 drivetest explain "$(cd "$bare" && find var/lib/drivetest/records -name '*.jsonl' -printf '/%p\n' | head -1)"
}

check_drives() {
    step "an image file and a loop device: read, written to and put back"
    gives 0 drivetest run LinearReadTest /srv/drive.img --no-record
    gives 0 drivetest run LinearPatternTest /srv/drive.img --confirm /srv/drive.img --no-record --no-prompt
    same "$bare/srv/drive.img" "$bare/srv/before.img"
    gives 0 drivetest run LinearReadTest "$loop" --no-record
    gives 0 drivetest run LinearPatternTest "$loop" --confirm "$loop" --no-record --no-prompt
    same "$bare/srv/loop.img" "$bare/srv/loop-before.img"
    [ -z "$(journals)" ] || miss "journals are left of tests that have ended"
}

check_companions() {
    step "manual, completions, plans"
    gives 0 man drivetest
    says recover LinearReadTest
    gives 0 man -L de drivetest
    says Laufwerk
    gives 0 bash -c '. /usr/share/bash-completion/bash_completion; _completion_loader drivetest; complete -p drivetest;
        COMP_WORDS=(drivetest rec); COMP_CWORD=1; COMP_LINE="drivetest rec"; COMP_POINT=13
        $(complete -p drivetest | sed "s/.*-F \([^ ]*\).*/\1/") drivetest rec drivetest; echo "${COMPREPLY[@]}"'
    says recover
    gives 0 test -s /usr/share/zsh/vendor-completions/_drivetest -a -s /usr/share/fish/vendor_completions.d/drivetest.fish
    local plan
    for plan in new-drive used-drive weekly-scrub; do
        gives 0 drivetest plan --print "$plan"
        same "$said" "$bare/usr/share/drivetest/plans/$plan.toml"
    done
    # Of drives that there are: as installed, but for the drives.
    for plan in used-drive weekly-scrub; do
        sed 's/^kind = .*/path = "sim:ata,sectors=100000,serial=S1"/' "$bare/usr/share/drivetest/plans/$plan.toml" >"$bare/srv/$plan.toml"
        gives 0 drivetest plan check "/srv/$plan.toml"
        gives 0 drivetest run --plan "/srv/$plan.toml" --out "/srv/$plan"
        [ -s "$bare/srv/$plan/overview.html" ] || miss "the plan $plan has left no overview"
    done
    gives 0 test -x /usr/libexec/drivetest/scrub
}

check_upgrade() {
    step "an upgrade while a journal is open"
    break_off
    local before
    before="$(journals)"
    [ -n "$before" ] || miss "no journal is open"
    install new
    [ "$(journals)" = "$before" ] || miss "the upgrade has changed the journals"
    same "$bare/srv/drive.img" "$bare/srv/broken.img"
    gives 9 drivetest run LinearPatternTest /srv/drive.img --confirm /srv/drive.img --no-record --no-prompt
    says "drivetest recover"
    gives 0 drivetest recover
    same "$bare/srv/drive.img" "$bare/srv/before.img"
    [ -z "$(journals)" ] || miss "journals are left after recovery"
}

check_removal() {
    step "removal and purge while a journal is open"
    break_off
    local before
    before="$(journals)"
    gives 0 apt-get remove -y drivetest
    says "1 undo journal(s) in /var/lib/drivetest/journal" "drivetest recover"
    [ "$(journals)" = "$before" ] || miss "the removal has changed the journals"
    gives 0 apt-get purge -y drivetest
    says "left in /var/lib/drivetest/journal" "drivetest recover" "records of tests are left"
    [ "$(journals)" = "$before" ] || miss "the purge has changed the journals"
    same "$bare/srv/drive.img" "$bare/srv/broken.img"
    install new
    gives 0 drivetest recover
    says "all its data is on the drive again"
    same "$bare/srv/drive.img" "$bare/srv/before.img"
}

# Journals in another folder are known by the register alone, and one that cannot be read may hold anything.
check_other_journals() {
    step "purge with a journal elsewhere, and with one that is damaged"
    local place
    for place in open/0001.open journal/.hidden journal/x.journal; do
        mkdir -p "$(dirname "$state/$place")"
        echo damaged >"$state/$place"
        gives 0 apt-get purge -y drivetest
        says "drivetest recover"
        [ -e "$state/$place" ] || miss "the purge has deleted $place"
        rm "$state/$place"
        install new
    done
}

check_purge() {
    step "purge without journals leaves nothing but records, and nothing at all without those"
    gives 0 apt-get purge -y drivetest
    says "records of tests are left"
    [ -n "$(find "$state/records" -name '*.jsonl')" ] || miss "the purge has deleted records"
    rm -r "$state/records"
    install new
    gives 0 apt-get purge -y drivetest
    ! grep -q "are left" "$said" || miss "it speaks of what is left"
    local left
    left="$(cd "$bare" && find . -xdev -name '*drivetest*' -not -path './packages/*' -not -path './var/cache/*' -not -path './var/log/*')"
    [ -z "$left" ] || miss "this is left: $left"
}

prepare
step "installation of the older version, with what it needs from the distribution"
gives 0 apt-get update
install old
check_program "$(version_of old)"
check_upgrade
check_program "$(version_of new)"
check_drives
check_companions
check_removal
check_other_journals
check_purge
