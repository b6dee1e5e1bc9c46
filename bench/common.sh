# shellcheck shell=bash
# shellcheck disable=SC2034,SC2154
# What the measurements on a loop device share; read with "source" after scripts/common.sh. Each script sets "mebibytes" and
# "rounds", then calls the functions in the order in which they stand here. 1 MB is 1,048,576 bytes, as in the
# program's own output.

# read_options SCRIPT QUICK_MEBIBYTES QUICK_ROUNDS OPTION...: --quick takes the smaller numbers.
read_options() {
    local script="$1" quick_mebibytes="$2" quick_rounds="$3" option
    shift 3
    for option in "$@"; do
        case "$option" in
            --quick) mebibytes="$quick_mebibytes" rounds="$quick_rounds" ;;
            *) fail "unknown option $option" "use it as: $script [--quick]" ;;
        esac
    done
}

# require_loop_devices DEVICES: ends the script, measuring nothing, where so many files in memory cannot be attached.
require_loop_devices() {
    local available
    if [ "$(id -u)" -ne 0 ]; then
        echo "nothing was measured: attaching a loop device needs root; run this as root"
        exit 0
    fi
    "$root/scripts/setup.sh" --bench
    if ! losetup --find >/dev/null 2>&1; then
        echo "nothing was measured: there are no loop devices here (is the kernel module \"loop\" loaded?)"
        exit 0
    fi
    available=$(($(awk '/^MemAvailable:/ {print $2}' /proc/meminfo) / 1024))
    [ "$available" -gt $((mebibytes * $1 + 512)) ] ||
        fail "the files in memory take $((mebibytes * $1)) MiB, and $available MiB are free" \
            "free some memory, or use --quick"
}

# attach_memory DEVICES: mounts memory at $folder, and attaches files of random data there as ${loops[@]}.
loops=()
attach_memory() {
    local i
    folder="$(mktemp -d)"
    trap detach_memory EXIT
    trap 'exit 130' INT TERM
    mount -t tmpfs -o size=$((mebibytes * $1 + 64))m drivetest_bench "$folder"
    output="$folder/output"
    record="$folder/record.jsonl"
    for ((i = 0; i < $1; ++i)); do
        head -c "${mebibytes}M" /dev/urandom >"$folder/image$i"
        loops+=("$(losetup --find --show "$folder/image$i")")
    done
    megabytes=$(($(blockdev --getsize64 "${loops[0]}") / 1048576))
}

detach_memory() {
    local loop
    ! mountpoint -q "$folder/files" || umount "$folder/files"
    for loop in "${loops[@]}"; do
        losetup --detach "$loop"
    done
    ! mountpoint -q "$folder" || umount "$folder"
    rmdir "$folder"
}

# mount_loop LOOP: makes a file system on it, at $folder/files.
mount_loop() {
    mkfs.ext4 -q "$1"
    mkdir "$folder/files"
    mount "$1" "$folder/files"
}

# calculate DIGITS EXPRESSION: with so many digits after the point; a comparison gives 0 or 1.
calculate() { awk "BEGIN { printf(\"%.$1f\", ($2)) }"; }

# best NAME VALUE: keeps the highest value of each name.
declare -A highest
best() {
    if [ "$(calculate 0 "$2 > ${highest[$1]:-0}")" = 1 ]; then
        highest[$1]="$2"
    fi
}

# timed NAME AMOUNT COMMAND...: the amount over the wall-clock time of the whole process, in seconds.
timed() {
    local name="$1" amount="$2" started ended
    shift 2
    started="$EPOCHREALTIME"
    "$@" >"$output" 2>&1 </dev/null || fail "\"$*\" failed" "it said: $(tail -n 5 "$output")"
    ended="$EPOCHREALTIME"
    best "$name" "$(calculate 3 "$amount / (${ended/,/.} - ${started/,/.})")"
}

# print_best NAME...: the figures of these names.
print_best() {
    local name
    for name in "$@"; do
        printf '  %-58s %12.1f\n' "$name" "${highest[$name]}"
    done
}

# judge WHAT VALUE UNIT BAR: prints a figure and whether it meets its bar, given as "OPERATOR NUMBER".
judge() {
    local met="not met"
    [ "$(calculate 0 "$2 $4")" = 0 ] || met="met"
    printf '  %-58s %12s %-6s bar %-12s %s\n' "$1" "$2" "$3" "$4" "$met"
}

# measured NAME: a rate in the record of the last run.
measured() {
    jq ".testStepArtifact.measurement? | select(.name? == \"$1\") | .value" "$record"
}
