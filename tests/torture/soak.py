#!/usr/bin/env python3
"""Keeps the log-collecting service busy and watches it: soak.py EXAMPLES --minutes N [--tls] [--plot FILE].

EXAMPLES is the folder of the built examples. Polite clients with long and with short connections send
lines, while others are killed in the middle of a line, flood it, are idle, or come in a crowd; with
--tls all of them, and the service, speak TLS. Every second the service's memory, descriptors and threads
are looked at, and how long it took to answer a line. In the last third of the time the service itself is
killed every few seconds and started again. Writes the curves as SVG and, as the last line of output,
the figures.

Ends with status 1 when memory, descriptors or threads have grown steadily over the second half of the
time without kills, when a line that was acknowledged is missing from a log, or when the service does not
end well.
"""

import argparse
import contextlib
import os
import pathlib
import random
import re
import ssl
import sys
import tempfile
import threading
import time

import soakplot

sys.path.append(str(pathlib.Path(__file__).resolve().parents[2] / "examples" / "service"))
import encrypted  # noqa: E402
from collector import PATIENCE, Client, Service  # noqa: E402

MOST_CONNECTIONS = 60
IDLE = 3000  # milliseconds
MEBIBYTE = 1 << 20
ENDED = ConnectionError, ssl.SSLEOFError  # a connection, by the other side


class Load:
    """What the clients share: where to connect, whether to go on, and what came of it."""

    def __init__(self, port):
        self.port = port
        self.goes_on = True
        self.kills = 0
        self.lock = threading.Lock()
        self.acknowledged = set()
        self.latencies = []
        self.connections = 0
        self.faults = []

    def connect(self):
        """A connection that has been greeted; None when all are taken, or there is no service now."""
        try:
            client = Sender(self.port)
        except ENDED:
            return None
        with self.lock:
            self.connections += 1
        if client.greeting.startswith("HELLO"):
            return client
        client.close()
        return None

    def acknowledge(self, texts):
        with self.lock:
            self.acknowledged.update(texts)

    def take_latencies(self):
        with self.lock:
            taken, self.latencies = self.latencies, []
        return sorted(taken)

    def run(self, body, number):
        """Repeats a client until the end. That its connection ends is part of the game."""
        round = 0
        while self.goes_on:
            try:
                body(self, f"{body.__name__}{number}-{round}")
            except OSError as failure:
                if self.goes_on and not isinstance(failure, ENDED):
                    self.faults.append(f"{body.__name__}: {failure!r}")
            except AssertionError as failure:
                self.faults.append(f"{body.__name__}: {failure}")
            round += 1


class Sender(Client):
    def __init__(self, port):
        super().__init__(port)
        self.lines = 0

    def send(self, load, texts):
        """Sends messages and waits for the answers; False when the service ends the connection."""
        self.say("".join(f"INFO soak {text}.\n" for text in texts))
        for text in texts:
            self.lines += 1
            answer = self.hear()
            if answer == "" or answer.startswith("BYE"):
                return False
            assert answer == f"OK {self.lines}", f"{answer!r} to line {self.lines}"
            load.acknowledge([text])
        return True


def steady(load, name):
    """One connection for half a minute, and many lines at a time."""
    client = load.connect()
    if client is None:
        return time.sleep(0.1)
    for batch in range(300):
        if not load.goes_on or not client.send(load, [f"{name}-{batch}-{i}" for i in range(10)]):
            break
        time.sleep(0.1)
    client.close()


def brief(load, name):
    """A connection for a few lines."""
    client = load.connect()
    if client is not None:
        client.send(load, [f"{name}-{i}" for i in range(3)])
        client.close()
    time.sleep(0.01)


def probe(load, name):
    """Measures how long a line takes."""
    client = load.connect()
    if client is None:
        return time.sleep(0.1)
    for number in range(1000):
        begin = time.monotonic()
        if not load.goes_on or not client.send(load, [f"{name}-{number}"]):
            break
        with load.lock:
            load.latencies.append(time.monotonic() - begin)
        time.sleep(0.01)
    client.close()


