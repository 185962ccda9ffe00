#!/usr/bin/env python3
"""Writes src/rules/default_files.inc, the built-in rule files as code page 950 bytes, from the
tables in src/resources, and the names in them, which are shown in the user's language. Run it from
the root of the repository."""

FILES = [("kExclusions", "exclusions.txt", 536), ("kFileFilters", "file_filters.txt", 713)]

with open("src/rules/default_files.inc", "w", encoding="utf-8") as out:
    out.write("// Made by scripts/make_default_files.py from the tables in src/resources.\n")
    for name, source, size in FILES:
        with open(f"src/resources/{source}", encoding="utf-8") as table:
            lines = [line for line in table.read().splitlines() if line]
        data = "\r\n".join(lines).encode("cp950")
        if len(data) != size:
            raise SystemExit(f"{source}: {len(data)} bytes instead of {size}")
        out.write(f"constexpr unsigned char {name}[] = {{\n")
        for start in range(0, len(data), 16):
            row = ", ".join(f"0x{byte:02X}" for byte in data[start : start + 16])
            out.write(f"    {row},\n")
        out.write("};\n")
        out.write(f"[[maybe_unused]] constexpr const char16_t* {name}Names[] = {{\n")
        for line in lines:
            name_of_line = line.split("\t")[0]
            out.write(f'    TrLaterIn("name", u"{name_of_line}"),\n')
        out.write("};\n")
