#!/usr/bin/env python3
"""Measures what many dated folders of a job cost.

    bench/states.py [--dir DIR] [room] [removal] [versions] [memory]

room: disk that 30 states take, each with 2 % of its files changed and once one folder of half the
size renamed, beside restic's repository of the same. removal: thinning away 100 states, beside
rm -rf of as many. versions: the versions of one file over 365 states. memory: the most that a run of
1,000,000 files uses which links them all.
"""
import argparse
import os
import random
import shutil
import subprocess
import time

import bench
import corpus

STAMP = "<yyyy>-<mm>-<dd> <hh><nn><ss>"


class States:
    """A job with a state a second."""

    def __init__(self, folder, files, largest=8192):
        self.bench = bench.Bench(folder, 1, False)
        self.source, self.dest = os.path.join(folder, "source"), os.path.join(folder, "states")
        corpus.small_files(self.source, files, largest=largest)
        self.bench.job("job", "differential", self.source, os.path.join(self.dest, STAMP))

    def command(self, *arguments):
        return [bench.KAVRELCTL, "--home", self.bench.home, *arguments]

    def run(self):
        begun = int(time.time())
        run = bench.Run(self.command("run", "job"))
        while int(time.time()) == begun:  # Each folder is named after its second.
            time.sleep(0.01)
        return run

    def names(self):
        return sorted(os.listdir(self.dest))


def used(path):
    return int(subprocess.run(["du", "-s", "--block-size=1", path], check=True, text=True,
                              stdout=subprocess.PIPE).stdout.split()[0])


def room(folder):
    states = States(folder, 4000, largest=65536)
    environment = dict(os.environ, RESTIC_PASSWORD="x", XDG_CACHE_HOME=os.path.join(folder, "cache"),
                       RESTIC_REPOSITORY=os.path.join(folder, "restic"))
    def restic(*arguments):
        subprocess.run(["restic", "-q", *arguments], check=True, env=environment)
    restic("init")
    half = os.path.join(states.source, "half")
    os.mkdir(half)
    groups = sorted(name for name in os.listdir(states.source) if name != "half")
    for name in groups[:max(1, len(groups) // 2)]:
        os.rename(os.path.join(states.source, name), os.path.join(half, name))
    rng = random.Random(7)
    for number in range(30):
        if number == 15:
            os.rename(half, os.path.join(states.source, "renamed"))
        if number:
            files = sorted(os.path.join(at, name) for at, _, names in os.walk(states.source)
                           for name in names)
            for path in rng.sample(files, len(files) // 50):
                with open(path, "r+b") as file:
                    file.write(rng.randbytes(os.path.getsize(path)))
        states.run()
        restic("backup", states.source)
    ours, theirs = used(states.dest), used(environment["RESTIC_REPOSITORY"])
    return f"30 states, MiB: {ours >> 20}, restic {theirs >> 20}: {ours / theirs:.2f}"


def removal(folder):
    states = States(folder, 40000)
    for _ in range(101):
        states.run()
    copy = os.path.join(folder, "copy")
    names = states.names()
    os.mkdir(copy)
    # States of the peer's own, which share files as ours do.
    subprocess.run(["cp", "-a", os.path.join(states.dest, names[0]), os.path.join(copy, "0")], check=True)
    for number in range(1, 101):
        subprocess.run(["cp", "-al", os.path.join(copy, str(number - 1)),
                        os.path.join(copy, str(number))], check=True)
    os.sync()
    base = states.run().wall
    states.bench.ctl("edit", "job", "--keep", "2", "--delete-old")
    run = states.run()
    if len(states.names()) != 2:
        raise SystemExit(f"left: {states.names()}")
    start = time.perf_counter()
    subprocess.run(["sh", "-c", 'rm -rf "$@" && sync -f "$0"', copy,
                    *(os.path.join(copy, str(number)) for number in range(101))], check=True)
    theirs = time.perf_counter() - start
    ours = run.wall - base
    return f"removing 101 states of 40,000 files, s: {ours:.1f}, rm -rf {theirs:.1f}: {ours / theirs:.2f}"


def versions(folder):
    states = States(folder, 50)
    path = next(os.path.join(at, names[0]) for at, _, names in os.walk(states.source) if names)
    for number in range(365):
        if number % 10 == 0:
            with open(path, "ab") as file:
                file.write(b"+")
        states.run()
    walls = []
    for _ in range(7):
        start = time.perf_counter()
        subprocess.run(states.command("versions", "job", os.path.relpath(path, states.source)),
                       check=True, stdout=subprocess.DEVNULL)
        walls.append(time.perf_counter() - start)
    return f"versions of one file over 365 states, s: {sorted(walls)[3]:.3f}"


def memory(folder):
    states = States(folder, 50)
    for number in range(100):
        corpus.flat_folder(os.path.join(states.source, f"many {number}"), 10000)
    first, second = states.run(), states.run()
    return (f"1,000,000 files, peak MiB: copied {first.memory:.0f}, linked {second.memory:.0f}; "
            f"s: {first.wall:.1f}, {second.wall:.1f}")


LINES = {line.__name__: line for line in (room, removal, versions, memory)}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--dir", default=os.path.join(bench.REPO, "build", "bench-states"))
    parser.add_argument("names", nargs="*", metavar="NAME", help=", ".join(LINES))
    options = parser.parse_args()
    for name in options.names or LINES:
        print(LINES[name](options.dir), flush=True)
        shutil.rmtree(options.dir)


if __name__ == "__main__":
    main()
