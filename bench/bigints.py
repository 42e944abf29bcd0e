#!/usr/bin/env python3
"""The cases of BigIntegerBench for Python's int, in the form of Google Benchmark's JSON.

QX_BENCH_REPETITIONS is how often each is measured, 5 by default; the medians are written.
"""

import json
import os
import random
import statistics
import sys
import time

REPETITIONS = int(os.environ.get("QX_BENCH_REPETITIONS", "5"))
MINIMUM_SECONDS = 0.1
# Parsing and printing take quadratic time.
DIGITS = [100, 316, 1_000, 3_162, 10_000, 31_623, 100_000]
POWERS_OF_TEN = {100, 1_000, 10_000, 100_000}


def digits(count):
    return str(random.randrange(1, 10)) + "".join(random.choices("0123456789", k=count - 1))


def seconds(operation):
    """Processor time of one call, over enough calls to measure it."""
    calls = 1
    while True:
        start = time.process_time()
        for _ in range(calls):
            operation()
        elapsed = time.process_time() - start
        if elapsed >= MINIMUM_SECONDS:
            return elapsed / calls
        calls = max(calls + 1, int(calls * min(10, 1.2 * MINIMUM_SECONDS / max(elapsed, 1e-9))))


def cases():
    """(name, whether for the plot only, operation), in the order in which they are measured."""
    for n in DIGITS:
        a, b, twice = int(digits(n)), int(digits(n)), int(digits(2 * n))
        text = digits(n)
        for name, operation in (
            ("Multiply", lambda a=a, b=b: a * b),
            ("Divide", lambda twice=twice, b=b: divmod(twice, b)),
            ("Parse", lambda text=text: int(text)),
            ("Print", lambda a=a: str(a)),
        ):
            yield f"{name}/python/{n}", n not in POWERS_OF_TEN, operation
    base, exponent, modulus = (random.getrandbits(2048) | 1 << 2047 | 1 for _ in range(3))
    yield "ModPow2048Bits/python", False, lambda: pow(base, exponent, modulus)


def main():
    if hasattr(sys, "set_int_max_str_digits"):
        sys.set_int_max_str_digits(0)
    random.seed(1)
    rows = []
    for index, (name, plot_only, operation) in enumerate(cases()):
        median = statistics.median(seconds(operation) for _ in range(REPETITIONS))
        rows.append({
            "name": f"{name}_median",
            "run_name": name,
            "family_index": index,
            "per_family_instance_index": 0,
            "run_type": "aggregate",
            "aggregate_name": "median",
            "real_time": median * 1e9,
            "cpu_time": median * 1e9,
            "time_unit": "ns",
            **({"label": "plot only"} if plot_only else {}),
        })
    json.dump({"benchmarks": rows}, sys.stdout, indent=1)


if __name__ == "__main__":
    main()
