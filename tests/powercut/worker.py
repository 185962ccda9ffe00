"""One run with its cuts: prepared and recorded in a virtual machine, then judged cut by cut."""
import os
import random
import shutil
import subprocess
import threading
import time

import corpus
import disk
import judge
import machine
import record
from jobs import FATS, jobs

SIZE = 320 << 20  # XFS takes nothing smaller
AFTER = 40        # seconds after the end of a run in which it is cut

_MAKE = {"ext4": ["mke2fs", "-q", "-t", "ext4"], "xfs": ["mkfs.xfs", "-q"],
         "btrfs": ["mkfs.btrfs", "-q"], "vfat": ["mkfs.vfat", "-F", "32"],
         "exfat": ["mkfs.exfat"]}
_REPAIR = {"vfat": ["fsck.vfat", "-a"], "exfat": ["fsck.exfat", "-y"]}
FILE_SYSTEMS = list(_MAKE)


class Failed(Exception):
    """What must work before any cut did not."""


def make_file_system(kind, image, folder=None):
    """With `folder` an ext4 that holds its content."""
    with open(image, "wb") as file:
        file.truncate(SIZE)
    command = _MAKE[kind] + (["-d", folder] if folder else []) + [image]
    _tool(command)


def _tool(command, good=(0,)):
    """A tool of a file system; users' paths may not lead to these."""
    done = subprocess.run(command, capture_output=True, text=True, check=False,
                          env={**os.environ, "PATH": os.environ["PATH"] + ":/usr/sbin:/sbin"})
    if done.returncode not in good:
        raise Failed(f"{command}: {done.returncode}: {done.stdout[-500:]}{done.stderr[-500:]}")


class Trees:
    """The two source trees as an image, made once for each kind of change."""

    def __init__(self, folder, count, seed):
        self._folder, self._count, self._seed, self._made = folder, count, seed, {}
        self._lock = threading.Lock()

    def get(self, changed, file_system):
        """The image, and the entries of the first and the second tree."""
        with_links = file_system not in FATS
        # Only a machine can look at FATs where its processor is emulated: fewer files for them.
        count = self._count if with_links else self._count // 2
        with self._lock:
            key = (changed, with_links)
            if key not in self._made:
                place = os.path.join(self._folder, f"trees-{changed}-{with_links}")
                files = corpus.plan(count, changed, self._seed)
                trees = [corpus.make_tree(os.path.join(place, name), files, which, changed,
                                          with_links) for which, name in enumerate(("one", "two"))]
                make_file_system("ext4", place + ".img", place)
                shutil.rmtree(place)
                self._made[key] = (place + ".img", *trees)
            return self._made[key]


