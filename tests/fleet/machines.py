"""Hosts that are no machines of their own but are as far apart: each has its own processes, network, name and files, which outlive
it. It can lose its power at any moment, and be cut off. Needs root, and a network namespace that nobody else uses."""

import contextlib
import os
import signal
import subprocess
import time

USER = 1999  # number of a user who is not root
BRIDGE, NETWORK = "fleet0", "10.77.0."
SSHD = """Port 22
HostKey /etc/ssh/fleet_key
PermitRootLogin prohibit-password
UsePAM no
PidFile none
MaxStartups 50
Subsystem sftp internal-sftp
"""
# The first process: everything ends with it. It takes in what others have left.
INIT = """import os, subprocess, sys, time
for service in sys.argv[1:]:
    subprocess.Popen(["sh", "-c", service])
while True:
    try:
        os.wait()
    except ChildProcessError:
        time.sleep(1)
"""


def run(*words, **options):
    return subprocess.run(words, check=True, stdin=subprocess.DEVNULL, capture_output=True, text=True, **options)


def until(is_so, seconds=60, what="it"):
    """Waits for what other processes do."""
    end = time.monotonic() + seconds
    while not (found := is_so()):
        if time.monotonic() > end:
            raise AssertionError("%s did not come to be within %d s" % (what, seconds))
        time.sleep(0.05)
    return found


class Network:
    """The cable between all hosts and this process."""

    def __init__(self):
        run("ip", "link", "set", "lo", "up")
        run("ip", "link", "add", BRIDGE, "type", "bridge")
        run("ip", "addr", "add", NETWORK + "254/24", "dev", BRIDGE)
        run("ip", "link", "set", BRIDGE, "up")

    @staticmethod
    def swallow(address):
        """Whatever is sent there is lost, without a word."""
        run("ip", "neigh", "replace", address, "dev", BRIDGE, "lladdr", "02:00:00:00:ff:ff", "nud", "permanent")


class Keys:
    """By which the hosts know who may come in, and the other way round."""

    def __init__(self, folder):
        self.client, self.host = os.path.join(folder, "client"), os.path.join(folder, "host")
        for path in (self.client, self.host):
            run("ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", path)
        self.known = os.path.join(folder, "known_hosts")
        with open(self.host + ".pub", encoding="ascii") as public, open(self.known, "w", encoding="ascii") as known:
            known.write("%s* %s\n" % (NETWORK, public.read()))


# Where it has its own disk and memory; then the first process.
FILES = """set -e
    cd "$ROOT"
    mount -t overlay overlay -o "lowerdir=$LAYERS,upperdir=$UPPER,workdir=$WORK" .
    cd "$ROOT"
    for part in run tmp; do mount -t tmpfs -o mode=1777 tmpfs $part; done
    chmod 755 run
    mount -t proc proc proc
    [ -z "$SHARED" ] || mount --bind "$SHARED" srv
    hostname "$NAME"
"""
PLAIN = FILES + """
    mkdir -p run/sshd
    mount --rbind /dev dev
    mount --bind /sys sys
    exec chroot . /usr/bin/python3 -B -c "$INIT" "$@"
"""
# As in a container: no devices but those that everybody has, and a part of the control groups.
SYSTEMD = FILES + """
    mount -t sysfs sysfs sys
    mount -t cgroup2 cgroup2 sys/fs/cgroup
    mount -t tmpfs tmpfs dev
    for part in null zero full random urandom tty; do touch dev/$part; mount --bind /dev/$part dev/$part; done
    mkdir dev/pts dev/shm
    ln -s /proc/self/fd dev/fd
    touch dev/console
    for unit in "$@"; do
        printf '[Service]\\nRuntimeDirectory=sshd\\nExecStart=%s\\n' "$unit" >etc/systemd/system/fleet.service
    done
    mkdir -p etc/systemd/system/basic.target.wants
    ln -sf ../fleet.service etc/systemd/system/basic.target.wants/fleet.service
    ln -sf /dev/null etc/systemd/system/systemd-udevd.service
    exec env -i container=other PATH=/usr/sbin:/usr/bin:/sbin:/bin \\
        chroot . /lib/systemd/systemd --system --unit=basic.target --show-status=0
"""


def control_groups():
    """Where the groups of version 2 are."""
    with open("/proc/mounts", encoding="ascii") as mounts:
        return next(line.split()[1] for line in mounts if line.split()[2] == "cgroup2")


