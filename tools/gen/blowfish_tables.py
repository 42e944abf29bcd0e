#!/usr/bin/env python3
"""Prints qx/crypto/BlowFishTables.cpp: the first 1,042 words of the fraction of pi.

The digits come from the program qxcalc, which the environment variable QXCALC names, else the one
on the path. Exits with 77 where there is none.
"""

import os
import shutil
import subprocess
import sys

DIGITS_PER_WORD = 8
P_WORDS = 18
BOXES = 4
BOX_WORDS = 256


def fraction_of_pi(digits):
    """That many hexadecimal digits behind the point."""
    qxcalc = os.environ.get("QXCALC") or shutil.which("qxcalc")
    if not qxcalc:
        print("no program qxcalc; QXCALC names it", file=sys.stderr)
        sys.exit(77)
    # A hexadecimal digit takes 1.21 decimal ones; with a few more, the last one asked for is right.
    places = digits * 121 // 100 + 20
    command = [qxcalc, "-s", str(places), "-o16", f"pi({places})"]
    whole, fraction = subprocess.run(
        command, check=True, capture_output=True, text=True
    ).stdout.strip().split(".")
    assert whole == "3" and len(fraction) > digits, fraction
    return fraction[:digits]


def rows(words, indent):
    for start in range(0, len(words), 8):
        yield indent + ", ".join(words[start : start + 8]) + ","


def main():
    count = P_WORDS + BOXES * BOX_WORDS
    digits = fraction_of_pi(count * DIGITS_PER_WORD)
    words = ["0x" + digits[i : i + 8] for i in range(0, len(digits), DIGITS_PER_WORD)]
    lines = [
        "// Made by: tools/gen/blowfish_tables.py",
        '#include "qx/crypto/BlowFish.h"\n',
        "// clang-format off",
        "namespace qx::crypto {\n",
        f"const uint32_t BlowFish::s_pbox[{P_WORDS}] = {{",
        *rows(words[:P_WORDS], "    "),
        "};\n",
        f"const uint32_t BlowFish::s_sbox[{BOXES}][{BOX_WORDS}] = {{",
    ]
    for box in range(BOXES):
        start = P_WORDS + box * BOX_WORDS
        lines += ["    {", *rows(words[start : start + BOX_WORDS], "        "), "    },"]
    lines += ["};\n", "} // namespace qx::crypto", "// clang-format on"]
    print("\n".join(lines))


main()