def killed(load, name):
    """Is gone in the middle of a line."""
    client = load.connect()
    if client is not None:
        client.say(f"INFO soak {name}.\nINFO soak half a li")
        client.vanish()
    time.sleep(0.05)


def flooding(load, name):
    """Sends much without taking answers: lines, or what never becomes one."""
    client = load.connect()
    if client is not None:
        client.socket.settimeout(1)
        with contextlib.suppress(TimeoutError):
            client.say("".join(f"INFO soak {name}-{i}.\n" for i in range(500)))
            client.say("INFO soak " + "x" * 4_000_000)
            client.say("\n" * 200_000)
        client.vanish()
    time.sleep(2)


def idle(load, name):
    """Says nothing, until it is sent away."""
    client = load.connect()
    if client is None:
        return time.sleep(0.5)
    answer = client.hear()
    assert answer == "" or answer.startswith("BYE"), answer
    client.close()


def crowd(load, name):
    """Comes with more connections than there may be."""
    kills = load.kills  # behind one the others may still be on their way back
    time.sleep(5)
    clients = [load.connect() for _ in range(MOST_CONNECTIONS)]
    time.sleep(1)
    assert not load.goes_on or load.kills != kills or None in clients, "nobody was turned away"
    for client in clients:
        if client is not None:
            client.close()


CLIENTS = [(probe, 1), (steady, 3), (brief, 3), (killed, 1), (flooding, 1), (idle, 6), (crowd, 1)]


def measure(process):
    """Resident bytes, descriptors and threads of the service."""
    folder = pathlib.Path(f"/proc/{process.pid}")
    pages = int((folder / "statm").read_text().split()[1])
    return (pages * os.sysconf("SC_PAGESIZE"), len(os.listdir(folder / "fd")),
            len(os.listdir(folder / "task")))


def percentile(ordered, share):
    return ordered[min(int(len(ordered) * share), len(ordered) - 1)] if ordered else None


def watch(process, load, seconds):
    """[(second, bytes, descriptors, threads, p50, p99)], once a second."""
    samples = []
    begin = time.monotonic()
    for second in range(1, int(seconds) + 1):
        time.sleep(max(begin + second - time.monotonic(), 0))
        if process.poll() is not None:
            load.faults.append(f"the service has ended with {process.returncode}")
            break
        latencies = load.take_latencies()
        samples.append((second, *measure(process), percentile(latencies, 0.5),
                        percentile(latencies, 0.99)))
    return samples


