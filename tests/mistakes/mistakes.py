#!/usr/bin/env python3
"""Tries to compile mistakes: mistakes.py PAGE COMPILER OPTION...

A page begins with declarations. Then each "// mistake: WORDS" is followed by statements that must
not compile, with WORDS in the first error, in another one of the same line or in their notes, and by
"// right:" and the statements that must.
"""

import pathlib
import re
import subprocess
import sys

page, *command = sys.argv[1:]
start, *cases = pathlib.Path(page).read_text("utf-8").split("\n// mistake: ")


def compile_errors(body):
    done = subprocess.run([*command, "-fsyntax-only", "-x", "c++", "-"], text=True, timeout=120,
                          input=f"{start}\nvoid run() {{\n{body}\n}}\n", stderr=subprocess.PIPE)
    return done.stderr if done.returncode else ""


failures = [] if cases else ["no mistakes"]
for case in cases:
    words, code = case.split("\n", 1)
    wrong, right = code.split("// right:\n")
    errors = compile_errors(wrong)
    _, *parts = re.split(r"^(\S+:\d+):\d+: (?:fatal )?error: ", errors, flags=re.MULTILINE)
    if not any(words in text for place, text in zip(parts[::2], parts[1::2]) if place == parts[0]):
        failures.append(f"{wrong}is not refused with the words \"{words}\":\n{errors}")
    if errors := compile_errors(right):
        failures.append(f"{right}is refused:\n{errors}")
sys.exit("\n".join(failures) or 0)
