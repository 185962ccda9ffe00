"""What lies below a folder, read on the host or from what the machine has packed."""
import hashlib
import os
import stat

from corpus import Entry

# On disks without attributes the mark of a backup is a file, which no tree of a source has.
MARK = ".kavrel-owner"


class Tree(dict):
    """Entries by path. `kept` has the content of small files, `folders` the folders, `broken` what
    could not be read."""

    def __init__(self):
        super().__init__()
        self.kept, self.folders, self.broken = {}, set(), {}

    def _add(self, path, size, mtime, file, keep):
        """`file` is None for what cannot be opened."""
        digest = hashlib.sha256()
        got = b""
        while piece := file.read(1 << 20):
            digest.update(piece)
            if keep and len(got) < 1 << 22:
                got += piece
        self[path] = Entry("F", size, digest.hexdigest(), mtime)
        if keep:
            self.kept[path] = got


def from_tar(archive, keep):
    result = Tree()
    for member in archive:
        path = member.name[2:] if member.name.startswith("./") else member.name
        if os.path.basename(path) == MARK:
            continue
        if member.isdir():
            result.folders.add(path)
        elif member.issym():
            result[path] = Entry("L", 0, member.linkname, int(member.mtime))
        elif member.isreg():
            result._add(path, member.size, int(member.mtime), archive.extractfile(member), keep)
        elif member.islnk():
            first = member.linkname.removeprefix("./")
            result[path] = result[first]
            if first in result.kept:
                result.kept[path] = result.kept[first]
        else:
            # A device or a pipe: a run makes none of them.
            result[path] = Entry("?", 0, str(member.type), 0)
    return result


def from_folder(root, keep=False):
    if not os.path.isdir(root):
        return None
    result = Tree()

    def failed(error):
        result.broken[os.path.relpath(error.filename, root)] = str(error)
    for at, folders, names in os.walk(root, onerror=failed):
        for name in folders + [name for name in names if name != MARK]:
            full = os.path.join(at, name)
            path = os.path.relpath(full, root)
            try:
                look = os.lstat(full)
                if stat.S_ISDIR(look.st_mode):
                    result.folders.add(path)
                elif stat.S_ISLNK(look.st_mode):
                    result[path] = Entry("L", 0, os.readlink(full), int(look.st_mtime))
                else:
                    with open(full, "rb") as file:
                        result._add(path, look.st_size, int(look.st_mtime), file, keep)
            except OSError as error:
                result.broken[path] = str(error)
    return result
