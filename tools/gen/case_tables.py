#!/usr/bin/env python3
"""Writes qx/platform/detail/CaseTables.cpp; CaseMap.h explains the layout of the tables."""

import pathlib

BLOCK = 64
COMMAND = "tools/gen/case_tables.py"
DATA = pathlib.Path(__file__).parent / "data" / "simple-case-mapping.txt"


def read_deltas():
    """Per unit what is added, modulo 65536, to map it to upper and to lower case."""
    upper = [0] * 0x10000
    lower = [0] * 0x10000
    for line in DATA.read_text().splitlines():
        if line.startswith("#"):
            continue
        code, to_upper, to_lower = line.split(";")
        for deltas, mapped in ((upper, to_upper), (lower, to_lower)):
            if mapped:
                if len(mapped) != 4:
                    raise ValueError(f"{code} leaves the BMP")
                deltas[int(code, 16)] = (int(mapped, 16) - int(code, 16)) & 0xFFFF
    return upper, lower


def rows(values, per_line, form):
    for start in range(0, len(values), per_line):
        yield "    " + ", ".join(form.format(v) for v in values[start : start + per_line]) + ","


def main():
    blocks = {(0,) * BLOCK: 0}
    stages = []
    for deltas in read_deltas():
        stages.append(
            [
                blocks.setdefault(tuple(deltas[start : start + BLOCK]), len(blocks))
                for start in range(0, 0x10000, BLOCK)
            ]
        )
    if len(blocks) > 256:
        raise ValueError("a block number does not fit into a byte")

    print(f"// Made by: {COMMAND}")
    print('#include "qx/platform/detail/CaseMap.h"')
    print("\nnamespace qx::platform {\n\n// clang-format off")
    for name, stage in zip(("UpperBlocks", "LowerBlocks"), stages):
        print(f"const uint8_t {name}[1024] = {{")
        print("\n".join(rows(stage, 32, "{}")))
        print("};\n")
    print(f"const uint16_t CaseDeltas[{len(blocks)}][64] = {{")
    for block in blocks:
        lines = list(rows(block, 16, "{}"))
        print("{\n" + "\n".join(lines) + "\n},")
    print("};\n// clang-format on\n\n} // namespace qx::platform")


if __name__ == "__main__":
    main()
