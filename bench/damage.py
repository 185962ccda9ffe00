#!/usr/bin/env python3
"""Spoils a backup in a thousand ways and tells what a verification and a scrub say of each.

    bench/damage.py [--dir DIR] [--seed N]

As root: what rots is written into the image of an ext4 disk while that is not mounted, so no time and
no record of a change tells it. In copies, sources, archives and lists of sums: flipped bits, cut
tails, exchanged contents, touched times. Ends with 1 where something was not found, the wrong side
was named, or anything good is gone after mending and after another run of a full and a differential
job.
"""
import argparse
import json
import os
import random
import re
import shutil
import subprocess
import sys

KAVRELCTL = os.environ.get("KAVRELCTL", "build/bin/kavrelctl")
EACH = 100
# An archive that another one has replaced is whole by its own checksums: it may be the list that is wrong.
VERIFIED_ARCHIVE = {"flipped bits": "copy", "cut tails": "copy", "exchanged": "unknown", "touched": ""}


class Disk:
    """An ext4 disk in a file, with a folder each for source and backup, and a job over them."""

    def __init__(self, folder, kind, files):
        self.folder, self.image = folder, os.path.join(folder, f"{kind}.img")
        self.top = os.path.join(folder, kind)
        self.source, self.dest = os.path.join(self.top, "source"), os.path.join(self.top, "backup")
        os.makedirs(self.top)
        with open(self.image, "wb") as image:
            image.truncate(256 << 20)
        subprocess.run(["mkfs.ext4", "-q", "-F", "-b", "4096", self.image], check=True)
        self.mount()
        os.makedirs(self.source)
        self.files = files
        for name, content in files.items():
            with open(os.path.join(self.source, name), "wb") as file:
                file.write(content)
        self.ctl("add", "--name", "job", "--type", kind, "--source", self.source, "--dest", self.dest,
                 "--no-source-folder", "--change-guard", "off")
        self.ctl("run", "job")

    def mount(self):
        subprocess.run(["mount", "-o", "loop", self.image, self.top], check=True)

    def unmount(self):
        subprocess.run(["umount", self.top], check=True)

    def ctl(self, *arguments):
        return subprocess.run([KAVRELCTL, "--lang", "en", "--home", self.top + "-home", *arguments],
                              text=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)

    def told(self, *arguments):
        """What a verification or a scrub tells: the side and kind of each file by its name."""
        run = json.loads(self.ctl(*arguments, "--json").stdout)["runs"][0]
        return {os.path.basename(one["path"]): (one["side"], one["kind"]) for one in run["differences"]}

    def rot(self, where, names, rng):
        """Flips a bit of each of these files on the disk below the file system."""
        self.unmount()
        with open(self.image, "r+b") as image:
            for name in names:
                image.seek(where[name] + rng.randrange(len(self.files[name])))
                byte = image.read(1)
                image.seek(-1, os.SEEK_CUR)
                image.write(bytes([byte[0] ^ 1 << rng.randrange(8)]))
        self.mount()

    def places(self, folder):
        """Where on the disk each file of the folder lies."""
        subprocess.run(["sync", "-f", self.top], check=True)
        found = {}
        for name in self.files:
            path = os.path.join(folder, name)
            text = subprocess.run(["filefrag", "-b4096", "-v", path], check=True, text=True,
                                  stdout=subprocess.PIPE).stdout
            found[name] = int(re.search(r"^ +0: +0\.\. *\d+: +(\d+)\.\.", text, re.M).group(1)) * 4096
        return found

    def read(self, folder, name):
        with open(os.path.join(folder, name), "rb") as file:
            return file.read()


def rewrite(path, content):
    """With its time kept."""
    status = os.stat(path)
    with open(path, "wb") as file:
        file.write(content)
    os.utime(path, ns=(status.st_atime_ns, status.st_mtime_ns))


class Table:
    def __init__(self):
        self.rows, self.bad = [], 0

    def add(self, what, faults, verified, scrubbed, amiss):
        self.rows.append((what, faults, verified, scrubbed, amiss))
        self.bad += amiss

    def write(self):
        print("| Fault | Faults | A verification says | A scrub says | Wrong |\n|---|---|---|---|---|")
        for row in self.rows:
            print("| " + " | ".join(str(cell) for cell in row) + " |")
        print(f"{sum(row[1] for row in self.rows)} faults, {self.bad} wrong")


