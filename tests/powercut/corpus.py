"""The files that are copied: what each holds follows from its path and its version alone.

So of any file that is found after a cut it is certain whether it is the whole old version, the
whole new one, or neither.
"""
import hashlib
import os
import random
import zlib
from typing import NamedTuple

KIB, MIB = 1 << 10, 1 << 20
OLD_TIME, NEW_TIME = 1_700_000_000, 1_710_000_000  # seconds since 1970; each file adds its number


class Entry(NamedTuple):
    """What is looked at of a file or link; folders are what files lie in."""
    kind: str     # F or L
    size: int
    digest: str   # SHA-256 of the content; of a link, where it leads
    mtime: int    # seconds

    def same(self, other):
        return other is not None and self[:3] == other[:3]

    def same_with_time(self, other):
        """Within two seconds, which is all that FAT keeps."""
        return self.same(other) and (self.kind == "L" or abs(self.mtime - other.mtime) <= 2)


class Source(dict):
    """The entries of a tree by path; `crcs` has the CRC-32 of each file."""

    def __init__(self):
        super().__init__()
        self.crcs = {}


class File(NamedTuple):
    path: str
    number: int
    sizes: tuple     # of version 1 and 2
    versions: tuple  # the content's version in the first and in the second tree; None: not there


def content(path, version, size):
    return hashlib.shake_128(f"{version} {path}".encode()).digest(size)


def plan(count, changed, seed):
    """`changed`: "all" files differ between the trees, or only "part" of them."""
    rng = random.Random(f"{seed} {changed}")
    files = []
    for number in range(count):
        if number == 0:
            size = 16 * MIB
        elif number % 50 == 1:
            size = int(100 * KIB * 20 ** rng.random())  # 100 KiB to 2 MiB
        else:
            size = rng.randrange(rng.choice((1, 600, 8 * KIB, 8 * KIB)))
        # Half of them keep their size: only the content tells such versions apart.
        second = size
        if number and rng.random() < 0.5:
            second = max(1, size + rng.randrange(-size // 2, 3000))
        fate = rng.random()
        if number and fate < 0.06:
            versions = (None, 2)
        elif number and fate < 0.12:
            versions = (1, None)
        elif number and changed == "part" and fate < 0.5:
            versions = (1, 1)
        else:
            versions = (1, 2)
        folder = ("", "letters/", "letters/2025/", "photos of the summer/", "a/b/c/d/e/",
                  "音樂/", "gone/" if versions[1] is None else "came/deep/"
                  if versions[0] is None else "work/")[number % 7]
        files.append(File(f"{folder}{number:04} {rng.randrange(1 << 32):x}.dat", number,
                          (size, second), versions))
    return files


def links(changed, which):
    """Links of the first or the second tree, with where they lead."""
    result = {"link kept": "letters", "a/link changed": "nowhere 1"}
    if which == 0:
        result["link gone"] = "work"
    if which == 1 or changed == "all":
        result["a/link changed"] = f"nowhere {which + 1}"
    if which == 1:
        result["letters/link new"] = "../a"
    return result


def make_tree(root, files, which, changed, with_links):
    """Writes the first (0) or second (1) tree; gives its entries by path."""
    entries = Source()
    for file in files:
        version = file.versions[which]
        if version is None:
            continue
        size = file.sizes[version - 1]
        data = content(file.path, version, size)
        mtime = (OLD_TIME, NEW_TIME)[version - 1] + 10 * file.number
        full = os.path.join(root, file.path)
        os.makedirs(os.path.dirname(full), exist_ok=True)
        with open(full, "wb") as out:
            out.write(data)
        os.utime(full, (mtime, mtime))
        entries[file.path] = Entry("F", size, hashlib.sha256(data).hexdigest(), mtime)
        entries.crcs[file.path] = zlib.crc32(data)
    if with_links:
        for path, target in links(changed, which).items():
            full = os.path.join(root, path)
            os.makedirs(os.path.dirname(full), exist_ok=True)
            os.symlink(target, full)
            entries[path] = Entry("L", 0, target, 0)
    return entries
