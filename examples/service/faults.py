#!/usr/bin/env python3
"""Tries to make the log-collecting service lose lines, hang or fall over: faults.py EXAMPLES.

EXAMPLES is the folder of the built examples. Whatever clients do, a line that was answered with OK is
in both logs when the service has ended, and other clients notice nothing.
"""

import contextlib
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

from collector import PATIENCE, Service


def expect(wanted, found):
    if wanted != found:
        raise AssertionError(f"{found!r} instead of {wanted!r}")


@contextlib.contextmanager
def running(examples, *options):
    """A service that is stopped at the end, which must go well, and what it leaves."""
    with tempfile.TemporaryDirectory() as folder:
        service = Service(examples, folder, *options)
        try:
            yield service
            status, out, errors = service.stop()
            expect((0, ""), (status, errors))
            service.statistics, service.texts, service.log = out, service.entries(), service.plain()
        finally:
            service.process.kill()
            service.process.communicate()


def answers_malformed_lines(examples):
    with running(examples, "--line", "64") as service:
        client = service.connect()
        form, long = "expected LEVEL SOURCE MESSAGE", "line of more than 64 bytes"
        rows = [
            (b"\n", form),
            (b"INFO\n", form),
            (b"INFO web\n", form),
            (b"INFO web \n", form),
            (b"info web x\n", form),
            (b"INFO  web x\n", form),  # an empty source
            (b"INFO * x\n", "source with a name of the statistics"),
            (b"INFO (others) x\n", "source with a name of the statistics"),
            (b"INFO web \xff\n", "not UTF-8"),
            (b"INFO w\xc0\xafeb x\n", "not UTF-8"),  # an over-long form
            (b"INFO web \xed\xa0\x80\n", "not UTF-8"),  # half a pair
            (b"INFO web a\0b\n", "control character"),
            (b"INFO web \x1b[2J\n", "control character"),
            (b"INFO web a\rb\n", "control character"),
            (b"INFO web " + b"x" * 56 + b"\n", long),
            (b"INFO web " + b"x" * 55 + b"\n", None),
            (b"INFO web " + b"x" * 55 + b"\r\n", None),
            (b"x" * 300_000 + b"\n", long),  # more than the buffer
            (b"INFO web \xf0\x9f\x98\x80\n", None),
            (b"ERROR web  tab\tand <&>]]>\" \n", None),
        ]
        for number, (line, mistake) in enumerate(rows, 1):
            expect(f"ERROR {number} {mistake}" if mistake else f"OK {number}", client.ask(line))
        client.say(b"".join(line for line, _ in rows[:3]) + b"QUIT\n")  # all at once
        expect([f"ERROR {21 + i} {form}" for i in range(3)] + ["OK 24", ""],
               [client.hear() for _ in range(5)])
    expect(["x" * 55, "x" * 55, "\U0001F600", " tab\tand <&>]]>\" "],
           [text for text in service.texts if "stop" not in text and "listening" not in text])
    assert "refused=19" in service.statistics, service.statistics


def survives_rude_clients(examples):
    with running(examples, "--connections", "4") as service:
        polite = service.connect()
        for text in ("INFO rude half a li", "INFO rude whole\nINFO rude half"):
            rude = service.connect()
            rude.say(text)
            rude.vanish()
        flood = service.connect()
        flood.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        flood.socket.settimeout(0.5)
        with contextlib.suppress(TimeoutError):
            while True:  # takes no answers, until nobody reads it any more
                flood.say("\n" * 5000)
        expect("OK 1", polite.ask("INFO polite while it is flooded\n"))
        others = [service.connect() for _ in range(2)]
        expect("BYE all connections are taken", service.connect().greeting)
        expect("OK 2", polite.ask("INFO polite while all are taken\n"))
        others[0].ask("QUIT\n")
        expect("", others[0].hear())
        expect("HELLO collector", service.connect().greeting)
    assert "whole" in service.texts
    assert not any("half" in text for text in service.texts), "a part of a line"


def ends_idle_connections(examples):
    with running(examples, "--idle", "300") as service:
        silent, dripping = service.connect(), service.connect()
        expect("OK 1", dripping.ask("INFO drip a line\n"))
        dripping.socket.setblocking(False)
        begin = time.monotonic()
        while time.monotonic() < begin + PATIENCE:  # never ends its line
            with contextlib.suppress(BlockingIOError):
                dripping.say("x")
            try:
                expect(b"BYE no line for too long\n", dripping.socket.recv(100))
                break
            except BlockingIOError:
                time.sleep(0.05)
        expect("BYE no line for too long", silent.hear())
        expect("OK 1", service.connect().ask("INFO brisk a line\n"))


def keeps_what_it_acknowledged(examples):
    """Stops while clients send: what was answered with OK is stored, and nothing stands twice."""
    stored, lock = [], threading.Lock()

    def send(service, number):
        client = service.connect()
        client.socket.settimeout(PATIENCE)
        sent = 0
        with contextlib.suppress(OSError):
            while True:
                client.say("".join(f"INFO many c{number}-{sent + i}.\n" for i in range(50)))
                for i in range(50):
                    answer = client.hear()
                    if answer != f"OK {sent + i + 1}":
                        assert answer in ("BYE stopping", ""), answer
                        return
                    with lock:
                        stored.append(f"c{number}-{sent + i}.")
                sent += 50

    with running(examples) as service:
        threads = [threading.Thread(target=send, args=(service, n)) for n in range(8)]
        for thread in threads:
            thread.start()
        while len(stored) < 2000:
            time.sleep(0.01)
    for thread in threads:
        thread.join(PATIENCE)
    entries = [text for text in service.texts if text.startswith("c")]
    expect([], sorted(set(stored) - set(entries)))
    expect(len(entries), len(set(entries)))
    expect(entries, re.findall(r" \| (c.*)$", service.log, re.M))
    expect(len(entries), int(re.search(r"STAT many lines=(\d+)", service.statistics)[1]))