def sides(told, names):
    """In words, and how often each."""
    count = {}
    for name in names:
        side, kind = told.get(name, ("", "nothing"))
        text = kind if kind == "nothing" else f"{side}: {kind}"
        count[text] = count.get(text, 0) + 1
    return ", ".join(f"{text} ({number})" for text, number in sorted(count.items()))


def plain(folder, kind, rng, table):
    """Copies and sources of a job without dates; half of the faults."""
    groups = ["copies: flipped bits", "copies: cut tails", "copies: exchanged", "copies: touched",
              "sources: flipped bits", "sources: rewritten", "sources: touched", "none"]
    each = EACH // 2
    names = {group: [f"{i}-{number}" for number in range(each)] for i, group in enumerate(groups)}
    files = {name: rng.randbytes(rng.randrange(1, 60_000)) for group in groups for name in names[group]}
    disk = Disk(folder, kind, files)
    copies, sources = disk.places(disk.dest), disk.places(disk.source)
    disk.rot(copies, names["copies: flipped bits"], rng)
    disk.rot(sources, names["sources: flipped bits"], rng)
    at = lambda folder, name: os.path.join(folder, name)
    for name in names["copies: cut tails"]:
        rewrite(at(disk.dest, name), files[name][:rng.randrange(len(files[name]))])
    swapped = names["copies: exchanged"]
    for a, b in zip(swapped[::2], swapped[1::2]):
        rewrite(at(disk.dest, a), files[b])
        rewrite(at(disk.dest, b), files[a])
    for name in names["copies: touched"]:
        os.utime(at(disk.dest, name), (1_000_000_000, 1_000_000_000))
    changed = {name: rng.randbytes(1000) for name in names["sources: rewritten"]}
    for name, content in changed.items():
        with open(at(disk.source, name), "wb") as file:
            file.write(content)
    for name in names["sources: touched"]:
        os.utime(at(disk.source, name), (1_000_000_000, 1_000_000_000))
    rotten = {name: disk.read(disk.source, name) for name in names["sources: flipped bits"]}
    assert all(rotten[name] != files[name] for name in rotten), "the source's disk does not show it"

    scrubbed, verified = disk.told("scrub", "job"), disk.told("verify", "job")
    disk.ctl("verify", "job", "--mend")
    wanted = {"copies: flipped bits": "copy", "copies: cut tails": "copy", "copies: exchanged": "copy",
              "sources: flipped bits": "source", "sources: rewritten": "source"}
    mended = {name: disk.read(disk.dest, name) for name in files}
    disk.ctl("run", "job")
    later = {name: disk.read(disk.dest, name) for name in files}
    source = {name: disk.read(disk.source, name) for name in files}
    for group in groups:
        amiss = 0
        for name in names[group]:
            right_side = verified.get(name, ("",))[0] == wanted.get(group, "")
            right_scrub = (name in scrubbed) == (wanted.get(group) == "copy")
            # The first is what mending may leave, the second what the next run may.
            kept = mended[name] == files[name]
            good = later[name] == changed.get(name, files[name])
            untouched = source[name] == rotten.get(name, changed.get(name, files[name]))
            amiss += not (right_side and right_scrub and kept and good and untouched)
        table.add(f"{kind}, {group}", len(names[group]) if group != "none" else 0,
                  sides(verified, names[group]), sides(scrubbed, names[group]), amiss)
    lists(disk, kind, rng, table)
    disk.unmount()


