#!/usr/bin/env python3
"""Measures how kavrelctl grows: with files, with folders, with rules, with jobs.

    bench/scale.py [--dir DIR] [NAME...]
"""
import argparse
import os
import shutil
import statistics

import corpus
from bench import KAVRELCTL, REPO, Bench, Run

TIMES = 5


def median(runs, field="wall"):
    return statistics.median(getattr(run, field) for run in runs)


def repeat(bench, job):
    return [Run([KAVRELCTL, "--home", bench.home, "run", job]) for _ in range(TIMES + 1)][1:]


def report(what, value, limit):
    print(f"| {what} | {value} | {limit} |", flush=True)


def files(bench):
    """A full run into a new folder and runs that find nothing changed, a file."""
    costs, memory = {}, {}
    for count in (10_000, 1_000_000):
        source, dest = bench.fresh("tree"), bench.fresh("dest")
        corpus.small_files(source, count, largest=0)
        name = f"files {count}"
        bench.job(name, "differential", source, dest)
        first = Run([KAVRELCTL, "--home", bench.home, "run", name])
        runs = repeat(bench, name)
        costs[count] = (first.wall / count, median(runs) / count)
        memory[count] = max(run.memory for run in runs + [first])
    for i, what in enumerate(("copied", "unchanged")):
        small, large = costs[10_000][i], costs[1_000_000][i]
        report(f"a {what} file among 1,000,000, beside one among 10,000",
               f"{large * 1e6:.2f} µs : {small * 1e6:.2f} µs = {large / small:.2f}", "1.2")
    report("peak memory with 10,000 and 1,000,000 files",
           " and ".join(f"{value:.1f} MiB" for value in memory.values()), "24 MiB")


def flat(bench):
    source, dest = bench.fresh("flat"), bench.fresh("dest")
    corpus.flat_folder(source, 500_000)
    bench.job("flat", "sync", source, dest)
    first = Run([KAVRELCTL, "--home", bench.home, "run", "flat"])
    again = Run([KAVRELCTL, "--home", bench.home, "run", "flat"])
    report("one folder with 500,000 entries: mirrored, and again",
           f"{first.wall:.2f} s and {again.wall:.2f} s, {max(first.memory, again.memory):.1f} MiB",
           "24 MiB")


def rules(bench):
    source, dest = bench.fresh("tree"), bench.fresh("dest")
    corpus.small_files(source, 40_000)
    bench.job("rules", "differential", source, dest)
    Run([KAVRELCTL, "--home", bench.home, "run", "rules"])
    without = repeat(bench, "rules")
    bench.ctl("settings", "set", "ExcEnabled", "True")
    lines = [f"rule {i}\tTrue\t*\t*\\folder {i}\\*\t*.x{i}" for i in range(200)]
    with open(os.path.join(bench.home, "Exc.txt"), "w", newline="\r\n", encoding="ascii") as file:
        file.write("\n".join(lines) + "\n")
    listed = os.popen(f"'{KAVRELCTL}' --home '{bench.home}' rules list").read().count("rule ")
    assert listed == 200, listed
    ratio = median(repeat(bench, "rules")) / median(without)
    bench.ctl("settings", "set", "ExcEnabled", "False")
    report("a run that finds nothing changed, with 200 rules", f"{ratio:.2f} times", "1.10")


def excluded(bench):
    source, dest = bench.fresh("tree"), bench.fresh("dest")
    corpus.small_files(source, 40_000)
    corpus.flat_folder(os.path.join(source, "skipped"), 100_000)
    bench.ctl("rules", "reset")
    bench.ctl("rules", "add", "--name", "skip", "--file", "e#*")
    bench.job("excluded", "differential", source, dest)
    bench.ctl("settings", "set", "ExcEnabled", "True")
    Run([KAVRELCTL, "--home", bench.home, "run", "excluded"])
    logged = repeat(bench, "excluded")
    # A file in the log folder's place: the same run without a log.
    folder = os.path.join(bench.home, "Log")
    shutil.rmtree(folder)
    open(folder, "w").close()
    silent = repeat(bench, "excluded")
    os.remove(folder)
    bench.ctl("settings", "set", "ExcEnabled", "False")
    report("a run that finds 40,000 files unchanged and logs 100,000 as excluded, beside one "
           "without a log", f"{median(logged) / median(silent):.2f} times", "1.20")


def store(bench):
    bench.job("store", "full", bench.folder, bench.fresh("dest"))
    path = os.path.join(bench.home, "Backup.rtm")
    with open(path, "rb") as file:
        line = file.readlines()[-1]
    with open(path, "wb") as file:
        for i in range(10_000):
            file.write(line.replace(b"store", b"store %d" % i))
    runs = [Run([KAVRELCTL, "--home", bench.home, "edit", "store 5000", "--every", "1d"])
            for _ in range(TIMES)]
    report("a store of 10,000 jobs read and written, processor time",
           f"{median(runs, 'cpu') * 1000:.0f} ms", "50 ms")


PARTS = {part.__name__: part for part in (rules, excluded, flat, files, store)}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--dir", default=os.path.join(REPO, "build", "bench"))
    parser.add_argument("names", nargs="*", metavar="NAME", help=", ".join(PARTS))
    options = parser.parse_args()
    bench = Bench(options.dir, TIMES)
    print("| what | measured | wanted, at most |\n|---|---|---|")
    for name in options.names or PARTS:
        PARTS[name](bench)
    shutil.rmtree(bench.folder)


if __name__ == "__main__":
    main()
