#!/usr/bin/env python3
"""Cuts the power of a virtual machine during runs and afterwards, and looks at every file.

    scripts/powercut [--cuts N] [--forgetful N] [--fs ext4,xfs] [--kinds full,mirror] [--seed S]

Each kind of work is run over each file system, its destination on one disk, its source and the
program folder on another. Both disks note what is written to them, so that afterwards they can be
made as they were at any moment of the run and of the 40 seconds after it. Each such cut is mounted
as after a reboot, every file is looked at, and the job is run once more, which has to put all
right.
"""
import argparse
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

import guest
import machine
import table
import worker
from host import Host, can_mount
from jobs import NAMES

REPO = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
KERNEL = os.path.join(REPO, "build", "powercut")


def lacking():
    """What this machine lacks to do any of it; empty for nothing."""
    programs = ("qemu-system-x86_64", "busybox", "7zz", "rsync", "mke2fs")
    path = os.environ["PATH"] + ":/usr/sbin:/sbin"
    gone = [name for name in programs if not shutil.which(name, path=path)]
    if gone:
        return "without " + ", ".join(gone)
    try:
        guest.fetch_kernel(KERNEL)
    except (OSError, subprocess.CalledProcessError) as error:
        return f"without a kernel: {error}"
    return ""


class Bench:
    """What all workers share."""

    def __init__(self, folder, options):
        self.heavy = threading.Lock()
        self.after = options.after
        root = os.path.join(folder, "root")
        guest.make_root(root, KERNEL, options.program)
        self.kernel, self.archive = guest.kernel(KERNEL), os.path.join(folder, "initrd")
        guest.pack(root, self.archive)
        self.accel = machine.accelerator(self.kernel, self.archive)
        self.trees = worker.Trees(folder, options.files, options.seed)
        # Where the machine's processor is real it is as fast as the host, and needs no rights.
        self._host = Host(root) if self.accel == "tcg" and can_mount("ext4") else None

    def host(self, file_system):
        return self._host if self._host and can_mount(file_system) else None

    def close(self):
        if self._host:
            self._host.close()


def work(who, queue, results, options):
    while True:
        try:
            number, file_system, name, cuts, forgetful = queue.pop(0)
        except IndexError:
            break
        keep = options.keep and os.path.join(
            options.keep, f"{number}-{file_system}-{name.replace(' ', '-')}")
        rng = random.Random(f"{options.seed} {number} {file_system} {name}")
        try:
            job, expected, done = who.record(name, file_system, rng)
            for forget, count in ((False, cuts), (True, forgetful)):
                for at, writes, told, verdict in who.judge(job, file_system, expected, done, count,
                                                           forget, rng, keep):
                    results.add(name, file_system, forget, at, writes, told, verdict)
        except Exception as error:  # Whatever it is: this run proves nothing, the others go on.
            if not who.stopped:
                results.failed(name, file_system, error)
            who.close()
    who.close()


def plan(options):
    """What is recorded: number, file system, kind, cuts, cuts of a forgetful disk."""
    pairs = [(fs, name) for name in options.kinds for fs in options.fs]
    rounds = max(1, -(-options.cuts // (len(pairs) * options.each)))
    shares = len(pairs) * rounds
    return [(number, *pairs[number % len(pairs)],
             (number + 1) * options.cuts // shares - number * options.cuts // shares,
             (number + 1) * options.forgetful // shares - number * options.forgetful // shares)
            for number in range(shares)]


def listed(known):
    def parse(text):
        names = [name for name in text.split(",") if name]
        for name in names:
            if name not in known:
                raise argparse.ArgumentTypeError(f"{name} is none of {', '.join(known)}")
        return names
    return parse


def interrupted(*_):
    # Once: a second signal must not interrupt the clearing away.
    signal.signal(signal.SIGTERM, signal.SIG_IGN)
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    sys.exit(1)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--cuts", type=int, default=550)
    parser.add_argument("--forgetful", type=int, default=None, metavar="N",
                        help="cuts of disks that lose part of what was not flushed; a quarter more")
    parser.add_argument("--fs", type=listed(worker.FILE_SYSTEMS), default=worker.FILE_SYSTEMS)
    parser.add_argument("--kinds", type=listed(NAMES), default=NAMES)
    parser.add_argument("--seed", default=str(int(time.time())))
    parser.add_argument("--files", type=int, default=800, help="files in the source")
    parser.add_argument("--each", type=int, default=12, help="at most so many cuts of one run")
    parser.add_argument("--after", type=float, default=worker.AFTER,
                        help="seconds after a run in which it is cut")
    parser.add_argument("--workers", type=int, default=4)
    parser.add_argument("--keep", metavar="DIR", help="keeps the disks of bad cuts there, as they "
                        "were before anything looked at them")
    parser.add_argument("--program", default=os.path.join(REPO, "build", "bin", "kavrelctl"))
    parser.add_argument("--quick", action="store_true", help="a dozen cuts on ext4")
    options = parser.parse_args()
    if options.quick:
        options.cuts, options.forgetful, options.fs = 12, 0, ["ext4"]
        options.kinds, options.each, options.files = ["full", "mirror"], 6, 400
        options.workers, options.after = 2, 36  # longer than anything waits to be written
    if options.forgetful is None:
        options.forgetful = options.cuts // 4
    if options.keep:
        os.makedirs(options.keep, exist_ok=True)

    gone = lacking()
    if gone:
        # Among other tests a skipped one is no failed one.
        print(f"power cuts: skipped, {gone}")
        sys.exit(0 if options.quick else 1)
    signal.signal(signal.SIGTERM, interrupted)
    signal.signal(signal.SIGINT, interrupted)
    if not os.access(options.program, os.X_OK):
        sys.exit(f"{options.program} is no program")
    results = table.Results(options.quick)
    in_memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    folder = tempfile.mkdtemp(prefix="powercut-", dir=in_memory)
    bench, queue, threads, workers = None, [], [], []
    try:
        bench = Bench(folder, options)
        print(f"seed {options.seed}, "
              f"{'emulated' if bench.accel == 'tcg' else 'virtual'} processor", flush=True)
        queue += plan(options)
        for number in range(min(options.workers, len(queue))):
            place = os.path.join(folder, f"worker{number}")
            os.makedirs(place)
            workers.append(worker.Worker(place, bench))
            threads.append(threading.Thread(target=work, daemon=True,
                                            args=(workers[-1], queue, results, options)))
            threads[-1].start()
        for thread in threads:
            thread.join()
    finally:
        # When this was interrupted they are still at work, and fail now one way or another.
        queue.clear()
        for who in workers:
            who.stop()
        for thread in threads:
            thread.join()
        if bench:
            bench.close()
        # Never into what is mounted below it.
        subprocess.run(["rm", "-rf", "--one-file-system", folder], check=False)
    results.print()
    sys.exit(0 if results.good() else 1)


if __name__ == "__main__":
    main()
