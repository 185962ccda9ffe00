#!/usr/bin/env python3
"""Draws the icons as pictures of fixed sizes, with rsvg-convert.

make_icons.py          makes src/resources/kavrel.ico, which Windows shows for the program's file
make_icons.py FOLDER   makes what a window reads whose toolkit cannot draw SVG: the pictures and the
                       list of them, icons.qrc
"""
import pathlib
import struct
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

RESOURCES = pathlib.Path(__file__).resolve().parent.parent / "src/resources"
# 16, 20, 24, 32 and 48 at the usual scales of a display; the toolkit takes the next larger one.
SIZES = [16, 20, 24, 32, 40, 48, 64, 96, 128, 256]
FILE_SIZES = [16, 24, 32, 48, 64, 256]


def draw(drawing: pathlib.Path, size: int) -> bytes:
    command = ["rsvg-convert", "--width", str(size), "--height", str(size), str(drawing)]
    return subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout


def make_program_icon() -> None:
    pictures = [draw(RESOURCES / "icons/kavrel.svg", size) for size in FILE_SIZES]
    head = struct.pack("<HHH", 0, 1, len(pictures))
    offset = len(head) + 16 * len(pictures)
    entries = b""
    for size, picture in zip(FILE_SIZES, pictures):
        # One byte a side; 0 says 256.
        entries += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(picture),
                               offset)
        offset += len(picture)
    (RESOURCES / "kavrel.ico").write_bytes(head + entries + b"".join(pictures))


def make_pictures(folder: pathlib.Path) -> None:
    folder.mkdir(parents=True, exist_ok=True)
    lines = ['<RCC><qresource prefix="/icons">']
    for entry in ElementTree.parse(RESOURCES / "resources.qrc").iter("file"):
        if not entry.text.endswith(".svg"):
            continue
        for size in SIZES:
            name = f"{entry.get('alias').removesuffix('.svg')}-{size}.png"
            (folder / name).write_bytes(draw(RESOURCES / entry.text, size))
            lines.append(f"<file>{name}</file>")
    lines.append("</qresource></RCC>")
    (folder / "icons.qrc").write_text("\n".join(lines) + "\n")


if len(sys.argv) > 1:
    make_pictures(pathlib.Path(sys.argv[1]))
else:
    make_program_icon()
