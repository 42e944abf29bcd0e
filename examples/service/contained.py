#!/usr/bin/env python3
"""Tries the log-collecting service, and what else a service needs of the library, in a container that holds
nothing but the program: contained.py EXAMPLES. Each test is a row of the table in docs/guide/services.md.

EXAMPLES is the folder of the built examples, beside that of the programs. Status 77: there are no user
namespaces.
"""

import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time

from collector import PATIENCE, Service
from faults import expect

CONTAINER = pathlib.Path(__file__).resolve().parent / "container.sh"
ALL = ("tmp", "shm", "proc")


def start(examples, folder, *options, mounts=ALL, **arguments):
    return Service(examples, folder, *options, **arguments,
                   command=[CONTAINER, examples, folder, *mounts, "--", "Service", "--addresses", "127.0.0.1", "--port",
                            "0", "--folder", "/data"])


def run(programs, folder, program, *options, mounts=ALL, text=""):
    """Status, output and errors of another program."""
    done = subprocess.run([CONTAINER, programs, folder, *mounts, "--", program, *options], input=text,
                          capture_output=True, text=True, timeout=PATIENCE)
    return done.returncode, done.stdout, done.stderr


def first_process(service):
    """The number that the container's first process has outside."""
    number = service.process.pid
    while not pathlib.Path(f"/proc/{number}/cmdline").read_text().startswith("/bin/Service\0"):
        number = int(subprocess.run(["pgrep", "-n", "-P", str(number)], capture_output=True, text=True,
                                    check=True).stdout)
    return number


def stops_as_first_process(examples, folder):
    service = start(examples, folder)
    inside = first_process(service)
    status = pathlib.Path(f"/proc/{inside}/status").read_text()
    expect("1", status.split("NSpid:")[1].split("\n")[0].split()[-1])
    client = service.connect()
    expect("OK 1", client.ask("INFO web Grüße\n"))
    # A process that somebody has started in the container, and that outlives its parent, is buried.
    orphan = ["nsenter", "--target", str(inside), "--user", "--pid", "--preserve-credentials"]
    subprocess.run([*orphan, "sh", "-c", "sleep 0.2 & echo"], check=True, stdout=subprocess.DEVNULL)
    time.sleep(0.5)
    children = subprocess.run(["pgrep", "-P", str(inside)], capture_output=True, text=True).stdout
    expect("", children)
    for _ in range(3):  # a restart of the container, among other things, sends several
        os.kill(inside, signal.SIGTERM)
    expect((0, ""), service.end()[::2])
    assert " | Grüße\n" in service.plain() and "Grüße" in service.entries()


def needs_no_tmp(examples, folder):
    service = start(examples, folder, mounts=("shm", "proc"))
    expect("OK 1", service.connect().ask("INFO web x\n"))
    expect((0, ""), service.stop()[::2])


def names_what_is_missing(examples, folder):
    for mounts, words in [(("tmp", "proc"), "/dev/shm"), (("tmp", "shm"), "/proc")]:
        status, _, errors = start(examples, folder, mounts=mounts).end()
        assert status == 1 and words in errors, (mounts, status, errors)


def names_what_is_not_found(examples, folder):
    tools = examples.parent / "tools"
    status, _, errors = run(tools, folder, "qxreg", "add", "QX_HKEY_USER/Examples/Service", "line", "200")
    assert status == 1 and "HOME" in errors, (status, errors)
    status, _, errors = run(examples, folder, "Service", "--addresses", "localhost", "--folder", "/data")
    assert status == 2 and "localhost" in errors, (status, errors)


def names_the_missing_conversions(examples, folder):
    if not (examples.parent / "modules/qxcodecs.so").exists():
        return
    convert = examples.parent / "tools", folder, "qxconv", "-f", "ISO-8859-2", "-t", "UTF-8"
    status, _, errors = run(*convert, text="\u00e9")
    assert status == 2 and "gconv" in errors, (status, errors)
    expect((0, "\u0102\u0160", ""), run(*convert, mounts=("gconv",), text="\u00e9"))
    own = [*convert[:4], "ISO-8859-1", *convert[5:]]
    expect((0, "\u00c3\u00a9", ""), run(*own, text="\u00e9"))


def main(examples):
    with tempfile.TemporaryDirectory() as folder:
        if run(examples, folder, "Service", "--help")[0] == 77:
            print("left out: there are no user namespaces")
            sys.exit(77)
    for test in (stops_as_first_process, needs_no_tmp, names_what_is_missing, names_what_is_not_found,
                 names_the_missing_conversions):
        begin = time.monotonic()
        with tempfile.TemporaryDirectory() as folder:
            test(examples, folder)
        print(f"{test.__name__}: {time.monotonic() - begin:.1f} s", flush=True)


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]).resolve())
