#!/usr/bin/env python3
"""Writes src/base/case_table.inc: Unicode's one-to-one lower-case mappings of the basic plane,
packed into ranges of first, last, step and distance. Run it from the root of the repository."""
import unicodedata

pairs = [
    (code, ord(chr(code).lower()))
    for code in range(0x80, 0x10000)
    if not 0xD800 <= code < 0xE000
    and len(chr(code).lower()) == 1
    and chr(code).lower() != chr(code)
    and ord(chr(code).lower()) < 0x10000
]

ranges = []
for code, lower in pairs:
    distance = lower - code
    if ranges:
        first, last, step, known = ranges[-1]
        gap = code - last
        if distance == known and gap <= 2 and step in (0, gap):
            ranges[-1] = (first, code, gap, known)
            continue
    ranges.append((code, code, 0, distance))

with open("src/base/case_table.inc", "w", encoding="utf-8") as out:
    out.write(f"// Made by scripts/make_case_table.py from Unicode {unicodedata.unidata_version}.\n")
    for first, last, step, distance in ranges:
        out.write(f"{{0x{first:04X}, 0x{last:04X}, {max(step, 1)}, {distance}}},\n")
print(len(pairs), "mappings in", len(ranges), "ranges")
