#!/usr/bin/env python3
"""Measures kavrelctl beside its peers, in alternating runs on one machine.

    bench/bench.py [--pairs N] [--dir DIR] [--keep] [--disk] [NAME...]

NAME picks lines of the table. With --disk each peer's work is followed by a sync of the file system
that it wrote to, in the timed part, which brings it to where a run of kavrelctl is at its end: on the
disk. Each timed run writes into a folder of its own, and nothing of many
files is deleted before all runs are over: a file system that has just freed many inodes is slow to
give out new ones. What a run wrote is compared with its source outside the timed part.
"""
import argparse
import os
import shutil
import statistics
import subprocess
import sys
import time

import corpus

REPO = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
KAVRELCTL = os.path.join(REPO, "build", "bin", "kavrelctl")


class Run:
    def __init__(self, arguments, cwd=None, good=(0,), synced=None):
        """`synced`: a path whose file system is synced in the timed part."""
        # Memory that the machine's host has taken back costs more on first use than any copying:
        # each run finds enough that was just in use.
        subprocess.run([sys.executable, "-c", "b'1' * (3 << 29)"], check=True)
        os.sync()
        # A small program in between: what this one needs of memory would be counted as theirs.
        start = time.perf_counter()
        if synced:
            arguments = ["sh", "-c", 'to=$1; shift; "$@" && sync -f "$to"', "sh", synced, *arguments]
        done = subprocess.run(["/usr/bin/time", "-q", "-f", "%U %S %M", *arguments], cwd=cwd,
                              stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        self.wall = time.perf_counter() - start
        user, system, memory = done.stderr.split()[-3:]
        self.cpu, self.memory = float(user) + float(system), int(memory) / 1024
        if done.returncode not in good:
            sys.exit(f"{arguments}: exit code {done.returncode}\n{done.stderr}")


class Bench:
    def __init__(self, folder, pairs, disk):
        self.folder, self.pairs, self.disk, self.count = folder, pairs, disk, 0
        self.home = os.path.join(folder, "home")
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(folder)

    def fresh(self, name):
        self.count += 1
        return os.path.join(self.folder, f"{name}-{self.count}")

    def ctl(self, *arguments):
        subprocess.run([KAVRELCTL, "--home", self.home, *arguments], check=True,
                       stdout=subprocess.DEVNULL)

    def job(self, name, kind, source, dest, *options):
        self.ctl("add", "--name", name, "--type", kind, "--source", source, "--dest", dest + "/",
                 "--no-source-folder", "--adopt", *options)

    def kavrel(self, kind, source, dest, *command):
        """A timed run of a job made for it."""
        name = f"job {self.count}"
        self.job(name, kind, source, dest)
        return Run([KAVRELCTL, "--home", self.home, *(command or ("run",)), name])

    def peer(self, arguments, dest, **options):
        """A timed run of another program that writes below `dest`."""
        return Run(arguments, synced=dest if self.disk else None, **options)

    def same(self, source, dest):
        subprocess.run(["diff", "-r", "--no-dereference", "-x", ".kavrel-sums", source, dest],
                       check=True)

    def line(self, title, ours, peers):
        """`ours` and each of `peers` (name: callable) take a fresh folder and give a Run."""
        for name, peer in peers.items():
            if not shutil.which(name.split()[0]) and not name.startswith("kavrelctl"):
                continue
            results = ([], [])
            for pair in range(self.pairs + 1):
                runs = ours(self.fresh("ours")), peer(self.fresh("peer"))
                if pair > 0:  # The first one warms the caches.
                    for result, run in zip(results, runs):
                        result.append(run)
            print(row(title, name, *results), flush=True)


def row(title, name, ours, peer):
    def times(runs):
        walls = [run.wall for run in runs]
        return (f"{statistics.median(walls):.3f} ({min(walls):.3f} to {max(walls):.3f})",
                f"{statistics.median(run.cpu for run in runs):.3f}",
                f"{max(run.memory for run in runs):.0f}")
    ratio = statistics.median(a.wall / b.wall for a, b in zip(ours, peer))
    our_times, peer_times = times(ours), times(peer)
    return "| " + " | ".join([title, name, f"**{ratio:.2f}**", our_times[0], peer_times[0],
                              f"{our_times[1]} / {peer_times[1]}",
                              f"{our_times[2]} / {peer_times[2]}"]) + " |"


def full(bench, title, source, peers, drop=False, fsync=False):
    """`fsync`: rsync also with its own syncing of each file. `drop`: a copy goes when it was measured. Few files do no harm, and memory stays in use."""
    def done(run, dest):
        if drop:
            shutil.rmtree(dest)
        return run

    def ours(dest):
        run = bench.kavrel("full", source, dest)
        bench.same(source, dest)
        return done(run, dest)
    commands = {"rsync -a": lambda dest: ["rsync", "-a", source + "/", dest],
                "cp -a": lambda dest: ["cp", "-a", source, dest],
                "rclone copy": lambda dest: ["rclone", "copy", "-l", "-q", source, dest]}
    if bench.disk:
        commands["rsync -a --fsync"] = lambda dest: ["rsync", "-a", "--fsync", source + "/", dest]
        peers = [*peers, *(["rsync -a --fsync"] if fsync else [])]
    bench.line(title, ours,
               {name: (lambda dest, make=commands[name]: done(bench.peer(make(dest), dest), dest))
                for name in peers})


def small(bench):
    source = bench.fresh("small")
    corpus.small_files(source, 40000)
    full(bench, "full run, 40,000 small files", source, ["rsync -a", "cp -a", "rclone copy"],
         fsync=True)


def big(bench):
    source = bench.fresh("big")
    corpus.big_files(source)
    full(bench, "full run, 3 files of 256 MiB", source, ["rsync -a", "cp -a"], drop=True)


def sums(bench):
    """What the sums of files cost: the same run beside one without them."""
    for name, title, make in (("small", "40,000 small files", corpus.small_files),
                              ("big", "3 files of 256 MiB", corpus.big_files)):
        source = bench.fresh(name)
        make(source, *((40000,) if name == "small" else ()))

        def run(dest, *options):
            job = f"job {bench.count}"
            bench.job(job, "full", source, dest, *options)
            done = Run([KAVRELCTL, "--home", bench.home, "run", job])
            bench.same(source, dest)
            if name == "big":
                shutil.rmtree(dest)
            return done
        bench.line(f"full run with sums, {title}", run,
                   {"kavrelctl --sums off": lambda dest: run(dest, "--sums", "off")})


def real(bench):
    full(bench, "full run, /usr/share", "/usr/share", ["rsync -a"])


def unchanged(bench):
    source, dest = bench.fresh("small"), bench.fresh("copy")
    corpus.small_files(source, 40000)
    subprocess.run(["cp", "-a", source, dest], check=True)
    bench.job("unchanged", "differential", source, dest)
    bench.line("differential run, nothing changed",
               lambda _: Run([KAVRELCTL, "--home", bench.home, "run", "unchanged"]),
               {"rsync -a": lambda _: bench.peer(["rsync", "-a", source + "/", dest], dest),
                "cp -au": lambda _: bench.peer(["cp", "-auT", source, dest], dest),
                "rclone copy": lambda _: bench.peer(["rclone", "copy", "-l", "-q", source, dest],
                                                    dest)})


def mirror(bench):
    """Each copy is made by the program that brings it up to date in the timed run."""
    before, after, source = bench.fresh("before"), bench.fresh("after"), bench.fresh("source")
    corpus.small_files(before, 40000)
    corpus.changed(before, after)

    def second_run(commands):
        def run(dest):
            first, timed = commands(dest)
            os.rename(before, source)
            first()
            os.rename(source, before)
            os.rename(after, source)
            result = timed()
            os.rename(source, after)
            bench.same(after, dest)
            return result
        return run

    def ours(dest):
        name = f"job {bench.count}"
        return (lambda: bench.kavrel("sync", source, dest),
                lambda: Run([KAVRELCTL, "--home", bench.home, "run", name]))

    def peer(*command):
        def twice(dest):
            again = lambda: bench.peer([*command, source + "/", dest], dest)
            return again, again
        return twice
    bench.line("mirror run, 5 % removed, 5 % changed", second_run(ours),
               {"rsync -a --delete": second_run(peer("rsync", "-a", "--delete")),
                "rclone sync": second_run(peer("rclone", "sync", "-l", "-q"))})


def restore(bench):
    backup = bench.fresh("backup")
    corpus.small_files(backup, 40000)

    def ours(target):
        os.mkdir(target)
        run = bench.kavrel("full", target, backup, "restore")
        bench.same(backup, target)
        return run
    bench.line("restore, full, 40,000 small files", ours,
               {"rsync -a": lambda dest: bench.peer(["rsync", "-a", backup + "/", dest], dest)})


def compressed(bench):
    source = bench.fresh("pack")
    corpus.small_files(source, 8000)
    names = bench.fresh("list")
    with open(names, "w", encoding="utf-8") as file:
        for folder, _, files in os.walk(source):
            for name in files:
                file.write(os.path.relpath(os.path.join(folder, name), source) + "\n")

    def peer(dest):
        os.mkdir(dest)
        return bench.peer(["7zz", "a", "-t7z", "-m0=Deflate", "-scsUTF-8", "-spd",
                           os.path.join(dest, "a.7z"), "@" + names], dest, cwd=source)
    bench.line("compressed run, 8,000 small files",
               lambda dest: bench.kavrel("compressed", source, dest), {"7zz": peer})


def verify(bench):
    """What memory holds of a copy is dropped before each run, as our verification does itself."""
    def forget(folder):
        for path, _, files in os.walk(folder):
            for name in files:
                file = os.open(os.path.join(path, name), os.O_RDONLY)
                os.posix_fadvise(file, 0, 0, os.POSIX_FADV_DONTNEED)
                os.close(file)

    for title, make in (("40,000 small files", lambda to: corpus.small_files(to, 40000)),
                        ("3 files of 256 MiB", corpus.big_files)):
        source, dest = bench.fresh("source"), bench.fresh("copy")
        make(source)
        subprocess.run(["cp", "-a", source, dest], check=True)
        os.sync()
        bench.job(title, "differential", source, dest)

        def run(*command):
            forget(dest)
            return Run(command)
        bench.line("verification, " + title,
                   lambda _: run(KAVRELCTL, "--home", bench.home, "verify", title),
                   {"diff -r": lambda _: run("diff", "-r", "--no-dereference", source, dest),
                    "rsync -nac": lambda _: run("rsync", "-nac", source + "/", dest)})


def states(bench):
    """A further dated folder, beside those of the pairs before it, which each program made itself."""
    for title, share in (("nothing changed", None), ("1 % changed", 100)):
        source, ours_in = bench.fresh("source"), bench.fresh("dated")
        corpus.small_files(source, 40000)
        files = sorted(os.path.join(folder, name)
                       for folder, _, names in os.walk(source) for name in names)
        bench.job(title, "differential", source, ours_in + "/<yyyy>-<mm>-<dd> <hh><nn><ss>")
        command = [KAVRELCTL, "--home", bench.home, "run", title]
        Run(command)
        former = {}

        def ours(_):
            if share:
                for name in files[bench.count % share::share]:
                    with open(name, "ab") as file:
                        file.write(b"+")
            time.sleep(1)  # Each folder is named after its second.
            run = Run(command)
            bench.same(source, os.path.join(ours_in, max(os.listdir(ours_in))))
            return run

        def peer(name, make):
            def run(dest):
                if name not in former:
                    subprocess.run(["cp", "-a", source, former.setdefault(name, bench.fresh("first"))],
                                   check=True)
                result = bench.peer(make(former[name], dest), dest)
                former[name] = dest
                return result
            return run
        commands = {"rsync -a --link-dest": lambda last, dest:
                    ["rsync", "-a", "--link-dest=" + last, source + "/", dest]}
        if not share:
            commands["cp -al"] = lambda last, dest: ["cp", "-al", last, dest]
        peers = {name: peer(name, make) for name, make in commands.items()}
        repository = bench.fresh("restic")
        os.environ.update(RESTIC_PASSWORD="x", RESTIC_REPOSITORY=repository,
                          XDG_CACHE_HOME=bench.fresh("cache"))
        if shutil.which("restic"):
            for first in (["init"], ["backup", source]):
                subprocess.run(["restic", "-q", *first], check=True)
            peers["restic backup"] = lambda _: bench.peer(["restic", "-q", "backup", source],
                                                          repository)
        bench.line("new dated folder, 40,000 small files, " + title, ours, peers)


LINES = {line.__name__: line
         for line in (small, unchanged, mirror, big, sums, real, restore, compressed, verify, states)}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--pairs", type=int, default=7)
    parser.add_argument("--dir", default=os.path.join(REPO, "build", "bench"))
    parser.add_argument("--disk", action="store_true", help="peers sync what they wrote")
    parser.add_argument("--keep", action="store_true", help="leave the folders, for a further run")
    parser.add_argument("names", nargs="*", metavar="NAME", help=", ".join(LINES))
    options = parser.parse_args()
    bench = Bench(options.dir, options.pairs, options.disk)
    print("| work | against | ratio | ours, s | theirs, s | processor, s | memory, MiB |\n"
          "|---|---|---|---|---|---|---|")
    for name in options.names or LINES:
        LINES[name](bench)
    if not options.keep:
        subprocess.run(["rm", "-rf", options.dir], check=True)


if __name__ == "__main__":
    main()
