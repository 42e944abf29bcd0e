#!/usr/bin/env python3
"""Checks which file of qx/ includes which, and that only qx/platform/posix/ sees the system.

A layer includes itself and the layers before it. Prints every breach and exits with 1 if any.
"""

import pathlib
import re
import sys

# Lowest first. A file belongs to the layer with the longest matching prefix.
LAYERS = [
    "qx/platform/",
    ("qx/core/", "qx/util/buffer/"),  # a string is a buffer, a buffer is an object
    "qx/sync/",
    "qx/core/runtime/",
    "qx/text/",
    "qx/collections/",
    "qx/util/",
    "qx/ipc/",
    "qx/io/",
    "qx/exec/",
    "qx/crypto/",
    "qx/math/",
    "qx/log/",
    "qx/util/config/",
    "qx/net/",
    "qx/pcom/",
    "qx/i18n/",
    "qx/qx.h",
]

# The one file that reaches up, and how far: the buffer for threads lies beside the others.
UPWARD_FILES = {"qx/util/buffer/MTBuffer.h": "qx/sync/"}

UMBRELLA = "qx/qx.h"

STANDARD = set(
    """
    algorithm any array atomic barrier bit bitset charconv chrono codecvt compare complex concepts
    condition_variable coroutine deque exception execution filesystem format forward_list fstream
    functional future initializer_list iomanip ios iosfwd iostream istream iterator latch limits
    list locale map memory memory_resource mutex new numbers numeric optional ostream queue random
    ranges ratio regex scoped_allocator semaphore set shared_mutex source_location span sstream
    stack stdexcept stop_token streambuf string string_view strstream syncstream system_error thread
    tuple type_traits typeindex typeinfo unordered_map unordered_set utility valarray variant vector
    version cassert cctype cerrno cfenv cfloat cinttypes climits clocale cmath csetjmp csignal
    cstdarg cstddef cstdint cstdio cstdlib cstring ctime cuchar cwchar cwctype stddef.h stdint.h stdio.h
    """.split()
) - {"cerrno", "csignal", "csetjmp", "cfenv"}

# Vector intrinsics, processor features and demangling belong to the processor and the compiler,
# not to the system.
COMPILER = {"immintrin.h", "emmintrin.h", "arm_neon.h", "cpuid.h", "cxxabi.h"}

OWN_AFTER_OTHERS = re.compile(r'^#include <.*^#include "qx/', re.M | re.S)
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]', re.M)
SYSTEM_USE = re.compile(r"\berrno\b|^\s*#.*\b_?_?(linux|unix|APPLE|WIN32|WIN64|FreeBSD)_?_?\b", re.M)


def prefixes(row):
    """The folders of a row of LAYERS."""
    return (row,) if isinstance(row, str) else row


def layer(path):
    """Number of the layer of a path, by the longest prefix in LAYERS."""
    matches = [
        (len(prefix), number)
        for number, row in enumerate(LAYERS)
        for prefix in prefixes(row)
        if path.startswith(prefix)
    ]
    return max(matches)[1] if matches else None


def breaches(path, text):
    """The rules that one file breaks, each as a sentence."""
    posix = path.startswith("qx/platform/posix/")
    here = layer(path)
    if here is None:
        yield "belongs to no layer"
        return
    reach = layer(UPWARD_FILES.get(path, path))
    public = path.endswith(".h") and "/detail/" not in path and not posix
    for name in INCLUDE.findall(text):
        if not name.startswith("qx/"):
            if not posix and name not in STANDARD and name not in COMPILER:
                yield f"<{name}> is no standard header"
            continue
        there = layer(name)
        if there is None:
            yield f"<{name}> belongs to no layer"
        elif there > reach:
            yield f"<{name}> lies in a higher layer"
        if name == UMBRELLA:
            yield f"<{name}> is for programs"
        if "/posix/" in name and not posix:
            yield f"<{name}> is private to qx/platform/posix/"
        if public and "/detail/" in name:
            yield f"<{name}> is not installed, this header is"
    if OWN_AFTER_OTHERS.search(text):
        yield "puts another header than its own in quotes"
    if not posix and SYSTEM_USE.search(text):
        yield "tests errno or the platform"


def main():
    failed = False
    for file in sorted(pathlib.Path("qx").rglob("*")):
        if file.suffix not in {".h", ".cpp", ".c"}:
            continue
        path = file.as_posix()
        for sentence in breaches(path, file.read_text(encoding="utf-8")):
            print(f"{path}: {sentence}")
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
