#!/bin/bash
# In the virtual machine of service.py: what the weekly scrub does there, and what it cannot do.
rounds=/var/lib/drivetest/scrub

tell() { echo "CHECK $*"; }

end() {
    systemctl poweroff --force --force
    sleep 60
}

miss() {
    tell "MISSED: $*"
    journalctl --no-pager --boot --unit 'drivetest*' | tail -n 60
    find "$rounds" -ls | head -n 60
    systemctl status --no-pager 'drivetest*'
    end
}

is() { [ "$2" = "$3" ] || miss "$1 is \"$2\", not \"$3\""; }

shown() { systemctl show --value --property "$1" drivetest-scrub.service; }

# wait_for SECONDS COMMAND...: until it gives true.
wait_for() {
    local seconds="$1" end
    shift
    end=$((SECONDS + seconds))
    until "$@"; do
        [ "$SECONDS" -lt "$end" ] || miss "waited $seconds s in vain for: $*"
        sleep 0.5
    done
}

is_over() { [ "$(shown ActiveState)" != active ] && [ "$(shown ActiveState)" != deactivating ]; }

is_unneeded() { ! systemctl --quiet is-active drivetest-scrub-stop.timer; }

node_of() { lsblk --nodeps --noheadings --paths --output NAME,SERIAL | awk -v serial="$1" '$2 == serial {print $1}'; }

