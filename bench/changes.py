#!/usr/bin/env python3
"""Measures whom the change guard alarms: recorded histories, everyday work, attacks.

    bench/changes.py [--dir DIR] histories PACKAGES     PACKAGES/NAME/*: source packages of Debian, NAME_*.orig.tar.*,
                                                        each history its versions in their order
    bench/changes.py [--dir DIR] everyday TREE          what people do with a home like TREE
    bench/changes.py [--dir DIR] attacks TREE           and what encrypts it
    bench/changes.py [--dir DIR] cost PAIRS             what it costs runs of 40,000 small files, in pairs on and off

Each history goes through four jobs: a mirror, a full one and a differential one without dates, and one with a dated
folder a run. Told is how many runs asked or raised the alarm, and of attacks how many files of the copies were
overwritten until then. The mirror guard is off, so that it is this guard alone which is seen.
"""
import argparse
import glob
import hashlib
import os
import random
import re
import shutil
import statistics
import subprocess
import sys
import time

import corpus

KAVRELCTL = os.environ.get("KAVRELCTL", "build/bin/kavrelctl")
JOBS = {"mirror": "sync", "full": "full", "differential": "differential", "dated": "differential"}


class Home:
    """A source with the jobs that back it up."""

    def __init__(self, folder, jobs=tuple(JOBS)):
        shutil.rmtree(folder, ignore_errors=True)
        self.folder, self.source = folder, os.path.join(folder, "source")
        self.jobs, self.alarms, self.runs = jobs, dict.fromkeys(jobs, 0), 0
        os.makedirs(self.source)
        for job in jobs:
            dest = os.path.join(folder, job)
            if job == "dated":
                dest = os.path.join(dest, "<yyyy><mm><dd><hh><nn><ss>")
            mirror = ["--guard", "off"] if job == "mirror" else []
            added = self.ctl("add", "--name", job, "--source", self.source, "--dest", dest, "--type", JOBS[job],
                             "--no-source-folder", "--no-space-check", *mirror)
            if added.returncode:
                sys.exit(added.stdout)

    def ctl(self, *arguments):
        return subprocess.run([KAVRELCTL, "--lang", "en", "--home", os.path.join(self.folder, "home"), *arguments],
                              text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def run(self, what):
        """Runs all jobs; which of them asked or raised the alarm."""
        self.runs += 1
        alarmed = []
        for job in self.jobs:
            begun = int(time.time())
            result = self.ctl("run", job, "--quiet")
            if "encrypted" in result.stdout:
                alarmed.append(job)
                self.alarms[job] += 1
                print("    %s: %s: %s" % (what, job, result.stdout.strip()[:300]))
                if job == "dated":
                    self.ctl("edit", job, "--change-guard", "accept")
            elif result.returncode:
                print("    %s: %s: exit %d: %s" % (what, job, result.returncode, result.stdout.strip()[:200]))
            while job == "dated" and int(time.time()) == begun:
                time.sleep(0.02)
        return alarmed

    def run_quietly(self):
        found = []
        for job in self.jobs:
            begun = int(time.time())
            if "encrypted" in self.ctl("run", job, "--quiet").stdout:
                found.append(job)
            while job == "dated" and int(time.time()) == begun:
                time.sleep(0.02)
        return found

    def counted(self):
        """What has added up without an alarm: of each job the files for sure, and likely."""
        with open(os.path.join(self.folder, "home", "Backup.ext"), encoding="utf-8") as kept:
            sections = kept.read().split("[job]")
        found = {}
        for section in sections:
            name = re.search(r"^Name=(.*?)\r?$", section, re.M)
            changes = re.search(r"^Changes=(.*?)\r?$", section, re.M)
            if name and changes:
                found[name[1]] = tuple(map(int, changes[1].split("\t")[1:3]))
        return {job: count for job, count in found.items() if count != (0, 0)}


def replace_source(home, tree):
    """The source becomes a tree of another version, whose root is named as before."""
    shutil.rmtree(home.source)
    shutil.copytree(tree, home.source, symlinks=True)


def version_key(path):
    version = re.search(r"_([^_]+)\.orig\.tar", path)[1]
    return [(0, int(part), "") if part.isdigit() else (1, 0, part) for part in re.findall(r"\d+|\D+", version)]


def histories(folder, packages):
    steps = files = alarms = 0
    for package in sorted(os.listdir(packages)):
        found = {os.path.basename(path): path for path in glob.glob(os.path.join(packages, package, "**", "*.orig.tar.*"),
                                                                   recursive=True) if not path.endswith(".asc")}
        versions = sorted(found.values(), key=version_key)
        if len(versions) < 2:
            continue
        home = Home(os.path.join(folder, "history"))
        for number, path in enumerate(versions):
            tree = os.path.join(folder, "unpacked")
            shutil.rmtree(tree, ignore_errors=True)
            os.makedirs(tree)
            subprocess.run(["tar", "-xf", path, "-C", tree, "--strip-components=1", "--no-same-owner"], check=True)
            replace_source(home, tree)
            home.run("%s %s" % (package, os.path.basename(path)))
            count = sum(len(names) for _, _, names in os.walk(home.source))
            files += count
            steps += number > 0
        alarms += sum(home.alarms.values())
        print("%-16s %2d versions, %5d files, alarms %s, counted %s" %
              (package, len(versions), count, sum(home.alarms.values()), home.counted()), flush=True)
    print("steps %d, files %d, alarms %d" % (steps, files, alarms))


def paths(root, known=None):
    found = []
    for folder, folders, names in os.walk(root):
        folders.sort()
        for name in sorted(names):
            path = os.path.join(folder, name)
            if os.path.islink(path) or (known and os.path.splitext(name)[1].lower() not in known):
                continue
            found.append(path)
    return found


def rewrite(path, data):
    with open(path, "wb") as file:
        file.write(data)


def everyday(folder, tree):
    home = Home(os.path.join(folder, "everyday"))
    dice = random.Random(24)

    def texts():
        return paths(home.source, {".txt", ".c", ".h", ".py", ".md", ".html", ".po", ".rst"})

    def pictures():
        return paths(home.source, {".png"})

    def edit():
        for path in dice.sample(texts(), 200):
            with open(path, "ab") as file:
                file.write(b"one more line\n")

    def touch():
        for path in paths(home.source):
            os.utime(path)

    def convert():
        for path in pictures()[:60]:
            subprocess.run(["convert", path, os.path.splitext(path)[0] + ".jpg"], check=False, stderr=subprocess.DEVNULL)
            if os.path.exists(os.path.splitext(path)[0] + ".jpg"):
                os.remove(path)

    def zip_folder():
        subprocess.run("tar -czf packed.tgz */doc* && rm -r */doc*", shell=True, cwd=home.source, check=False,
                       stderr=subprocess.DEVNULL)

    def encrypt_one():
        subprocess.run("tar -cf - */test* | gpg --batch --quiet --homedir %s --pinentry-mode loopback --passphrase x "
                       "-c > tests.tar.gpg && rm -r */test*" % gpg_home(folder), shell=True, cwd=home.source, check=True)

    def encrypt_few():
        for path in dice.sample(texts(), 10):
            subprocess.run(["gpg", "--batch", "--quiet", "--homedir", gpg_home(folder), "--pinentry-mode", "loopback",
                            "--passphrase", "x", "-c", path], check=True)
            os.remove(path)

    def pack_each():
        for path in texts()[:400]:
            subprocess.run(["gzip", "-f", path], check=True)

    def rename_all():
        for number, path in enumerate(texts()[:500]):
            os.rename(path, os.path.join(os.path.dirname(path), "%05d%s" % (number, os.path.splitext(path)[1])))

    def move():
        top = os.path.join(home.source, "moved to a new disk")
        names = os.listdir(home.source)
        os.mkdir(top)
        for name in names:
            os.rename(os.path.join(home.source, name), os.path.join(top, name))

    def unpack():
        for path in paths(home.source, {".gz"})[:400]:
            subprocess.run(["gzip", "-df", path], check=True)

    def store():
        for number in range(300):
            path = os.path.join(home.source, "store", "%02x" % (number % 64), "%064x" % dice.getrandbits(256))
            os.makedirs(os.path.dirname(path), exist_ok=True)
            rewrite(path, dice.randbytes(dice.randrange(1000, 60000)))

    def objects():
        subprocess.run("git init -q . && git config gc.auto 0 && git add -A . && "
                       "git -c user.name=x -c user.email=x@x commit -qm x && git gc -q",
                       shell=True, cwd=home.source, check=True)

    def tags():
        for path in paths(home.source, {".ogg", ".png", ".jpg", ".wav"}):
            with open(path, "ab") as file:
                file.write(b"TAG" + bytes(125))

    def remove_half():
        for path in paths(home.source)[::2]:
            if "/.git/" not in path:
                os.remove(path)

    def back():
        shutil.rmtree(home.source)
        shutil.copytree(tree, home.source, symlinks=True)

    steps = [("the first backup", back), ("200 texts edited", edit), ("all times new", touch), ("60 pictures converted", convert),
             ("folders packed", zip_folder), ("folders packed and encrypted once", encrypt_one),
             ("ten files encrypted", encrypt_few), ("400 files packed each", pack_each), ("500 files renamed", rename_all),
             ("all moved", move), ("400 files unpacked", unpack), ("an encrypted store of 300 files", store),
             ("a repository", objects), ("media tagged", tags), ("half removed", remove_half),
             ("everything as it was", back)]
    for what, step in steps:
        step()
        print("  %-36s %s" % (what, home.run(what) or "quiet"), flush=True)
    print("runs %d, alarms %s, counted %s" % (home.runs, sum(home.alarms.values()), home.counted()))


def gpg_home(folder):
    home = os.path.join(folder, "gpg")
    os.makedirs(home, 0o700, exist_ok=True)
    return home


def sums(root):
    found = {}
    for path in paths(root):
        with open(path, "rb") as file:
            found[os.path.relpath(path, root)] = hashlib.sha1(file.read()).digest()
    return found


class Attack:
    """Each step encrypts some files; the last one what is left."""

    def __init__(self, name, one, a_run=None, shuffled=False):
        self.name, self.one, self.a_run, self.shuffled = name, one, a_run, shuffled


def noise_of(path, dice, more=0):
    return dice.randbytes(os.path.getsize(path) + more)


def in_place(path, dice):
    rewrite(path, noise_of(path, dice))


def in_place_same_time(path, dice):
    status = os.stat(path)
    rewrite(path, noise_of(path, dice))
    os.utime(path, ns=(status.st_atime_ns, status.st_mtime_ns))


def with_header(path, dice):
    rewrite(path, b"ENCRYPTED BY US" + bytes(100) + noise_of(path, dice))


def renamed(ending):
    def one(path, dice):
        rewrite(path, noise_of(path, dice, 256))
        os.rename(path, path + ending)
    return one


def other_suffix(path, dice):
    rewrite(path, noise_of(path, dice, 256))
    os.rename(path, os.path.splitext(path)[0] + ".xtbl")


def by_chance(path, dice):
    rewrite(path, noise_of(path, dice, 512))
    os.rename(path, os.path.join(os.path.dirname(path), "%016x.%04x" % (dice.getrandbits(64), dice.getrandbits(16))))


def with_gpg(path, dice):
    rewrite(path, b"\x8c\x0d\x04\x09\x03\x02" + noise_of(path, dice, 60))
    os.rename(path, path + ".gpg")


ATTACKS = [Attack("in place", in_place), Attack("in place, in an order by chance", in_place, shuffled=True),
           Attack("in place, size and time kept", in_place_same_time), Attack("in place behind a header", with_header),
           Attack("renamed with a suffix", renamed(".locked")), Attack("renamed with another suffix", other_suffix),
           Attack("renamed by chance", by_chance), Attack("gpg over all", with_gpg),
           Attack("in place, 3 files a run", in_place, 3, True), Attack("renamed, 3 files a run", renamed(".locked"), 3, True)]


def attacks(folder, tree):
    for attack in ATTACKS:
        home = Home(os.path.join(folder, "attack"))
        shutil.rmtree(home.source)
        shutil.copytree(tree, home.source, symlinks=True)
        home.run("before")
        before = sums(home.source)
        dice = random.Random(attack.name)
        left = paths(home.source)
        if attack.shuffled:
            dice.shuffle(left)
        found, lost, runs = {}, {}, 0
        while len(found) < len(home.jobs) and runs < 400 and left:
            step, left = (left, []) if attack.a_run is None else (left[:attack.a_run], left[attack.a_run:])
            for path in step:
                attack.one(path, dice)
            runs += 1
            home.jobs = tuple(job for job in JOBS if job not in found)
            for job in home.run_quietly():
                found[job] = runs
                if job != "dated":
                    lost[job] = overwritten(os.path.join(folder, "attack", job), before)
            home.jobs = tuple(JOBS)
            # The size and time of what is kept tell a differential job nothing.
            if attack.one is in_place_same_time:
                break
        wanted = set(JOBS) if attack.one is not in_place_same_time else {"full"}
        missed = wanted - set(found)
        print("%-36s files %d, found in run %s, overwritten %s%s" %
              (attack.name, len(before), found, lost, ", MISSED " + " ".join(missed) if missed else ""), flush=True)


def overwritten(copy, before):
    """How many of the files that were backed up the copy does not hold any more."""
    now = sums(copy)
    return sum(now.get(path) != content for path, content in before.items())


def cost(folder, pairs):
    shutil.rmtree(folder, ignore_errors=True)
    home = Home(folder, ())
    corpus.small_files(home.source, 40000)

    def touch():
        for path in paths(home.source):
            os.utime(path)

    def nothing():
        pass
    works = [("full, the same files again", "full", "", nothing), ("full, all with new times", "full", "", touch),
             ("full, a new dated folder", "full", "<hh><nn><ss>", nothing),
             ("differential, nothing changed", "differential", "", nothing),
             ("differential, all with new times", "differential", "", touch)]
    for number, (what, kind, tags, before) in enumerate(works):
        times = {"on": [], "off": []}
        for guard in times:
            home.ctl("add", "--name", "%d %s" % (number, guard), "--type", kind, "--source", home.source, "--dest",
                     os.path.join(folder, "%d-%s" % (number, guard), tags), "--no-source-folder", "--change-guard", guard)
            home.ctl("run", "%d %s" % (number, guard))
        for pair in range(int(pairs)):
            for guard in ("on", "off") if pair % 2 else ("off", "on"):
                before()
                time.sleep(1.1)  # Each dated folder is named after its second.
                begun, used = time.perf_counter(), sum(os.times()[2:4])
                result = home.ctl("run", "%d %s" % (number, guard))
                times[guard].append((time.perf_counter() - begun, sum(os.times()[2:4]) - used))
                if result.returncode:
                    sys.exit(result.stdout)
        for kind_of_time, name in enumerate(("wall", "processor")):
            on, off = ([pair[kind_of_time] for pair in times[guard]] for guard in ("on", "off"))
            ratios = [one / other for one, other in zip(on, off)]
            print("%-34s %-9s on %.3f s, off %.3f s, ratio %.3f (%.3f to %.3f)" %
                  (what, name, statistics.median(on), statistics.median(off), statistics.median(ratios), min(ratios),
                   max(ratios)), flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--dir", default="/var/tmp/kavrel-changes")
    parser.add_argument("what", choices=["histories", "everyday", "attacks", "cost"])
    parser.add_argument("input")
    arguments = parser.parse_args()
    os.makedirs(arguments.dir, exist_ok=True)
    {"histories": histories, "everyday": everyday, "attacks": attacks, "cost": cost}[arguments.what](arguments.dir, arguments.input)


if __name__ == "__main__":
    sys.exit(main())