def keeps_it_through_a_kill(examples):
    """A kill leaves every acknowledged line, and nothing in the way of the next run."""
    with tempfile.TemporaryDirectory() as folder:
        service = Service(examples, folder, "--size", "8000")
        client = service.connect()
        client.say("".join(f"INFO kill {i}.\n" for i in range(20_000)))
        count = 0
        while count < 500:
            expect(f"OK {count + 1}", client.hear())
            count += 1
            if count == 300:  # somebody moves the log away, and says so
                with contextlib.suppress(FileNotFoundError):  # just becoming a new one
                    (service.folder / "service.log").rename(service.folder / "service.log.1000")
                service.process.send_signal(signal.SIGHUP)
        service.process.kill()
        with contextlib.suppress(OSError):
            while client.hear() == f"OK {count + 1}":
                count += 1
        service.end()
        with open(service.folder / "service.log", "a") as log:
            log.write("2024-01-31T23:59:58.007+01:00 INFO kill - | half a li")  # where the kill has not left such
        found = set(re.findall(r" \| (\d+)\.$", service.plain(), re.M))
        found &= set(re.findall(r"> (\d+)\. <", (service.folder / "service-1.xml").read_text()))
        expect([], [i for i in range(count) if str(i) not in found])
        assert (service.folder / "service.log.3").exists()
        again = Service(examples, folder)
        expect("OK 1", again.connect().ask("INFO kill again\n"))
        expect(2, Service(examples, folder).end()[0])  # the folder has a service already
        expect(0, again.stop()[0])
        assert re.search(r"half a li\n\S+ INFO service - \| listening", again.plain())
        assert " | again\n" in again.plain()


def reports_a_full_disk(examples):
    with tempfile.TemporaryDirectory() as folder:
        (pathlib.Path(folder) / "service.log").symlink_to("/dev/full")
        status, out, errors = Service(examples, folder).end()
        expect((1, ""), (status, out))
        assert "cannot be written" in errors, errors
    with tempfile.TemporaryDirectory() as folder:
        service = Service(examples, folder, limit=40_000)
        client = service.connect()
        count = 0
        while (answer := client.ask(f"INFO full line {count}\n")) == f"OK {count + 1}":
            count += 1
        expect(f"ERROR {count + 1} cannot be stored", answer)
        status, _, errors = service.end()
        expect(1, status)
        assert "cannot be written" in errors, errors
        found = set(re.findall(r" \| line (\d+)$", service.plain(), re.M))
        assert count > 50 and found >= {str(i) for i in range(count)}, (count, len(found))


def outlives_whoever_reads_its_outputs(examples):
    with tempfile.TemporaryDirectory() as folder:
        service = Service(examples, folder)
        client = service.connect()
        service.process.stdout.close()
        service.process.stderr.close()
        (service.folder / "service.log").rename(service.folder / "old")
        (service.folder / "service.log").mkdir()
        service.process.send_signal(signal.SIGHUP)  # of which it has to complain
        for number in (1, 2):
            expect(f"OK {number}", client.ask("INFO pipe still there\n"))
            time.sleep(0.3)
        service.process.send_signal(signal.SIGTERM)
        expect(1, service.process.wait(PATIENCE))  # for the statistics
        expect(2, service.entries().count("still there"))


def refuses_bad_settings(examples):
    with tempfile.TemporaryDirectory() as folder:
        ini = pathlib.Path(folder) / "bad.ini"
        ini.write_text("[Service]\nprot=1\n")
        for options, words in [
            (["--port", "x"], "port is a number"),
            (["--port", "70000"], "port is a number"),
            (["--colour", "red"], "colour"),
            (["surplus"], "surplus"),
            (["--settings", str(ini)], "prot"),
            (["--settings", str(ini) + ".not"], "bad.ini.not"),
            (["--folder", folder + "/none"], "no folder"),
            (["--addresses", "no such host"], "address"),
            (["--addresses", ",".join(f"127.0.0.{i}" for i in range(1, 22))], "more than 20 addresses"),
        ]:
            status, _, errors = Service(examples, folder, *options).end()
            assert status == 2 and words in errors, (options, status, errors)
        help = subprocess.run([examples / "Service", "--help"], capture_output=True, text=True)
        assert help.returncode == 0 and "--addresses" in help.stdout, help


def main(examples):
    for test in (answers_malformed_lines, survives_rude_clients, ends_idle_connections, keeps_what_it_acknowledged,
                 keeps_it_through_a_kill, reports_a_full_disk, outlives_whoever_reads_its_outputs, refuses_bad_settings):
        begin = time.monotonic()
        test(examples)
        print(f"{test.__name__}: {time.monotonic() - begin:.1f} s", flush=True)


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]).resolve())
