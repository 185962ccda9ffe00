#!/usr/bin/env python3
"""Whole runs of the Windows program on a real tree, compared byte for byte from outside of it, and a
program folder that moves between the systems.

prove.py WINE KAVRELCTL.EXE KAVRELCTL WORK"""
import json
import os
import pathlib
import shutil
import subprocess
import sys

WINE, WINDOWS, LINUX, WORK = sys.argv[1], *(pathlib.Path(p).resolve() for p in sys.argv[2:])
DRIVE = WORK / "prefix" / "drive_c"
CORPUS = ["/usr/share/doc", "/usr/share/perl", "/usr/share/cmake-3.25", "/usr/share/i18n"]
MOST_FILES = 5000
FORBIDDEN = set('<>:"|?*\\')


def step(text):
    print(f"  {text}", flush=True)


def grow(root):
    """A few thousand files of this machine, and what a user of the program has beside them."""
    count, seen = 0, set()
    for top in CORPUS:
        for folder, _, names in os.walk(top):
            to = root / pathlib.Path(folder).relative_to("/usr/share")
            for name in names:
                path = pathlib.Path(folder) / name
                if path.is_symlink() or not path.is_file() or FORBIDDEN & set(str(to / name)):
                    continue
                # Names that differ by letter case alone are one name there.
                if str(to / name).lower() in seen:
                    continue
                seen.add(str(to / name).lower())
                if count == MOST_FILES:
                    return count
                to.mkdir(parents=True, exist_ok=True)
                shutil.copy2(path, to / name)
                count += 1
    return count


def grow_own(root):
    for name in ("文件", "照片 2009", "碁銹裏墻恒粧嫺", "空資料夾"):
        (root / name).mkdir()
    for i in range(200):
        (root / "文件" / f"檔案 {i} 說明.txt").write_text("內容" * i, encoding="utf-8")
    (root / "照片 2009" / "大.bin").write_bytes(os.urandom(3_000_001))
    (root / "照片 2009" / "區塊.bin").write_bytes(os.urandom(131072))
    (root / "碁銹裏墻恒粧嫺" / "空.txt").touch()
    deep = root / "深"
    for _ in range(5):
        deep /= "深" * 60
    deep.mkdir(parents=True)
    (deep / "底.txt").write_text("x", encoding="utf-8")


