#!/usr/bin/env python3
"""Measures what the window costs, on an X server in memory: bench/window.py [--runs N] [--files N]

Start-up: the processor time of kavrel over an empty program folder until its window is in sight.
A run: the share of its time that a job of small files spends on showing itself in the window.
"""
import argparse
import os
import shutil
import statistics
import subprocess
import tempfile
import time

REPO = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BIN = os.path.join(REPO, "build", "bin")
TICK = os.sysconf("SC_CLK_TCK")


def cpu_of(pid):
    with open(f"/proc/{pid}/stat") as stat:
        fields = stat.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / TICK


def window_in_sight():
    found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", "^Kavrel Ver"],
                           capture_output=True, text=True)
    return found.stdout.strip() != ""


def start_up(folder):
    home = tempfile.mkdtemp(dir=folder)
    process = subprocess.Popen([f"{BIN}/kavrel", "--home", home], stderr=subprocess.DEVNULL)
    while not window_in_sight():
        time.sleep(0.01)
    spent = cpu_of(process.pid)
    process.terminate()
    process.wait()
    return spent


def show_run(folder, files, runs):
    source = os.path.join(folder, "source")
    for i in range(files):
        place = os.path.join(source, str(i // 500))
        os.makedirs(place, exist_ok=True)
        with open(os.path.join(place, f"file {i}.txt"), "wb") as file:
            file.write(os.urandom(4096))
    ratios = []
    for run in range(runs + 1):
        took = []
        for how in ("shown", "headless", "measured"):
            os.sync()
            done = subprocess.run([f"{BIN}/window_bench", source,
                                   os.path.join(folder, f"{how} {run}"), how],
                                  check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                  text=True)
            took.append(float(done.stdout.split()[3]))
            say(f"{how}: {done.stdout.strip()}")
        if run > 0:  # The first one warms the caches.
            ratios.append(took[0] / took[1])
    say(f"shown beside headless: {statistics.median(ratios):.2f} "
        f"({min(ratios):.2f} to {max(ratios):.2f})")


def say(text):
    print(text, flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--files", type=int, default=20000)
    options = parser.parse_args()
    reader, writer = os.pipe()
    server = subprocess.Popen(["Xvfb", "-displayfd", str(writer), "-screen", "0", "1280x800x24",
                               "-noreset"],
                              pass_fds=[writer], stderr=subprocess.DEVNULL)
    os.environ["DISPLAY"] = ":" + os.read(reader, 16).decode().strip()
    os.environ["QT_QPA_PLATFORM"] = "xcb"
    folder = tempfile.mkdtemp(prefix="kavrel-bench-")
    try:
        spent = [start_up(folder) for _ in range(options.runs)]
        say(f"start-up: {1000 * statistics.median(spent):.0f} ms of processor time "
              f"({', '.join(f'{1000 * s:.0f}' for s in spent)})")
        show_run(folder, options.files, options.runs)
    finally:
        server.terminate()
        shutil.rmtree(folder)


main()
