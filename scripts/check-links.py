#!/usr/bin/env python3
"""Checks that what the pages of the repository name is there: the targets of their links, and, in
what is set as code, files, programs of tools/ and their options.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGES = [*ROOT.glob("*.md"), *ROOT.glob("bench/*.md"), *ROOT.glob("docs/**/*.md"),
         *ROOT.glob("packaging/**/*.md")]

LINK = re.compile(r"\]\((?!https?:)([^)\s#]+)")
BLOCK = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)
CODE = re.compile(r"`([^`\n]+)`")
FILE = re.compile(r"(?<![\w/.])(?:(?:scripts|bench|docs|packaging|tools|tests|examples|modules|cmake|fuzz|qx)/"
                  r"[\w./+-]*[\w/]|\.ci/\w+)(?![\w<{*:])")
PROGRAM = re.compile(r"^\$? ?(?:build/\S*/)?(qx[a-z]+)(?![\w./:-])(.*)")
OPTION = re.compile(r"(?<=\s)-{1,2}[a-zA-Z][a-z-]*")


def code_of(text):
    """What a page sets as code, by lines: spans, and blocks other than sources."""
    kind = None
    for line in text.splitlines():
        if line.startswith("```"):
            kind = line[3:] if kind is None else None
        elif kind is None:
            yield from CODE.findall(line)
        elif kind in ("", "sh", "console"):
            yield line.split(" #")[0]


def exists(name):
    # Else below qx/ lie folders of an installed tree too, such as lib/qx/modules.
    is_ours = not name.startswith("qx/") or name.endswith((".h", ".cpp"))
    return (ROOT / name).exists() or not is_ours


def mistakes(page):
    text = page.read_text("utf-8")
    for target in LINK.findall(BLOCK.sub("", text)): # a lambda of a block looks like a link
        if not (page.parent / target).exists():
            yield f"no {target}"
    for code in code_of(text):
        for name in FILE.findall(code):
            if not exists(name):
                yield f"no file {name}"
        if program := PROGRAM.match(code):
            manual = ROOT / f"docs/man/{program[1]}.1"
            if not manual.exists():
                yield f"no program {program[1]}"
                continue
            known = manual.read_text("utf-8").replace("\\-", "-")
            for option in OPTION.findall(program[2]):
                if not re.search(rf"(?<![\w-]){option}(?![\w-])", known):
                    yield f"{program[1]} has no {option}"


def main():
    found = [f"{page.relative_to(ROOT)}: {mistake}"
             for page in sorted(PAGES) for mistake in mistakes(page)]
    print("\n".join(found), end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
