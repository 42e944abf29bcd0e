#!/usr/bin/env python3
"""Prints qx/text/charset/detail/CodePages.cpp, made from tools/gen/data/cp*.txt.

The tables hold the upper halves alone; CodePages.h makes the rest of them. With the argument "codecs" prints
modules/codecs/CodePage720.cpp.
"""

import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGES = ["437", "1252"]
UNMAPPED = 0xFFFD
PER_LINE = 12


def read_mapping(page):
    mapping = [UNMAPPED] * 256
    for line in (ROOT / f"tools/gen/data/cp{page}.txt").read_text(encoding="utf-8").splitlines():
        fields = line.split("#")[0].split()
        if len(fields) == 2:
            mapping[int(fields[0], 16)] = int(fields[1], 16)
    return mapping


def upper_half(name, page):
    mapping = read_mapping(page)
    assert mapping[:128] == list(range(128)), "the lower half is ASCII"
    lines = [f"{name} = {{"]
    for start in range(128, 256, PER_LINE):
        row = (f"{unit:#06x}" for unit in mapping[start : min(start + PER_LINE, 256)])
        lines.append("    " + ", ".join(row) + ",")
    return "\n".join(lines + ["};", ""])


def codec_table():
    return [
        "// Made by: tools/gen/codepages.py codecs\n",
        '#include "CodePage720.h"\n',
        "// clang-format off",
        "namespace qx::codecs {\n",
        upper_half("constexpr char16_t CodePage720[]", "720"),
        "} // namespace qx::codecs",
    ]


def library_tables():
    return [
        "// Made by: tools/gen/codepages.py\n",
        '#include "qx/text/charset/detail/CodePages.h"\n',
        "// clang-format off",
        "namespace qx::text::charset::detail {\n",
        "namespace {\n",
        *(upper_half(f"constexpr UpperHalf Upper{page}", page) for page in PAGES),
        "} // namespace\n",
        *(
            f'constinit const CodePage CodePage{page} = codePage<Upper{page}>(u"CP{page}");'
            for page in PAGES
        ),
        "\n} // namespace qx::text::charset::detail",
    ]


def main():
    print("\n".join(codec_table() if sys.argv[1:] == ["codecs"] else library_tables()))


if __name__ == "__main__":
    main()
