#!/usr/bin/env python3
"""Tries the log-collecting service under a service manager: managed.py EXAMPLES.

EXAMPLES is the folder of the built examples. The script is the manager: it speaks the protocol of
systemd, and shuts the service in as collector.service says. What needs something that the machine does
not have is left out with the reason.
"""

import ctypes
import ctypes.util
import contextlib
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

from collector import PATIENCE, Client, Service
from faults import expect

FOLDER = pathlib.Path(__file__).resolve().parent


class NotReady(Exception):
    """Why a test cannot be made here."""


class Manager:
    """The end of a notify socket that a manager has."""

    def __init__(self, address):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind(address.replace("@", "\0") if address.startswith("@") else address)
        self.socket.settimeout(PATIENCE)

    def hear(self):
        return dict(line.split("=", 1) for line in self.socket.recv(4096).decode().split("\n"))

    def hear_with(self, name, value=None):
        """The next that says something of that name."""
        while True:
            told = self.hear()
            if name in told and (value is None or re.search(value, told[name])):
                return told


@contextlib.contextmanager
def listening(*addresses, kind=socket.SOCK_STREAM, listens=True):
    with contextlib.ExitStack() as stack:
        sockets = []
        for address in addresses:
            family = socket.AF_UNIX if "/" in address else socket.AF_INET6 if ":" in address else socket.AF_INET
            made = stack.enter_context(socket.socket(family, kind))
            made.bind(address if "/" in address else (address, 0))
            if listens:
                made.listen()
            sockets.append(made)
        yield sockets


def handing(sockets, *command, names=""):
    """A command that is run with sockets as a manager hands them over, and how to start it."""
    moves = " ".join(f"{3 + i}<&{100 + i} {100 + i}<&-" for i in range(len(sockets)))
    script = f'exec {moves}; export LISTEN_PID=$$ LISTEN_FDS={len(sockets)} LISTEN_FDNAMES={names}; exec "$@"'
    for i, made in enumerate(sockets):  # the shell knows descriptors by their numbers
        os.dup2(made.fileno(), 100 + i)
    return ["bash", "-c", script, "bash", *command], tuple(100 + i for i in range(len(sockets)))


def start_with_sockets(examples, folder, sockets, *options, names="", **arguments):
    command, descriptors = handing(sockets, examples / "Service", "--folder", folder, names=names)
    try:
        return Service(examples, folder, *options, command=command, pass_fds=descriptors, **arguments)
    finally:
        for descriptor in descriptors:
            os.close(descriptor)


def tells_how_it_goes(examples):
    for kind in ("path", "abstract"):
        with tempfile.TemporaryDirectory() as folder:
            address = folder + "/notify" if kind == "path" else f"@collector-{os.getpid()}"
            manager = Manager(address)
            service = Service(examples, folder, environment={"NOTIFY_SOCKET": address, "WATCHDOG_USEC": "200000"})
            ready = manager.hear()
            expect(("1", f"listening on 127.0.0.1:{service.port}, 0 connections, 0 lines stored"),
                   (ready["READY"], ready["STATUS"]))
            for _ in range(3):
                expect("1", manager.hear_with("WATCHDOG")["WATCHDOG"])
            client = service.connect()
            expect("OK 1", client.ask("INFO web before\n"))
            manager.hear_with("STATUS", "1 connections, 1 lines stored")

            for name in ("service.log", "service-1.xml"):  # what rotates logs does so, and tells
                (service.folder / name).rename(service.folder / (name + ".1"))
            begin = time.clock_gettime(time.CLOCK_MONOTONIC)
            service.process.send_signal(signal.SIGHUP)
            told = int(manager.hear_with("RELOADING", "1")["MONOTONIC_USEC"]) / 1e6
            assert begin <= told <= time.clock_gettime(time.CLOCK_MONOTONIC), (begin, told)
            manager.hear_with("READY", "1")
            assert re.search(r" \| opened anew$", (service.folder / "service.log").read_text(), re.M)
            expect("OK 2", client.ask("INFO web after\n"))

            service.process.send_signal(signal.SIGTERM)
            manager.hear_with("STOPPING", "1")
            expect((0, ""), service.end()[::2])
            assert " | before\n" in (service.folder / "service.log.1").read_text()
            assert " | after\n" in (service.folder / "service.log").read_text()
            # The document goes on under its new name up to its end.
            (service.folder / "service-1.xml.1").rename(service.folder / "service-1.xml")
            assert {"before", "opened anew", "after"} <= set(service.entries()), service.entries()