def growth(values):
    """How much a curve has risen over its second half: the slope through the lowest values of ten
    stretches of it, so that bursts do not count, times its length."""
    half = values[len(values) // 2:]
    size = max(len(half) // 10, 1)
    floors = [min(half[i:i + size]) for i in range(0, len(half) - size + 1, size)]
    middle = (len(floors) - 1) / 2
    mean = sum(floors) / len(floors)
    spread = sum((i - middle) ** 2 for i in range(len(floors)))
    slope = sum((i - middle) * (floor - mean) for i, floor in enumerate(floors)) / (spread or 1)
    return slope * (len(floors) - 1)


def judge_growth(samples):
    """What has grown by more than chance. In the first half minute stores fill up."""
    if len(samples) < 60:
        return []
    _, memory, descriptors, threads, _, _ = zip(*samples)
    limits = [("memory", memory, max(2 * MEBIBYTE, 0.05 * min(memory))),
              ("descriptors", descriptors, 5), ("threads", threads, 5)]
    return [f"{what} grew by {growth(values):,.0f} over the second half"
            for what, values, limit in limits if growth(values) > limit]


def judge_logs(service, load, statistics):
    """What was acknowledged and is missing."""
    faults = []
    plain = {line.partition(" | ")[2][:-1] for line in service.plain().splitlines()}
    document = set()
    for run in range(1, load.kills + 2):
        entries = 0
        with open(service.folder / f"service-{run}.xml", encoding="utf-8") as log:
            for line in log:
                if line.startswith("    <text> "):
                    document.add(line[11:-10])
                elif line == "    <name> soak </name>\n":
                    entries += 1
    if line != "</log>\n":
        faults.append(f"service-{run}.xml has no end")
    for name, found in (("service.log", plain), ("the documents", document)):
        missing = load.acknowledged - found
        if missing:
            faults.append(f"{len(missing)} acknowledged lines are not in {name}: "
                          f"{sorted(missing)[:3]}")
    counted = re.search(r"STAT soak lines=(\d+)", statistics)
    if counted is None or int(counted[1]) != entries:
        faults.append(f"{entries} entries in the last document, but {statistics!r}")
    return faults


def kill_now_and_then(service, load, start, seconds):
    """The service that runs at the end."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        time.sleep(random.uniform(1, 6))
        service.process.kill()
        service.end()
        load.kills += 1
        service = start(load.port)
        if service.port is None:
            load.faults.append(f"started again, the service ended with {service.end()}")
            break
    time.sleep(3)  # the last one shall have something to count
    return service


def soak(examples, folder, seconds):
    """Samples, load and faults."""
    def start(port):
        return Service(
            examples, folder, "--port", str(port), "--connections", str(MOST_CONNECTIONS), "--idle", str(IDLE),
            # The C library would take memory for each of many threads apart, which grows for minutes until
            # every one of them has had its turn with the worst, and hides what a leak takes.
            environment={"MALLOC_ARENA_MAX": "1"})

    service = start(0)
    try:
        load = Load(service.port)
        threads = [threading.Thread(target=load.run, args=(body, number))
                   for body, count in CLIENTS for number in range(count)]
        for thread in threads:
            thread.start()
        samples = watch(service.process, load, seconds * 2 / 3)
        service = kill_now_and_then(service, load, start, seconds / 3)
        load.goes_on = False  # what happens to clients from here on is no fault; they still send
        status, out, errors = service.stop()
        for thread in threads:
            thread.join(PATIENCE)
    finally:
        service.process.kill()
        service.process.communicate()
    faults = load.faults
    if status != 0 or errors:
        faults.append(f"it ended with {status}: {errors}")
    return samples, load, faults + judge_logs(service, load, out)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("examples", type=pathlib.Path)
    parser.add_argument("--minutes", type=float, default=1)
    parser.add_argument("--tls", action="store_true")
    parser.add_argument("--plot", type=pathlib.Path)
    options = parser.parse_args()
    examples = options.examples.resolve()
    with contextlib.ExitStack() as stack:
        folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()))
        if options.tls:
            stack.enter_context(encrypted.Place(examples, folder).used())
        samples, load, faults = soak(examples, folder, options.minutes * 60)
    faults += judge_growth(samples)
    _, memory, descriptors, threads, p50, p99 = zip(*samples)
    if options.plot:
        seconds = [sample[0] for sample in samples]
        milliseconds = lambda curve: [None if value is None else value * 1000 for value in curve]
        options.plot.write_text(soakplot.draw(seconds, [
            ("resident memory, MiB", {"memory": [value / MEBIBYTE for value in memory]}),
            ("descriptors and threads", {"descriptors": descriptors, "threads": threads}),
            ("time to an acknowledgement, ms", {"p50": milliseconds(p50), "p99": milliseconds(p99)}),
        ]))
    for fault in faults[:20]:
        print(fault)
    middle = lambda curve: sorted(value for value in curve if value is not None)[len(curve) // 2] * 1e3
    print(f"{options.minutes:g} minutes{' of TLS' if options.tls else ''}, {load.connections:,} connections, "
          f"{load.kills} kills, {len(load.acknowledged):,} lines acknowledged and found in both logs; memory "
          f"{memory[len(memory) // 2] / MEBIBYTE:.1f} MiB after half the time and "
          f"{memory[-1] / MEBIBYTE:.1f} at the end, at most {max(descriptors)} descriptors and "
          f"{max(threads)} threads; acknowledged within {middle(p50):.2f} ms (p50) and "
          f"{middle(p99):.2f} ms (p99); {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