# record_of SERIAL FOLDER: the newest one of that drive.
record_of() {
    local file newest=""
    for file in "$rounds/$2"/*.jsonl; do
        if grep -qsF "\"serialNumber\":\"$1\"" "$file" && { [ -z "$newest" ] || [ "$file" -nt "$newest" ]; }; then newest="$file"; fi
    done
    echo "$newest"
}

# has SERIAL FOLDER TEXT: in its newest record.
has() {
    local record
    record="$(record_of "$1" "$2")"
    [ -n "$record" ] && grep -qF -- "$3" "$record"
}

has_progress() { has SLOW1 current '"name":"progress"'; }
has_ended() { [ -n "$(find "$rounds" -mindepth 1 -maxdepth 1 -name '20*')" ]; }
digests() { for each in ATA1 SCSI1 NVME1 SLOW1 BUSY1; do sha256sum <"$(node_of "$each")"; done; }

check_installed() {
    is "the timer" "$(systemctl is-enabled drivetest-scrub.timer)" disabled
    systemd-analyze verify --man=no drivetest-scrub.service drivetest-scrub.timer drivetest-scrub-stop.service drivetest-scrub-stop.timer ||
        miss "systemd does not understand the units"
    for each in ATA1 SCSI1 NVME1 SLOW1 BUSY1; do
        [ -b "$(node_of "$each")" ] || miss "there is no drive $each"
    done
    is "the mode of the folder of journals" "$(stat -c %a /var/lib/drivetest/journal)" 700
    is "the mode of their register" "$(stat -c %a /var/lib/drivetest/open)" 1777
    tell "installed: nothing is enabled, nothing runs, the folders are there"
}

# What the service could do, were it another program: each line is what must fail in its place.
check_rights() {
    mkdir -p /run/systemd/system/drivetest-scrub.service.d
    cat >/run/attempts <<END
dd if=/dev/zero of=$(node_of ATA1) bs=512 count=1 conv=nocreat
dd if=/dev/zero of=$(node_of SLOW1) bs=512 count=1 conv=nocreat,notrunc
touch /etc/x /usr/x /var/x /boot/x
cat /dev/mem
mknod /var/lib/drivetest/node b 8 0
mount -t tmpfs x /mnt
cat /root/secret
cat /etc/shadow-of-others
bash -c 'exec 3<>/dev/tcp/127.0.0.1/1'
END
    echo secret >/root/secret
    install -m 0600 -o daemon /dev/null /etc/shadow-of-others
    cat >/run/attempt <<'END'
while read -r line; do if bash -c "$line" >/dev/null 2>&1; then echo "$line"; fi; done </run/attempts >/var/lib/drivetest/could
END
    printf '[Service]\nType=oneshot\nExecStart=\nExecStart=/bin/bash /run/attempt\n' >/run/systemd/system/drivetest-scrub.service.d/x.conf
    systemctl daemon-reload
    systemctl start drivetest-scrub.service || miss "the attempts could not be made"
    is "what the service could do" "$(cat /var/lib/drivetest/could)" ""
    rm -r /run/systemd/system/drivetest-scrub.service.d /var/lib/drivetest/could
    systemctl daemon-reload
    tell "rights: $(wc -l </run/attempts) attempts to write, to reach the network and the like failed in its place"
}

check_run() {
    while :; do dd if="$(node_of BUSY1)" of=/dev/null bs=64k iflag=direct 2>/dev/null; done &
    load=$!
    systemctl start drivetest-scrub.service
    is "the timer that stops it" "$(systemctl is-active drivetest-scrub-stop.timer)" active
    wait_for 600 has SLOW1 current LinearReadTest
    while read -r each; do
        is "the I/O class of a process" "$(ionice -p "$each" | cut -d : -f 1)" idle
    done </sys/fs/cgroup/system.slice/drivetest-scrub.service/cgroup.procs
    for each in ATA1 SCSI1 NVME1; do
        wait_for 600 has "$each" current '"requested":65536,"tested":65536,"failed":0,"skipped":0'
        tell "$each: $(grep -o '"name":"health"\|"source":"[a-z]*"\|"problem":"[^"]*"' "$(record_of "$each" current)" | sort | uniq -c | tr '\n' ' ')"
    done
    is "the record of the busy drive" "$(record_of BUSY1 current)" ""
    journalctl --unit drivetest-scrub | grep "BUSY\|busy" | head -n 3
    grep -h "is busy for" "$rounds"/current/*.log | head -n 1
    tell "run: three drives are read, one is slow, a busy one is left out"
}

check_stop() {
    wait_for 600 has_progress
    systemctl start drivetest-scrub-stop.service
    wait_for 60 is_over
    is "its state" "$(shown ActiveState), $(shown Result)" "inactive, success"
    [ -d "$rounds/current" ] || miss "what was stopped is not there to go on"
    wait_for 60 is_unneeded
    kill "$load"
    tell "stop: at once, without failure"
    systemctl start drivetest-scrub.service
    wait_for 600 has_ended
    local folder
    folder="$(basename "$rounds"/20*)"
    has SLOW1 "$folder" '"name":"resumed"' || miss "the slow drive was not resumed"
    has SLOW1 "$folder" '"requested":204800,"tested":204800,"failed":0,"skipped":0' || miss "not all of the slow drive was read"
    tell "next time: it went on, and read all of the slow drive"
    systemctl stop drivetest-scrub.service
    wait_for 60 is_over
    is "its state" "$(shown ActiveState), $(shown Result)" "inactive, success"
}

check_removal() {
    systemctl enable --now drivetest-scrub.timer
    systemctl list-timers --no-pager drivetest-scrub.timer
    dpkg --purge drivetest >/run/purge 2>&1 || miss "$(cat /run/purge)"
    is "the timer" "$(systemctl is-active drivetest-scrub.timer)" inactive
    is "what is left of units" "$(find /etc/systemd /run/systemd /lib/systemd -name '*drivetest*')" ""
    [ -d "$rounds" ] || miss "the purge has deleted records"
    tell "purge: the timer is gone, the records are there"
}

uname -r
tell "$(systemctl --version | head -n 1), Linux $(uname -r), control groups of version $([ -e /sys/fs/cgroup/cgroup.procs ] && echo 2 || echo 1)"
before="$(digests)"
check_installed
check_rights
check_run
check_stop
check_removal
is "what the drives hold" "$(digests)" "$before"
tell "all went well"
end