def takes_bad_managers(examples):
    refused = [({"NOTIFY_SOCKET": "notify"}, "NOTIFY_SOCKET"), ({"NOTIFY_SOCKET": "/" + "x" * 200}, "NOTIFY_SOCKET"),
               ({"LISTEN_FDS": "x"}, "LISTEN_FDS"), ({"LISTEN_PID": "-1"}, "LISTEN_PID"),
               ({"WATCHDOG_USEC": "1s"}, "WATCHDOG_USEC")]
    for variables, word in refused:
        with tempfile.TemporaryDirectory() as folder:
            status, _, errors = Service(examples, folder, environment=variables).end()
            assert status == 2 and word in errors, (variables, status, errors)
    # What is meant for another process is left alone, and a manager that is gone is no reason to stop.
    with tempfile.TemporaryDirectory() as folder:
        manager = Manager(folder + "/notify")
        service = Service(examples, folder, environment={
            "NOTIFY_SOCKET": folder + "/notify", "WATCHDOG_PID": "1", "WATCHDOG_USEC": "1000", "LISTEN_PID": "1",
            "LISTEN_FDS": "1"})
        expect("1", manager.hear()["READY"])
        os.unlink(folder + "/notify")
        manager.socket.close()
        expect("OK 1", service.connect().ask("INFO web x\n"))
        status, _, errors = service.stop()
        expect(0, status)
        expect(1, errors.count("NOTIFY_SOCKET"))
    with tempfile.TemporaryDirectory() as folder:
        manager = Manager(folder + "/notify")
        status = Service(examples, folder, "--port", "x", environment={"NOTIFY_SOCKET": folder + "/notify"}).end()[0]
        expect((2, True), (status, "port" in manager.hear()["STATUS"]))


def takes_sockets(examples):
    """Clients come and go while the service is not running, and none is turned away."""
    addresses = ["127.0.0.1"]
    with contextlib.suppress(OSError), listening("::1"):
        addresses.append("::1")
    with tempfile.TemporaryDirectory() as folder, listening(*addresses) as sockets:
        for run in range(2):
            early = [socket.create_connection(made.getsockname()[:2], timeout=PATIENCE) for made in sockets]
            service = start_with_sockets(examples, folder, sockets, names="four:six")
            for client in early:
                client.sendall(f"INFO early run {run}\n".encode())
                expect("OK 1", client.makefile().readlines(16 + 4)[1].strip())
                client.close()
            expect("OK 1", Client(sockets[0].getsockname()[1]).ask("INFO late x\n"))
            expect((0, ""), service.stop()[::2])
        expect(2 * len(addresses), service.plain().count(" | run "))
    with tempfile.TemporaryDirectory() as folder:
        for made, reason in [
            (listening("127.0.0.1", kind=socket.SOCK_DGRAM, listens=False), "Invalid"),
            (listening("127.0.0.1", listens=False), "Invalid"),
            (listening(folder + "/unix"), "Invalid"),
        ]:
            with made as sockets:
                status, _, errors = start_with_sockets(examples, folder, sockets, names="odd").end()
                assert status == 2 and '3 of the service manager, "odd"' in errors, (status, errors)


class Filter:
    """System calls as SystemCallFilter=, MemoryDenyWriteExecute= and RestrictAddressFamilies= allow them."""

    FAIL, ALLOW, MASKED_EQUAL = 0x00050001, 0x7FFF0000, 7

    class Argument(ctypes.Structure):
        _fields_ = [("number", ctypes.c_uint), ("operation", ctypes.c_int), ("mask", ctypes.c_uint64),
                    ("value", ctypes.c_uint64)]

    def __init__(self):
        library = ctypes.util.find_library("seccomp")
        if not library or not shutil.which("systemd-analyze"):
            raise NotReady("no libseccomp or no systemd-analyze, which has the names of the calls")
        self.library = ctypes.CDLL(library)
        self.library.seccomp_init.restype = ctypes.c_void_p
        self.context = ctypes.c_void_p(self.library.seccomp_init(ctypes.c_uint32(self.FAIL)))
        allowed = self.calls("@system-service") - self.calls("@privileged") - self.calls("@resources")
        for name in allowed - {"mmap", "mprotect", "socket"}:
            self.allow(name)
        for protection in (0, 2, 4):  # not to be written and run
            self.allow("mmap", (2, 6, protection))
        self.allow("mprotect", (2, 4, 0))
        self.allow("socket", (0, 0xFFFF, socket.AF_UNIX))

    @classmethod
    def calls(cls, group):
        found = set()
        text = subprocess.run(["systemd-analyze", "syscall-filter", group], capture_output=True, text=True,
                              check=True).stdout
        for name in re.findall(r"^    ([@\w-]+)$", text, re.M):
            found |= cls.calls(name) if name.startswith("@") else {name}
        return found

    def allow(self, name, *arguments):
        number = self.library.seccomp_syscall_resolve_name(name.encode())
        if number >= 0:  # that of another architecture otherwise
            rows = (self.Argument * max(len(arguments), 1))(
                *[self.Argument(index, self.MASKED_EQUAL, mask, value) for index, mask, value in arguments])
            self.library.seccomp_rule_add_array(self.context, ctypes.c_uint32(self.ALLOW), number, len(arguments), rows)

    def load(self):
        expect(0, self.library.seccomp_load(self.context))


