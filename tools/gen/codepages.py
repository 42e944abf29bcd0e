#!/usr/bin/env python3
"""Prints qx/text/charset/detail/CodePages.cpp, made from tools/gen/data/cp*.txt.

The layout of the tables is explained in CodePages.h. With the argument "codecs" prints
modules/codecs/CodePage720.cpp.
"""

import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGES = ["437", "1252"]
UNMAPPED = 0xFFFD


def read_mapping(page):
    mapping = [UNMAPPED] * 256
    for line in (ROOT / f"tools/gen/data/cp{page}.txt").read_text(encoding="utf-8").splitlines():
        fields = line.split("#")[0].split()
        if len(fields) == 2:
            mapping[int(fields[0], 16)] = int(fields[1], 16)
    return mapping


def invert(mapping):
    """Offsets by high byte of the unit, and the pages they lead to; page 0 has no mapping."""
    pages = {}
    for byte, unit in enumerate(mapping):
        if unit != UNMAPPED:
            # The bytes are signed.
            pages.setdefault(unit >> 8, [0] * 256)[unit & 0xFF] = byte - (byte & 0x80) * 2
    offsets = [0] * 256
    table = [0] * 256
    for high in sorted(pages):
        offsets[high] = len(table)
        table += pages[high]
    return offsets, table


def array(type_name, name, values, form, per_line):
    lines = [f"constexpr {type_name} {name}[] = {{"]
    for start in range(0, len(values), per_line):
        row = (format(value, form) for value in values[start : start + per_line])
        lines.append("    " + ", ".join(row) + ",")
    return "\n".join(lines + ["};", ""])


def print_codec_table():
    print("// Made by: tools/gen/codepages.py codecs\n")
    print('#include "CodePage720.h"\n')
    print("// clang-format off")
    print("namespace qx::codecs {\n")
    print(array("char16_t", "CodePage720", read_mapping("720"), "#06x", 12))
    print("} // namespace qx::codecs")


def main():
    if sys.argv[1:] == ["codecs"]:
        print_codec_table()
        return
    parts = [
        "// Made by: tools/gen/codepages.py\n",
        '#include "qx/text/charset/detail/CodePages.h"\n',
        "// clang-format off",
        "namespace qx::text::charset::detail {\n",
        "namespace {\n",
    ]
    for page in PAGES:
        mapping = read_mapping(page)
        offsets, table = invert(mapping)
        parts.append(array("char16_t", f"Units{page}", mapping, "#06x", 12))
        parts.append(array("int32_t", f"Offsets{page}", offsets, "d", 20))
        parts.append(array("signed char", f"Bytes{page}", table, "d", 20))
    parts.append("} // namespace\n")
    for page in PAGES:
        parts.append(
            f'constinit const CodePage CodePage{page} = '
            f'{{u"CP{page}", Units{page}, Offsets{page}, Bytes{page}}};'
        )
    parts.append("\n} // namespace qx::text::charset::detail\n")
    print("\n".join(parts), end="")


if __name__ == "__main__":
    main()
