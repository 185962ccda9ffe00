"""What is wrong with the disks after a cut."""
import fnmatch
import os
import re
from dataclasses import dataclass, field

import store

MARKS = ("pt*.tmp", "*.tmp")


@dataclass
class Expected:
    """The target and the program folder before the run and after an undisturbed one."""
    old: dict
    new: dict
    home_old: dict
    home_new: dict
    source: dict       # what the target gets
    names: set = field(default_factory=set)  # folders that may be in the target


@dataclass
class Verdict:
    looked: int = 0
    losses: list = field(default_factory=list)   # neither version whole under its own name
    partial: list = field(default_factory=list)  # new files of which a part has the final name
    untrue: list = field(default_factory=list)   # told to be done, but not so
    program: list = field(default_factory=list)  # files of the program folder that are no version
    unhealed: list = field(default_factory=list)  # what the next run leaves wrong, strays included

    def wrongs(self):
        return {what: lines for what in ("losses", "partial", "untrue", "program", "unhealed")
                if (lines := sorted(getattr(self, what)))}


def after_cut(place, job, expected, told, verdict):
    """Looks at the target and the program folder as the cut left them."""
    found = place.tree(job.target)
    verdict.looked = len(expected.old.keys() | expected.new.keys())
    if found is None:
        found = {}
    elsewhere = {entry[:3]: path for path, entry in found.items()}
    if job.bin:
        for path, entry in (place.tree("/b/" + job.bin) or {}).items():
            elsewhere.setdefault(entry[:3], f"/b/{job.bin}/{path}")
    for path in expected.old.keys() | expected.new.keys():
        _file(job, path, expected.old.get(path), expected.new.get(path), found.get(path), told,
              elsewhere, verdict)
    if job.peer:
        return
    home = place.tree("/a/home", keep=True)
    for name in store.FILES:
        old, new = expected.home_old.get(name), expected.home_new.get(name)
        now = home.kept.get(name) if home else None
        if now != old and now != new and not (old and now and store.whole(name, now, old, new)):
            verdict.program.append(f"{name}: {_text(now)}")
        elif told and now != new:
            verdict.untrue.append(f"{name} is not that of the finished run")


def _file(job, path, old, new, now, told, elsewhere, verdict):
    is_new = new is not None and new.same(now)
    if old is not None and not is_new and not old.same(now):
        may_go = new is None and now is None and (job.removes or job.bin)
        if may_go and (not job.bin or old[:3] in elsewhere):
            pass
        else:
            verdict.losses.append(f"{path}: {_look(now)}, was {_look(old)}, becomes {_look(new)}; "
                                  f"the old version: {elsewhere.get(old[:3], 'nowhere')}")
    elif old is None and now is not None and not is_new:
        verdict.partial.append(f"{path}: {_look(now)}, becomes {_look(new)}")
    if told and new is None and now is not None:
        verdict.untrue.append(f"{path} is still there")
    elif told and new is not None and not new.same_with_time(now):
        verdict.untrue.append(f"{path}: {_look(now)}, told to be {_look(new)}")


def _look(entry):
    if entry is None:
        return "absent"
    return f"link to {entry.digest}" if entry.kind == "L" else \
        f"{entry.size} bytes {entry.digest[:8]} of {entry.mtime}"


def _text(data):
    return "absent" if data is None else f"{len(data)} bytes {data[:80]!r}"


def after_next_run(place, job, expected, verdict):
    """Runs the job once more and looks whether it has put everything right."""
    command = job.run
    if job.clock and place.own_clock:
        command = f"date -s '{job.clock[-1]}' >/dev/null; {command}"
    code, said, _ = place.run(command)
    wrong = verdict.unhealed
    if code:
        wrong.append(f"the next run ends with {code}: {said[-300:]}")
    found = place.tree(job.target)
    home = place.tree("/a/home", keep=True)
    if found is None or home is None:
        wrong.append("no folder")
        return
    for where, tree in (("", found), ("/a/home/", home)):
        for path in sorted(tree.keys() | tree.folders):
            if path == "Aside.jnl" or any(fnmatch.fnmatch(os.path.basename(path), mark)
                                          for mark in MARKS):
                wrong.append(f"stray: {where}{path}")
    for path, error in found.broken.items():
        wrong.append(f"{path}: {error}")
    if job.archives:
        newest = max(found, default="")
        wrong += archive(place, job.target + newest, expected.source)
        return
    goal = expected.new
    if job.dated:
        newest = max((path.split("/")[0] for path in found), default="")
        goal = {f"{newest}/{path}": entry for path, entry in expected.source.items()}
    for path in goal.keys() | found.keys():
        if path in found and path not in goal:
            if job.dated and not path.startswith(newest + "/"):
                # An earlier folder, which no run goes to any more: looked at after the cut.
                continue
            if any(fnmatch.fnmatch(os.path.basename(path), mark) for mark in MARKS):
                continue  # Told already.
            wrong.append(f"stray: {path}")
        elif not goal[path].same_with_time(found.get(path)):
            wrong.append(f"{path}: {_look(found.get(path))} after the next run, "
                         f"source {_look(goal[path])}")


def archive(place, path, source):
    """What is wrong with an archive that has to hold these files."""
    code, said, _ = place.run(f"7zz t '{path}'")
    if code:
        return [f"{path}: 7zz t ends with {code}: {said[-200:]}"]
    _, said, _ = place.run(f"7zz l -slt '{path}'")
    sums = {}
    for block in said.split("\n\n"):
        fields = dict(re.split(" = ?", line, maxsplit=1)
                      for line in block.splitlines() if " =" in line)
        if "CRC" in fields:  # Without a number for an empty file.
            sums[fields["Path"]] = int(fields["CRC"] or "0", 16)
    return [f"{path}: {name} has another content" for name, crc in source.crcs.items()
            if sums.get(name, -1) != crc]
