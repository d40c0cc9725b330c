#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
# SPDX-License-Identifier: MIT
"""Writes gb2312_table.cpp from the GB2312 charmap of Debian's package "locales".

    idcard/generate_gb2312_table.py > idcard/gb2312_table.cpp

The charmap is the GB2312 to Unicode mapping in EUC form: it gives A1A4 as U+30FB and A1AA as U+2015, where
the mappings of GBK and its relatives have U+00B7 and U+2014.
"""
import gzip
import re
import sys

CHARMAP = "/usr/share/i18n/charmaps/GB2312.gz"
ENTRIES = 7445
PER_LINE = 12

HEAD = """\
// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Written by generate_gb2312_table.py; do not edit.

#include "idcard/gb2312_table.h"

// clang-format off
"""


def pairs():
    line = re.compile(r"<U([0-9A-F]+)>\s+/x([0-9a-f]{2})/x([0-9a-f]{2})\s")
    with gzip.open(CHARMAP, "rt", encoding="utf-8") as charmap:
        matches = (line.match(text) for text in charmap)
        found = [(int(m[1], 16), int(m[2] + m[3], 16)) for m in matches if m]
    found.sort()
    if len(found) != ENTRIES or len({gb for _, gb in found}) != ENTRIES:
        sys.exit(f"{CHARMAP}: {len(found)} characters, not {ENTRIES} different ones")
    return found


def write_table(name, values):
    print(f"\nconst std::int64_t {name}[Gb2312Slots] = {{")
    for start in range(0, len(values), PER_LINE):
        print("    " + ", ".join(f"0x{v:04X}" for v in values[start:start + PER_LINE]) + ",")
    print("};")


def main():
    mapping = pairs()
    print(HEAD, end="")
    write_table("lGb2312", [gb for _, gb in mapping])
    write_table("lUnicode", [unicode for unicode, _ in mapping])


main()