def lists(disk, kind, rng, table):
    """The list of sums of a backup that is whole."""
    for name in disk.files:  # A new start, from good files with new times.
        with open(os.path.join(disk.source, name), "wb") as file:
            file.write(disk.files[name])
    disk.ctl("run", "job", "--force")
    path = os.path.join(disk.dest, ".kavrel-sums")
    with open(path, "rb") as file:
        good = file.read()
    lines = good.splitlines(keepends=True)
    each = EACH // 4
    digits, exchanged = rng.sample(range(len(lines)), each), rng.sample(range(len(lines) // 2), each)

    def spoilt(what, faults, text, names):
        with open(path, "wb") as file:
            file.write(text)
        scrubbed, verified = disk.told("scrub", "job"), disk.told("verify", "job")
        with open(path, "rb") as file:
            anew = file.read()
        whole = all(disk.read(disk.dest, name) == disk.files[name] for name in disk.files)
        amiss = len(verified) + (sorted(anew.splitlines()) != sorted(good.splitlines())) + (not whole)
        table.add(f"{kind}, sums: {what}", faults, (sides(verified, names) or "nothing") + ", made anew",
                  sides(scrubbed, names) or "no sum", amiss)

    def name_of(line):
        return os.path.basename(line.split(b"  ", 1)[1].strip().decode())

    text = list(lines)
    for i in digits:
        text[i] = (b"0" if lines[i][:1] != b"0" else b"1") + lines[i][1:]
    spoilt("flipped digits", each, b"".join(text), [name_of(lines[i]) for i in digits])
    text = list(lines)
    for i in exchanged:
        a, b = lines[2 * i], lines[2 * i + 1]
        text[2 * i], text[2 * i + 1] = b[:32] + a[32:], a[:32] + b[32:]
    spoilt("exchanged", each, b"".join(text), [name_of(lines[2 * i + k]) for i in exchanged for k in (0, 1)])
    cuts = EACH // 10
    for _ in range(cuts - 1):
        with open(path, "wb") as file:
            file.write(good[:rng.randrange(len(good))])
        disk.ctl("verify", "job")
    spoilt("cut tails", cuts, good[:len(good) // 2], [])


def archives(folder, rng, table):
    """Each archive spoilt once and put right again."""
    disk = Disk(folder, "compressed", {f"{i}.txt": rng.randbytes(3000).hex().encode() for i in range(20)})
    names = [name for name in os.listdir(disk.dest) if name.endswith(".7z")]
    path = os.path.join(disk.dest, names[0])
    good = disk.read(disk.dest, names[0])
    kinds = {"flipped bits": [], "cut tails": [], "exchanged": [], "touched": []}
    each = EACH // 2
    for kind in kinds:
        verified, scrubbed, amiss = {}, {}, 0
        for number in range(each):
            spoilt = bytearray(good)
            if kind == "flipped bits":
                spoilt[rng.randrange(len(good))] ^= 1 << rng.randrange(8)
            elif kind == "cut tails":
                del spoilt[rng.randrange(len(good)):]
            elif kind == "exchanged":
                spoilt = other(folder, rng)
            rewrite(path, bytes(spoilt))
            if kind == "touched":
                os.utime(path, (1_000_000_000, 1_000_000_000))
            name = os.path.basename(path)
            scrubbed[number] = disk.told("scrub", "job").get(name, ("", "nothing"))
            # A verification names what is damaged in the archive, or all of it.
            told = list(disk.told("verify", "job").values())
            verified[number] = told[0] if told else ("", "nothing")
            amiss += (scrubbed[number][0] == "copy") != (kind != "touched")
            amiss += verified[number][0] != VERIFIED_ARCHIVE[kind]
            rewrite(path, good)
        table.add(f"archive, {kind}", each, sides(verified, verified), sides(scrubbed, scrubbed), amiss)
    disk.unmount()


def other(folder, rng):
    """A good archive of something else."""
    path = os.path.join(folder, "other.7z")
    if os.path.exists(path):
        os.remove(path)
    what = os.path.join(folder, "other.txt")
    with open(what, "wb") as file:
        file.write(rng.randbytes(5000))
    subprocess.run(["7zz" if shutil.which("7zz") else "7z", "a", path, what], check=True, stdout=subprocess.DEVNULL)
    with open(path, "rb") as file:
        return file.read()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--dir", default="/tmp/kavrel-damage")
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    rng, table = random.Random(options.seed), Table()
    shutil.rmtree(options.dir, ignore_errors=True)
    os.makedirs(options.dir)
    for kind in ("full", "differential"):
        plain(options.dir, kind, rng, table)
    archives(options.dir, rng, table)
    table.write()
    sys.exit(1 if table.bad else 0)


main()
