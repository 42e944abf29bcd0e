#!/usr/bin/env python3
"""Lets every system call of programs of ours fail in turn.

    calls.py PRELOAD BUILD [--most N] [--jobs N] [SCENARIO...]

PRELOAD is the library made of Preload.cpp, BUILD the build folder. With --most about N calls of each
scenario fail for each kind of failure, spread evenly; otherwise all do.

An interrupted call and transfers of single bytes must go unnoticed. After any other failure a program
either does its work all the same or says what went wrong and ends with a status of its own; it never
dies or hangs, what it changes is changed wholly or not at all, and the next run finds nothing in its
way. Prints what breaks that, and the number of failures.
"""

import argparse
import concurrent.futures
import itertools
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile

# Kind of failure, whether it must go unnoticed, and whether it may last.
FAILURES = [("4", "once", True), ("short", "once", True), ("short", "on", True)] + [
    (error, extent, False)
    for error in ("5", "28", "24", "12", "13", "11")  # EIO ENOSPC EMFILE ENOMEM EACCES EAGAIN
    for extent in ("once", "on")]
PATIENCE = 30

TEXT = "".join(f"line {i}: naïve Grüße, 日本 and more\n" for i in range(60))
MESSAGES = pathlib.Path(__file__).resolve().parents[2] / "examples" / "service" / "messages"
ports = itertools.count(21000)


