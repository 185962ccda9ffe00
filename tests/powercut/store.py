"""The files of the program folder, and whether one that a run writes more than once is whole."""

FILES = ("Backup.rtm", "Backup.ext", "Exc.txt", "FileType.txt", "Settings.ini", "Log/QVDlog.log")


def whole(name, data, old, new):
    """Whether `data` may be a version between the one before the run and the one after it."""
    if not data.endswith(b"\n") or b"\0" in data:
        return False
    lines = data.count(b"\n")
    if name == "Backup.rtm":
        return lines == old.count(b"\n") and data.count(b"\t") == old.count(b"\t")
    if name == "Backup.ext":
        known = {line.split(b"=")[0] for text in (old, new) for line in text.splitlines()}
        return all(line.split(b"=")[0] in known for line in data.splitlines()) and \
            data.count(b"[job]") == old.count(b"[job]")
    return False
