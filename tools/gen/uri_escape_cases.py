#!/usr/bin/env python3
"""Writes tests/data/uris/escapes.txt: texts and their percent-encoded forms by Python's urllib.

A line holds the part of a URI that the text is escaped for ("unescape": any way of escaping), the
UTF-16 units of the text in hexadecimal digits, and its encoded form.
"""

import random
import urllib.parse

ALWAYS = '"#%<>[\\]^`{|}'
EXTRA = {"authority": "/:;?@", "path": "/;=?", "query": "$&+,/:;=?@"}

rng = random.Random(20241125)


def safe(part):
    printable = (chr(unit) for unit in range(0x21, 0x7F))
    return "".join(c for c in printable if c not in ALWAYS + EXTRA[part])


def random_text():
    ranges = [(0, 0x7F), (0x20, 0x7E), (0x80, 0x7FF), (0x800, 0xD7FF), (0xE000, 0xFFFF),
              (0x10000, 0x10FFFF)]
    chosen = rng.sample(ranges, rng.randint(1, len(ranges)))
    return "".join(chr(rng.randint(*rng.choice(chosen))) for _ in range(rng.randint(0, 24)))


def randomly_escaped(text):
    """Escapes what has to be and here and there what need not, with digits of either case."""
    out = ""
    for byte in text.encode():
        if byte < 0x80 and chr(byte) != "%" and rng.random() < 0.5:
            out += chr(byte) if 0x21 <= byte < 0x7F else f"%{byte:02x}"
        else:
            out += rng.choice([f"%{byte:02X}", f"%{byte:02x}"])
    return out


def row(kind, text, encoded):
    print(kind, text.encode("utf-16-be").hex().upper() or "-", encoded or "-")


print("# Made by: tools/gen/uri_escape_cases.py")
texts = ["".join(map(chr, range(128))), "".join(map(chr, range(0x80, 0x100)))]
texts += ["\u07FF\u0800\uD7FF\uE000\uFFFF\U00010000\U0010FFFF"]
texts += [random_text() for _ in range(80)]
for text in texts:
    for part in EXTRA:
        row(part, text, urllib.parse.quote(text, safe=safe(part)))
    row("unescape", text, randomly_escaped(text))
