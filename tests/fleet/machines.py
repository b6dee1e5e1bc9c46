"""Hosts that are no machines of their own but are as far apart: each has its own processes, network, name and files, which outlive
it. It can lose its power at any moment, and be cut off. Needs root, and a network namespace that nobody else uses."""

import contextlib
import os
import signal
import subprocess
import time

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


class Machine:
    """`layers`: the folders that its files lie over, the topmost first. What it writes is its own, in `folder`, but for the
    folder `shared`, which all machines have as /srv."""

    def __init__(self, number, name, folder, layers, services, shared=""):
        self.number, self.name, self.folder, self.layers, self.services, self.shared = number, name, folder, layers, services, shared
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

    def let_in(self, keys):
        for source, place, mode in ((keys.host, "/etc/ssh/fleet_key", 0o600), (keys.client + ".pub", "/root/.ssh/authorized_keys", 0o600)):
            with open(source, encoding="ascii") as file:
                self.put(place, file.read(), mode)
        os.chmod(self.files + "/root", 0o700)
        self.put("/etc/ssh/fleet_config", SSHD)

    def power_on(self):
        root = os.path.join(self.folder, "root")
        steps = """set -e
            mount -t overlay overlay -o lowerdir=%(layers)s,upperdir=%(files)s,workdir=%(folder)s/work %(root)s
            cd %(root)s
            for part in run tmp; do mount -t tmpfs -o mode=1777 tmpfs $part; done
            mkdir -p run/sshd; chmod 755 run run/sshd
            mount --rbind /dev dev; mount --bind /sys sys; mount -t proc proc proc
            [ -z "%(shared)s" ] || mount --bind "%(shared)s" srv
            hostname "$0"
            exec chroot . /usr/bin/python3 -B -c "$1" "${@:2}"
        """ % {"layers": ":".join(self.layers), "files": self.files, "folder": self.folder, "root": root,
               "shared": self.shared}
        with open(os.path.join(self.folder, "console"), "ab") as console:
            self.process = subprocess.Popen(
                ["unshare", "--mount", "--uts", "--ipc", "--net", "--pid", "--fork", "--kill-child", "bash", "-c", steps, self.name, INIT,
                 *self.services], stdin=subprocess.DEVNULL, stdout=console, stderr=console)
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
        self.process.wait()

    def inside(self, *words):
        """A command in it, as its console would run it."""
        return subprocess.run(["nsenter", "--target", str(self.first), "--mount", "--uts", "--ipc", "--net", "--pid", "--root",
                               "--", "env", "-C", "/", *words], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