class Run:
    """One run of a scenario in a folder of its own, which begins as the setup has left it."""

    def __init__(self, scenario, build, template=None):
        self.scenario, self.build = scenario, build
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="qx-torture-"))
        if template:
            shutil.copytree(template, self.folder, dirs_exist_ok=True)
        self.environment = dict(os.environ, HOME=str(self.folder), LC_ALL="C.UTF-8",
                                XDG_DATA_HOME=str(self.folder / "data"))

    def program(self, name):
        for part in ("tools", "examples"):
            for candidate in (name, "example_" + name):
                path = self.build / part / candidate
                if path.exists():
                    return str(path)
        sys.exit(f"calls.py: {name} is not built")

    def plain(self, *command, stdin=None):
        """Output of a command that nothing fails in."""
        return subprocess.run([self.program(command[0]), *command[1:]], cwd=self.folder,
                              env=self.environment, input=stdin, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=PATIENCE).stdout

    def module(self, name):
        return str(self.build / "modules" / name)

    def files(self):
        return sorted(str(path.relative_to(self.folder)) for path in self.folder.rglob("*"))

    def start(self, extra):
        command = self.scenario.command(self)
        return subprocess.Popen([self.program(command[0]), *command[1:]], cwd=self.folder,
                                env=dict(self.environment, **extra), stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def close(self):
        shutil.rmtree(self.folder, ignore_errors=True)


class Scenario:
    def __init__(self, name, command, stdin=b"", setup=None, state=None, drive=None, agree=None,
                 again=True, tidies=False):
        self.name = name
        self.command = command if callable(command) else (lambda run: command)
        self.stdin, self.setup = stdin, setup
        self.again = again  # whether the program does its work a second time
        self.tidies = tidies  # whether it also removes what an earlier run had to leave
        self.state = state  # what the program changes, read back without failures
        self.drive = drive or (lambda run, process: process.communicate(self.stdin, PATIENCE))
        self.agree = agree or (lambda run, expected, out: out == expected)


def collect(run, process):
    """Sends lines to the service, as many as it takes, and stops it."""
    out = process.stdout.readline()
    if out.startswith(b"listening"):
        address = out.split()[-1].decode()
        sent = run.plain("LogSend", "--connections", "2", "--patience", "2000", address,
                         stdin=b"one\ntwo\nthree\n")
        run.stored = int(re.search(rb"(\d+) of 3 lines are stored", sent)[1])
        process.send_signal(signal.SIGTERM)
    rest, errors = process.communicate(timeout=PATIENCE)
    return out + rest, errors


def has_stored(run, expected, out):
    """As many lines as the service has acknowledged."""
    log = (run.folder / "service-1.xml").read_bytes()
    return run.stored <= log.count(b"> LogSend <") and log.endswith(b"</log>\n")


def write_ini(run):
    (run.folder / "a.ini").write_text(
        "[Set]\nkey=old\nother=stays\n\n" +
        "".join(f"[Set{i}]\none=1\ntwo=2\n\n" for i in range(8)))


def ini_state(run):
    return (run.folder / "a.ini").read_bytes()


def add_registry(run):
    run.plain("qxreg", "add", "QX_HKEY_USER/Key", "name", "old")
    run.plain("qxreg", "add", "QX_HKEY_USER/Key/Sub", "other", "stays")


def registry_state(run):
    return run.plain("qxreg", "query", "QX_HKEY_USER/Key", "--recursive", "--json")


def export_registry(run):
    """A file with many keys for a registry that has other ones."""
    for i in range(6):
        run.plain("qxreg", "add", f"QX_HKEY_USER/Key/Sub{i}", "name", f"value {i}")
    run.plain("qxreg", "export", "QX_HKEY_USER/Key", "exported")
    run.plain("qxreg", "delete", "QX_HKEY_USER/Key")
    run.plain("qxreg", "add", "QX_HKEY_USER/Key", "name", "old")


def register(module):
    return lambda run: run.plain("qxreg", "register", run.module(module))


def list_classes(run):
    return run.plain("qxreg", "list", "--json")


def give_messages(run):
    shutil.copytree(MESSAGES, run.folder / "messages")


def install_messages(run):
    give_messages(run)
    run.plain("qxbundle", "install", *sorted(map(str, (MESSAGES.glob("*.messages")))))


def list_bundles(run):
    return run.plain("qxbundle", "list").replace(str(run.folder).encode(), b".")


def serve_client(run, process):
    """A client for a server that fails; what becomes of it does not matter."""
    if process.stdout.readline().startswith(b"listening"):
        try:
            run.plain("EchoClient", "127.0.0.1", str(run.port), stdin=b"hello\n" * 20)
        except subprocess.TimeoutExpired:
            pass
    try:
        process.wait(0.5)
    except subprocess.TimeoutExpired:
        process.terminate()  # it still waits for a client that it could take
        _, errors = process.communicate(timeout=PATIENCE)
        process.returncode = 0
        return b"", errors
    _, errors = process.communicate(timeout=PATIENCE)
    return b"", errors


def listen_on(run):
    run.port = next(ports)
    return ["EchoServer", str(run.port), "127.0.0.1", "1"]


def connect_to(run):
    """A client that fails, with a server that does not."""
    for run.port in ports:
        run.server = subprocess.Popen(
            [run.program("EchoServer"), str(run.port), "127.0.0.1", "1"], cwd=run.folder,
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        if run.server.stdout.readline().startswith(b"listening"):
            return ["EchoClient", "127.0.0.1", str(run.port), "2"]
        run.server.wait()


def talk(run, process):
    try:
        return process.communicate(b"hello\nworld\n" * 20, PATIENCE)
    finally:
        run.server.kill()
        run.server.communicate()


def give_text(run):
    (run.folder / "text").write_text(TEXT)


def converted(run):
    path = run.folder / "out"
    return path.read_bytes() if path.exists() else None


def in_any_order(run, expected, out):
    return sorted(out.splitlines()) == sorted(expected.splitlines())


def in_some_language(run, expected, out):
    """A bundle that cannot be read is passed over for that of the next language."""
    return any(line.split("= ")[-1].strip() == out.decode().strip()
               for path in MESSAGES.glob("*.messages")
               for line in path.read_text().splitlines())


ECHO = ["TransportEcho", "Orbelle.Transport.TCP", "host=127.0.0.1", "port=0"]
SUMS = "".join(f"{i}^{i} / 7; modpow({i}, 10^30, 10^9+7); sqrt({i})\n" for i in range(40))

SCENARIOS = [
    Scenario("LineCount", ["LineCount", "UTF-8", "text"], setup=give_text),
    Scenario("Transcode", ["Transcode", "UTF-8", "UTF-16BE"], (TEXT * 60).encode()),
    Scenario("WorkQueue", ["WorkQueue"], b"one two\nthree four five\nsix\n" * 100,
             agree=in_any_order),
    Scenario("qxconv", ["qxconv", "-f", "UTF-8", "-t", "Cp1252", "--substitute", "?", "text"],
             setup=give_text),
    Scenario("qxconv file", ["qxconv", "-f", "UTF-8", "-t", "UTF-16LE", "-o", "out", "text", "text"],
             setup=give_text, state=converted),
    Scenario("qxconv module", ["qxconv", "-f", "UTF-8", "-t", "CP932", "--substitute", "?", "text"],
             setup=lambda run: (give_text(run), register("qxcodecs.so")(run))),
    Scenario("qxcalc", ["qxcalc", "2^300", "scale=20; 1/7"]),
    Scenario("qxcalc lines", ["qxcalc"], SUMS.encode()),
    Scenario("qxini set", ["qxini", "a.ini", "set", "Set", "key", "new", "--semaphore",
                           "torture calls"], setup=write_ini, state=ini_state, tidies=True),
    Scenario("qxini delete-set", ["qxini", "a.ini", "delete-set", "Set3"], setup=write_ini,
             state=ini_state, again=False),
    Scenario("qxini get", ["qxini", "a.ini", "get", "Set", "key"], setup=write_ini),
    Scenario("qxini list", ["qxini", "a.ini", "list", "--json"], setup=write_ini),
    Scenario("qxreg add", ["qxreg", "add", "QX_HKEY_USER/Key", "name", "new"], setup=add_registry,
             state=registry_state),
    Scenario("qxreg first", ["qxreg", "add", "QX_HKEY_USER/Key", "name", "new"],
             state=registry_state),
    Scenario("qxreg delete", ["qxreg", "delete", "QX_HKEY_USER/Key/Sub"], setup=add_registry,
             state=registry_state, again=False),
    Scenario("qxreg query", ["qxreg", "query", "QX_HKEY_USER/Key", "--recursive"],
             setup=add_registry),
    Scenario("qxreg export", ["qxreg", "export", "QX_HKEY_USER/Key"], setup=add_registry),
    Scenario("qxreg import", ["qxreg", "import", "exported"], setup=export_registry,
             state=registry_state),
    Scenario("qxreg register", lambda run: ["qxreg", "register", run.module("qxcodecs.so")],
             state=list_classes),
    Scenario("qxreg unregister", lambda run: ["qxreg", "unregister", run.module("qxcodecs.so")],
             setup=register("qxcodecs.so"), state=list_classes, again=False),
    Scenario("qxreg list", ["qxreg", "list"], setup=register("qxcodecs.so")),
    Scenario("qxbundle check", ["qxbundle", "check", "messages"], setup=give_messages),
    Scenario("qxbundle compile", ["qxbundle", "compile", "messages", "--output", "out"],
             setup=give_messages, state=converted),
    Scenario("qxbundle install", ["qxbundle", "install", "messages"], setup=give_messages,
             state=list_bundles),
    Scenario("qxbundle uninstall", ["qxbundle", "uninstall", "Service"], setup=install_messages,
             state=list_bundles, again=False),
    Scenario("qxbundle get", ["qxbundle", "get", "Service", "client.busy", "--locale", "de_CH"],
             setup=install_messages, agree=in_some_language),
    Scenario("TransportEcho", ECHO, (TEXT * 20).encode(), setup=register("qxtransport_tcp.so")),
    Scenario("Service", ["Service", "--folder", ".", "--addresses", "127.0.0.1", "--port", "0"],
             drive=collect, agree=has_stored),
    Scenario("EchoServer", listen_on, drive=serve_client),
    Scenario("EchoClient", connect_to, drive=talk),
]


def attempt(scenario, build, template, preload, call, error, extent):
    """Status, output and errors of a run, how many calls there were and which one failed."""
    run = Run(scenario, build, template)
    report = run.folder.parent / (run.folder.name + ".report")
    extra = {"LD_PRELOAD": preload, "QX_TORTURE_ERROR": error, "QX_TORTURE_EXTENT": extent,
             "QX_TORTURE_REPORT": str(report)}
    if call is not None:
        extra["QX_TORTURE_CALL"] = str(call)
    process = run.start(extra)
    try:
        out, errors = scenario.drive(run, process)
        status = process.returncode
    except subprocess.TimeoutExpired:
        process.kill()
        out, errors = process.communicate()
        status = "hangs"
    count, failed = 0, "-"
    if report.exists():
        count, failed = report.read_text().split()
        report.unlink()
    return run, status, out, errors, int(count), failed


def judge(scenario, build, preload, call, error, extent, silent, baseline):
    """What is wrong with a run in which that call failed; None when it did not come to it."""
    run, status, out, errors, _, failed = attempt(scenario, build, baseline.template, preload, call,
                                                  error, extent)
    try:
        if failed == "-" and status == 0:
            return None
        faults, tidied = [], False
        if not isinstance(status, int) or status < 0 or status >= 126:
            faults.append(f"ends with {status}: {errors[-200:]!r}")
        elif status == 0 and not scenario.agree(run, baseline.out, out):
            faults.append(f"claims success and prints {out[:200]!r}")
        elif status != 0 and silent:
            faults.append(f"notices it: {errors[-200:]!r}")
        elif status != 0 and not errors:
            faults.append(f"ends with {status} and says nothing")
        if scenario.state and not faults:
            state = scenario.state(run)
            if state != baseline.new_state and (status == 0 or state != baseline.old_state):
                faults.append(f"leaves {state!r}")
            if scenario.again or state == baseline.old_state:
                run.plain(*scenario.command(run))
                tidied = scenario.tidies
            if scenario.state(run) != baseline.new_state:
                faults.append(f"is in the way of the next: {scenario.state(run)!r}")
        # Where removing fails as well, a file stays; those who hold a lock remove it later.
        left = set(run.files()) - set(baseline.files)
        if left and not faults and (tidied or extent == "once" and failed != "unlinkat"):
            faults.append(f"leaves files: {left}")
        return [f"{scenario.name}, {failed} ({call}) gives {error} {extent}: {fault}"
                for fault in faults]
    finally:
        run.close()


class Baseline:
    """What a scenario comes from and what it does when nothing fails."""

    def __init__(self, scenario, build, preload):
        untouched = Run(scenario, build)
        if scenario.setup:
            scenario.setup(untouched)
        self.template = untouched.folder
        self.old_state = scenario.state(untouched) if scenario.state else None
        run, status, self.out, errors, _, _ = attempt(scenario, build, self.template, preload, None,
                                                      "0", "once")
        if status != 0:
            sys.exit(f"{scenario.name} fails by itself: {errors!r}")
        self.new_state = scenario.state(run) if scenario.state else None
        self.files = run.files() + untouched.files()
        run.close()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("preload")
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--most", type=int, default=0)
    parser.add_argument("--jobs", type=int, default=2 * (os.cpu_count() or 1))
    parser.add_argument("scenarios", nargs="*")
    options = parser.parse_args()
    options.build = options.build.resolve()
    preload = str(pathlib.Path(options.preload).resolve())

    tasks, templates = [], []
    for scenario in SCENARIOS:
        if options.scenarios and scenario.name not in options.scenarios:
            continue
        baseline = Baseline(scenario, options.build, preload)
        templates.append(baseline.template)
        for error, extent, silent in FAILURES:
            run, _, _, _, count, _ = attempt(scenario, options.build, baseline.template, preload,
                                             None, error, extent)
            run.close()
            step = max(1, count // options.most) if options.most else 1
            for call in range(0, count + 2, step):
                tasks.append((scenario, options.build, preload, call, error, extent, silent,
                              baseline))

    injected = findings = 0
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for faults in pool.map(lambda task: judge(*task), tasks):
            if faults is None:
                continue
            injected += 1
            findings += len(faults)
            for fault in faults:
                print(fault, flush=True)
    for template in templates:
        shutil.rmtree(template, ignore_errors=True)
    print(f"{len(templates)} scenarios, {injected} calls failed, {findings} findings")
    return 1 if findings or not injected else 0


if __name__ == "__main__":
    sys.exit(main())