class Worker:
    """A virtual machine, and what it does in turn. Of all workers one works at a time; that time
    passes after the end of a run needs nobody."""

    def __init__(self, folder, bench):
        self.folder, self.bench = folder, bench
        self._boots = 0
        self._machine = None
        self._stop = threading.Event()

    @property
    def stopped(self):
        return self._stop.is_set()

    def stop(self):
        """From another thread: what it is at fails."""
        self._stop.set()
        if self._machine:
            self._machine.kill()

    def close(self):
        if self._machine:
            self._machine.close()
            self._machine.disks.close()
            self._machine = None

    def _boot(self):
        if self._stop.is_set():
            raise Failed("stopped")
        if self._machine is None:
            self._boots += 1
            place = os.path.join(self.folder, f"machine{self._boots}")
            os.makedirs(place)
            disks = disk.Disks(place, [SIZE, SIZE])
            try:
                self._machine = machine.Machine(place, self.bench.accel, self.bench.kernel,
                                                self.bench.archive, disks)
            except BaseException:
                # Who serves the disks would be waited for at the end, for ever.
                disks.close()
                raise
        return self._machine

    def _must(self, line):
        code, said, _ = self._machine.run(line)
        if code:
            raise Failed(f"{line}: {code}: {said}")

    def _pass(self, seconds):
        """Lets the machine's time pass."""
        if self._stop.wait(max(0, seconds)):
            raise Failed("stopped")

    def record(self, name, file_system, rng):
        """A recorded run: the job, what is expected of it, and the record."""
        job = jobs(file_system)[name]
        image, one, two = self.bench.trees.get(job.changed, file_system)
        place = os.path.join(self.folder, "record")
        shutil.rmtree(place, ignore_errors=True)
        os.makedirs(place)
        images = [os.path.join(self.folder, number) for number in "ab"]
        with self.bench.heavy:
            vm = self._boot()
            disk.sparse_copy(image, images[0])
            make_file_system(file_system, images[1])
            wrong = vm.mount(images, file_system)
            if wrong:
                raise Failed(wrong)
            runs = 0
            for line in job.before:
                if line == "RUN":
                    line = job.runs_at(runs)
                    runs += 1
                self._must(line)
            self._must("sync; umount /b && umount /a")
            wrong = vm.mount_again(file_system)
            old, home_old = vm.tree(job.target), vm.tree("/a/home", keep=True)
            # The system's own rhythm of writing begins with the first write: the run is to begin at
            # any moment of it.
            self._must("date >/a/began; date >/b/began")
        self._pass(rng.random() * 5)
        with self.bench.heavy:
            vm.disks.record(place)
            began = time.monotonic_ns()
            code, said, told = vm.run(job.runs_at(runs))
        if code:
            raise Failed(f"{job.run}: {code}: {said}")
        self._pass(self.bench.after - (time.monotonic_ns() - told) / 1e9)
        vm.disks.stop(place)
        done = record.Record(place)
        done.began, done.told, done.ended = began, told, time.monotonic_ns()
        with self.bench.heavy:
            final, home = vm.tree(job.target), vm.tree("/a/home", keep=True)
            expected = _expected(job, old, final, one, two, home_old, home)
            if job.archives:
                wrong = judge.archive(vm, job.target + max(final), expected.source)
                if wrong:
                    raise Failed("; ".join(wrong[:5]))
            vm.umount()
        return job, expected, done

    def judge(self, job, file_system, expected, done, count, forget, rng, keep=None):
        """The verdicts over `count` cuts, each with how it was made. `keep` begins the names under
        which the disks of bad cuts are kept."""
        # The archives of one hour replace each other: that takes the clock of the run.
        host = None if job.archives else self.bench.host(file_system)
        images = [os.path.join(self.folder, "cut" + number) for number in "ab"]
        for moment, writes in record.moments(done, count, rng):
            verdict = judge.Verdict()
            told = moment > done.told
            with self.bench.heavy:
                # A machine that the last cut has crashed is booted anew.
                place = host or self._boot()
                seed = rng.random()
                done.rebuild(writes, images, random.Random(seed) if forget else None)
                try:
                    wrong = place.mount(images, file_system)
                    if wrong:
                        verdict.looked = len(expected.old)
                        verdict.losses = [f"{path}: {wrong}" for path in expected.old]
                    else:
                        judge.after_cut(place, job, expected, told, verdict)
                        if not job.peer:
                            self._repair(place, images, file_system)
                            judge.after_next_run(place, job, expected, verdict)
                    place.umount()
                except machine.Crashed as error:
                    verdict.unhealed.append(f"the system hangs or crashed: {error}")
                    self.close()
                except Failed as error:
                    verdict.unhealed.append(str(error))
                    place.umount()
            if keep and verdict.wrongs():
                done.rebuild(writes, [f"{keep}-{writes}{'-forgetful' * forget}-{disk}.img"
                                      for disk in "ab"], random.Random(seed) if forget else None)
            yield (moment - done.told) / 1e9, writes, told, verdict

    @staticmethod
    def _repair(place, images, file_system):
        """What a system does with a FAT that was not unmounted, before it is written to again. The
        others put themselves right when they are mounted."""
        if file_system in _REPAIR:
            place.umount()
            _tool(_REPAIR[file_system] + [images[1]], good=(0, 1))
            wrong = place.mount(images, file_system)
            if wrong:
                raise Failed(wrong)


def _expected(job, old, final, one, two, home_old, home_new):
    """Also makes sure that the undisturbed run did what it has to, as seen by the live system."""
    source = one if job.new == "one" else two
    if job.archives:
        new = dict(final)
    else:
        new = dict(source)
        if job.dated:
            folders = sorted({path.split("/")[0] for path in old} |
                             {path.split("/")[0] for path in final})
            new = {f"{folders[-1]}/{path}": entry for path, entry in source.items()}
            new.update({path: entry for path, entry in old.items()
                        if path.split("/")[0] in folders[-2:]})
        elif not job.removes:
            new = {**old, **new}
        wrong = [path for path in new.keys() | final.keys()
                 if path not in new or not new[path].same_with_time(final.get(path))]
        if wrong:
            raise Failed(f"{job.name}: wrong without any cut: {wrong[:10]}")
    return judge.Expected(old, new, home_old.kept if home_old else {},
                          home_new.kept if home_new else {}, source)