def confine(command):
    """Runs a command under the filter: the last step into the place that survives_confinement makes."""
    Filter().load()
    for forbidden in (lambda: socket.socket(socket.AF_INET), lambda: os.chroot("/"),
                      lambda: open("/usr/any", "w"), lambda: open("/etc/any", "w")):
        try:
            forbidden()
        except OSError:
            continue
        raise AssertionError("it is not shut in")
    os.execv(command[0], command)


def survives_confinement(examples):
    """What collector.service asks for, by the kernel's own calls: a read-only system, /tmp of its own, no network,
    no capabilities, no new privileges, no home, the filter."""
    if subprocess.run(["unshare", "--user", "--map-root-user", "--mount", "--net", "true"],
                      stderr=subprocess.DEVNULL).returncode != 0:
        raise NotReady("there are no user namespaces")
    if not shutil.which("setpriv"):
        raise NotReady("there is no setpriv")
    Filter()
    state = "/mnt"
    place = f"""
        mount --bind "$1" {state}
        mount -o remount,bind,ro /
        mount -t tmpfs tmp /tmp
        mount -t tmpfs -o mode=1777 shm /dev/shm
        shift
        exec setpriv --no-new-privs --bounding-set -all --inh-caps -all "$@" """
    if str(examples).startswith("/tmp/"):
        raise NotReady("the programs lie in /tmp, which is hidden")
    with tempfile.TemporaryDirectory() as folder, listening("127.0.0.1") as sockets:
        notify = folder + "/notify"
        manager = Manager(notify)
        command, descriptors = handing(
            sockets, "unshare", "--user", "--map-root-user", "--mount", "--net", "sh", "-ec", place, "sh", folder,
            sys.executable, __file__, "--confine", examples / "Service", "--folder", state)
        service = Service(examples, folder, command=command, pass_fds=descriptors, umask=0o077,
                          # A sanitizer that looks for leaks at the end traces the process, as none may here.
                          environment={"NOTIFY_SOCKET": state + "/notify", "HOME": "", "XDG_DATA_HOME": "",
                                       "LC_ALL": "", "ASAN_OPTIONS": "detect_leaks=0"})
        for descriptor in descriptors:
            os.close(descriptor)
        if not service.port:
            raise AssertionError(service.end())
        expect("1", manager.hear()["READY"])
        expect("OK 1", service.connect().ask("INFO web Grüße\n"))
        service.process.send_signal(signal.SIGHUP)
        manager.hear_with("READY", "1")
        status = pathlib.Path(f"/proc/{service.process.pid}/status").read_text()
        for line in ("NoNewPrivs:\t1", "Seccomp:\t2", "CapBnd:\t0000000000000000"):
            assert line in status, (line, status)
        expect((0, ""), service.stop()[::2])
        assert " | Grüße\n" in service.plain() and "Grüße" in service.entries()


def units_are_sound(examples):
    if not shutil.which("systemd-analyze"):
        raise NotReady("there is no systemd-analyze")
    with tempfile.TemporaryDirectory() as folder:
        units = []
        for unit in sorted(FOLDER.glob("collector.s*")):
            if unit.suffix in (".service", ".socket"):
                units.append(pathlib.Path(folder) / unit.name)
                units[-1].write_text(unit.read_text().replace("/usr/local/bin/Service", str(examples / "Service")))
        for command in (["verify", "--man=no", *units],
                        ["security", "--no-pager", "--offline=true", "--threshold=5", units[0]]):
            done = subprocess.run(["systemd-analyze", *command], capture_output=True, text=True)
            told = command[0] == "verify" and "collector" in done.stderr  # those of other units are not ours
            assert done.returncode == 0 and not told, (command, done)
        print(re.search(r"Overall exposure.*", done.stdout)[0])


def main(examples, tests):
    for test in tests:
        begin = time.monotonic()
        try:
            test(examples)
            print(f"{test.__name__}: {time.monotonic() - begin:.1f} s", flush=True)
        except NotReady as reason:
            print(f"{test.__name__}: left out: {reason}", flush=True)


if __name__ == "__main__":
    if sys.argv[1] == "--confine":
        confine(sys.argv[2:])
    main(pathlib.Path(sys.argv[1]).resolve(),
         [tells_how_it_goes, takes_bad_managers, takes_sockets, survives_confinement, units_are_sound])