class Machine:
    """`layers`: the folders that its files lie over, the topmost first. What it writes is its own, in `folder`, but for the
    folder `shared`, which all machines have as /srv."""

    def __init__(self, number, name, folder, layers, services, shared="", has_systemd=False):
        self.number, self.name, self.folder, self.layers, self.services, self.shared = number, name, folder, layers, services, shared
        self.has_systemd, self.group = has_systemd, None
        self.address = NETWORK + str(number)
        self.files = os.path.join(folder, "upper")
        self.process, self.first = None, None
        for part in ("upper", "work", "root"):
            os.makedirs(os.path.join(folder, part))

    def put(self, path, text, mode=0o644):
        """A file that it has."""
        where = self.files + path
        os.makedirs(os.path.dirname(where), exist_ok=True)
        with open(where, "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(where, mode)

    def add_user(self, name):
        """Somebody who may become root."""
        for path, line in (("/etc/passwd", "%s:x:%d:%d::/home/%s:/bin/sh\n" % (name, USER, USER, name)),
                           ("/etc/shadow", "%s:*:19000:0:99999:7:::\n" % name)):
            with open(path, encoding="utf-8") as file:
                self.put(path, file.read() + line, 0o640 if path == "/etc/shadow" else 0o644)
        self.put("/etc/sudoers.d/fleet", "%s ALL=(ALL) NOPASSWD: ALL\n" % name, 0o440)
        self.put("/etc/hosts", "127.0.0.1 localhost %s\n" % self.name)

    def let_in(self, keys, user="root"):
        home = "/root" if user == "root" else "/home/" + user
        for source, place, mode in ((keys.host, "/etc/ssh/fleet_key", 0o600), (keys.client + ".pub", home + "/.ssh/authorized_keys", 0o600)):
            with open(source, encoding="ascii") as file:
                self.put(place, file.read(), mode)
        os.chmod(self.files + home, 0o700)
        if user != "root":
            for part in ("", "/.ssh", "/.ssh/authorized_keys"):
                os.chown(self.files + home + part, USER, USER)
        self.put("/etc/ssh/fleet_config", SSHD)

    def power_on(self):
        given = {"ROOT": os.path.join(self.folder, "root"), "LAYERS": ":".join(self.layers), "UPPER": self.files, "NAME": self.name,
                 "WORK": os.path.join(self.folder, "work"), "SHARED": self.shared, "INIT": INIT}
        namespaces = ["unshare", "--mount", "--uts", "--ipc", "--net", "--pid", "--fork", "--kill-child"]
        if self.has_systemd:
            # One that no other test has, also outside of this one's namespaces.
            place = os.path.basename(os.path.dirname(self.folder))
            self.group = os.path.join(control_groups(), "drivetest-%s-%s" % (place, self.name))
            os.makedirs(self.group, exist_ok=True)
            enter = ["bash", "-c", 'echo $$ >"$0/cgroup.procs" && exec "$@"', self.group]
            words = [*enter, *namespaces, "--cgroup", "bash", "-c", SYSTEMD, self.name, *self.services]
        else:
            words = [*namespaces, "bash", "-c", PLAIN, self.name, *self.services]
        with open(os.path.join(self.folder, "console"), "ab") as console:
            self.process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=console, stderr=console, env={**os.environ, **given})
        self.first = until(self._first_process, what=self.name)
        until(lambda: os.readlink("/proc/%d/ns/net" % self.first) != os.readlink("/proc/self/ns/net"))
        self._plug_in()

    def _first_process(self):
        with contextlib.suppress(OSError), open(
                "/proc/%d/task/%d/children" % (self.process.pid, self.process.pid), encoding="ascii") as children:
            return next((int(pid) for pid in children.read().split()), None)
        return None

    def _plug_in(self):
        link = "fleet-%d" % self.number
        run("ip", "link", "add", link, "type", "veth", "peer", "name", "eth0", "netns", str(self.first))
        run("ip", "link", "set", link, "master", BRIDGE, "up")
        inside = ["nsenter", "--net=/proc/%d/ns/net" % self.first, "ip"]
        run(*inside, "link", "set", "lo", "up")
        run(*inside, "addr", "add", self.address + "/24", "dev", "eth0")
        run(*inside, "link", "set", "eth0", "up")

    def cut_off(self):
        """Its cable is pulled; it goes on, and nobody hears of it."""
        run("ip", "link", "delete", "fleet-%d" % self.number)
        Network.swallow(self.address)

    def lose_power(self):
        """Every process is gone at once; what it wrote stays."""
        os.kill(self.first, signal.SIGKILL)
        self.is_off()

    def shut_down(self):
        """In order, by systemd."""
        self.inside("systemctl", "poweroff")
        self.is_off()

    def is_off(self):
        self.process.wait(timeout=120)
        if self.group:
            for folder, _, _ in os.walk(self.group, topdown=False):
                until(lambda: self._is_removed(folder), what="the end of " + self.name)

    @staticmethod
    def _is_removed(folder):
        """A control group stays until its last process is gone."""
        with contextlib.suppress(OSError):
            os.rmdir(folder)
        return not os.path.isdir(folder)

    def inside(self, *words):
        """A command in it, as its console would run it."""
        return subprocess.run(["nsenter", "--target", str(self.first), "--mount", "--uts", "--ipc", "--net", "--pid", "--root",
                               "--", "env", "-C", "/", *words], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
