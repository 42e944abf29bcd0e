#!/usr/bin/env python3
"""Copies the public headers for Doxygen, with what each declares in the group of its subsystem.

    grouped-headers.py FOLDER
"""

import pathlib
import re
import sys

target = pathlib.Path(sys.argv[1])
# The namespaces of a header (not those of forward declarations, which have no comment at their end) and
# the functions of a C header.
scopes = [re.compile(r"^(namespace (qx(?::(?!:detail)|\w)*) \{)$((?:(?!^namespace \2 \{$).)*?)"
                     r"^(\} // namespace \2)$", re.M | re.S),
          re.compile(r'^(extern "C" \{)$()(.*)^(\})$', re.M | re.S)]

for path in sorted(pathlib.Path("qx").glob("*/**/*.h")):
    if {"detail", "posix"} & set(path.parts):
        continue
    # On the lines that are there, so that what Doxygen says of a line is true of the header.
    begin, end = f"/** @addtogroup {path.parts[1]} */ /** @{{ */", "/** @} */"
    text, count = path.read_text("utf-8"), 0
    for scope in scopes:
        text, found = scope.subn(rf"\1 {begin}\3{end} \4", text)
        count += found
    if count == 0:  # all of it is global
        text = text.replace("\n\n", f"\n{begin}\n", 1) + end + "\n"
    copy = target / path
    copy.parent.mkdir(parents=True, exist_ok=True)
    copy.write_text(text, "utf-8")