def picture(root):
    """Names, contents and times (as exactly as Windows keeps them) of a tree."""
    found = {}
    for folder, folders, names in os.walk(root):
        for name in folders + names:
            path = pathlib.Path(folder) / name
            # The mark of a backup and its list of sums are no part of it.
            if folder == str(root) and name in (".kavrel-owner", ".kavrel-sums"):
                continue
            status = path.stat()
            content = path.read_bytes() if path.is_file() else None
            found[str(path.relative_to(root))] = (status.st_mtime_ns // 100, content)
    return found


def differences(a, b):
    a, b = picture(a), picture(b)
    lines = [f"missing: {n}" for n in a.keys() - b.keys()]
    lines += [f"too many: {n}" for n in b.keys() - a.keys()]
    lines += [f"differs: {n}" for n in a.keys() & b.keys() if a[n] != b[n]]
    return lines


def check(condition, text):
    if not condition:
        raise SystemExit(f"FAILED: {text}")


def same(a, b, text):
    found = differences(a, b)
    check(not found, text + "\n" + "\n".join(found[:20]))
    step(f"{text}: {len(picture(b))} entries are the same byte for byte")


class Program:
    """kavrelctl of one system over one program folder."""

    def __init__(self, command, home):
        self.command, self.home = command, home

    def run(self, *arguments, code=0):
        # Outside of the folder of the programs, as a user starts them.
        result = subprocess.run([*self.command, "--home", self.home, *arguments], cwd=WORK,
                                capture_output=True, encoding="utf-8", timeout=900)
        check(result.returncode == code,
              f"{arguments} gave {result.returncode}\n{result.stdout}\n{result.stderr}")
        return result.stdout

    def figures(self, *arguments, code=0):
        """What a run tells of itself."""
        lines = self.run(*arguments, code=code).replace("　", "").splitlines()
        return {k.strip(): v.strip() for k, v in (l.split("：", 1) for l in lines if "：" in l)}


def prove_runs(windows, source):
    dest = DRIVE / "dest"
    windows.run("add", "--name", "全部", "--source", "C:\\來源", "--dest", "C:\\dest\\full",
                "--no-source-folder", "--type", "full")
    windows.run("run", "全部")
    same(source, dest / "full", "full")

    windows.run("add", "--name", "差異", "--source", "C:\\來源", "--dest", "C:\\dest\\full",
                "--no-source-folder", "--type", "differential", "--adopt")
    changed = sorted((source / "文件").iterdir())[:7]
    for path in changed:
        path.write_text("新的內容", encoding="utf-8")
    (source / "新.txt").write_text("new")
    figures = windows.figures("run", "差異")
    check(figures["已完成檔案總計"] == "8", f"differential copied {figures}")
    same(source, dest / "full", "differential, 8 files copied")

    for bin_used, victim in ((False, "照片 2009"), (True, "文件")):
        options = ["--recycle"] if bin_used else []
        name = "同步桶" if bin_used else "同步"
        windows.run("add", "--name", name, "--source", "C:\\來源", "--dest", "C:\\dest\\full",
                    "--no-source-folder", "--type", "sync", *options)
        kept = shutil.copytree(source / victim, WORK / "kept" / victim)
        shutil.rmtree(source / victim)
        # The guard of mirrors would stop at so many removals.
        windows.run("run", name, "--force")
        text = "mirror with the recycle bin" if bin_used else "mirror without the recycle bin"
        same(source, dest / "full", text)
        if bin_used:
            binned = {p.name for p in (WORK / "data" / "Trash").rglob("*") if "檔案" in p.name}
            check(len(binned) >= 200, f"the bin holds {len(binned)} files")
            step(f"the bin holds {len(binned)} of the removed files and their descriptions")
        shutil.copytree(kept, source / victim)

    # The place is the mirror's by now.
    windows.run("run", "全部", "--force")
    before = picture(source)
    shutil.rmtree(source / "文件")
    (source / "照片 2009" / "大.bin").write_bytes(b"damaged")
    windows.run("restore", "全部")
    check(picture(source) == before, "restore brought back something else")
    step("restore: what was removed and damaged is back")

    windows.run("add", "--name", "壓縮", "--source", "C:\\來源", "--dest", "C:\\dest\\zip",
                "--type", "compressed")
    windows.run("run", "壓縮", code=9)
    archives = list((dest / "zip").rglob("*")) if (dest / "zip").exists() else []
    check(not archives, f"without 7-Zip.dll there is {archives}")
    step("compressed without 7-Zip.dll: reported, nothing written")


def stored(home):
    return {n: (home / n).read_bytes() for n in ("Backup.rtm", "Exc.txt", "FileType.txt")}


def prove_moves(source, made_on):
    """A folder that one system made and both then use in turn, its drive c where both find it."""
    home = DRIVE / ("moving " + made_on)
    (home / "drives").mkdir(parents=True)
    (home / "drives" / "c").symlink_to(DRIVE)
    windows = Program([WINE, WINDOWS], "C:\\" + home.name)
    linux = Program([LINUX], str(home))
    first, second = (windows, linux) if made_on == "Windows" else (linux, windows)
    moved = DRIVE / "dest" / "moved"
    first.run("add", "--name", "碁 文件", "--source", "C:\\來源\\文件", "--dest", "C:\\dest\\moved",
              "--no-source-folder", "--type", "full", "--every", "2d", "--enable")
    first.run("rules", "add", "--name", "暫存", "--file", "*.暫存")
    first.run("filters", "add", "文件", "*.txt;*.說明")
    first.run("run", "碁 文件")
    same(source / "文件", moved, f"a job made on {made_on}, run there")

    made = stored(home)
    shutil.rmtree(moved)
    second.run("run", "碁 文件")
    same(source / "文件", moved, "the same job, run on the other system")
    shutil.rmtree(moved)
    logs = json.loads(second.run("log", "--json"))
    check(len(logs) == 2, f"the program log has {len(logs)} runs")
    for job in (first, second):
        for program in (second, first):
            job.run("edit", "碁 文件", "--name", "另名")
            program.run("edit", "另名", "--name", "碁 文件")
    now = stored(home)
    check(made["Exc.txt"] == now["Exc.txt"] and made["FileType.txt"] == now["FileType.txt"],
          "the rules changed on their way")
    # Nothing but when it ran last, and the figures of that, may differ.
    old, new = (s["Backup.rtm"].decode("cp950").split("\t") for s in (made, now))
    check(len(old) == len(new) and old[:16] == new[:16], f"the store changed:\n{old}\n{new}")
    for what in (["list", "--json"], ["rules", "list", "--json"], ["filters", "list", "--json"],
                 ["show", "碁 文件", "--json"], ["log", "--json"]):
        check(windows.run(*what) == linux.run(*what), f"{what} is told differently")
    check(windows.run("log", "--show", "1") == linux.run("log", "--show", "1"), "a log differs")
    step("store, rules, filters, program log and job logs are told alike by both systems")


def system_folder():
    return {str(p): p.lstat().st_mtime_ns for p in (DRIVE / "windows").rglob("*")}


def main():
    source = DRIVE / "來源"
    source.mkdir()
    count = grow(source)
    grow_own(source)
    print(f"runs of a tree of {count + 204} files by kavrelctl.exe:")
    before = system_folder()
    prove_runs(Program([WINE, WINDOWS], "C:\\home"), source)
    for made_on in ("Windows", "Linux"):
        prove_moves(source, made_on)
    check(system_folder() == before, "the system's folder was written to")
    step("the system's folder is as it was")


main()
