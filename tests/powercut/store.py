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
        # Between the store and its own last version it has the settings of both.
        known = {line.split(b"=")[0] for text in (old, new) for line in text.splitlines()}
        known.add(b"Before")
        jobs = old.count(b"[job]")
        return all(line.split(b"=")[0] in known for line in data.splitlines()) and \
            jobs <= data.count(b"[job]") <= 2 * jobs
    return False
