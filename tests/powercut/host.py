"""A place on the host itself to look at disks: faster than a machine whose processor is emulated.
Needs the right to mount, and file systems that the host's kernel has."""
import os
import stat
import subprocess
import time

import tree


def can_mount(file_system):
    if os.geteuid() != 0 or "KAVREL_OWN_MOUNTS" not in os.environ:
        return False
    subprocess.run(["modprobe", "-q", file_system], check=False, stderr=subprocess.DEVNULL)
    with open("/proc/filesystems", encoding="ascii") as file:
        return file_system in file.read().split()


class Host:
    """Does what machine.Machine does, in a root folder of the same content. Whoever uses it lives
    in a mount namespace of its own."""

    own_clock = False

    def __init__(self, root):
        self._root = root
        self._mounted = []
        # Never the host's own /dev: whatever clears this folder away must not reach it.
        subprocess.run(["mount", "-t", "tmpfs", "tmpfs", os.path.join(root, "dev")], check=True)
        for minor, name in ((3, "null"), (5, "zero"), (8, "random"), (9, "urandom")):
            os.mknod(os.path.join(root, "dev", name), 0o666 | stat.S_IFCHR, os.makedev(1, minor))
        subprocess.run(["mount", "-t", "proc", "proc", os.path.join(root, "proc")], check=True)

    def mount(self, images, file_system):
        for name, image, kind in (("a", images[0], "ext4"), ("b", images[1], file_system)):
            place = os.path.join(self._root, name)
            options = "loop,nouuid" if kind == "xfs" else "loop"
            done = subprocess.run(["mount", "-t", kind, "-o", options, image, place],
                                  capture_output=True, text=True, check=False)
            if done.returncode:
                return done.stderr
            self._mounted.append(place)
        return None

    def umount(self):
        while self._mounted:
            subprocess.run(["umount", self._mounted.pop()], check=True)

    def run(self, command):
        done = subprocess.run(
            ["chroot", self._root, "/bin/env", "-i", "PATH=/bin", "HOME=/root", "LC_ALL=C.UTF-8",
             "/bin/sh", "-c", command], stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        return done.returncode, done.stdout.decode(errors="replace"), time.monotonic_ns()

    def tree(self, path, keep=False):
        return tree.from_folder(self._root + path, keep)

    def close(self):
        self.umount()
        for name in ("dev", "proc"):
            subprocess.run(["umount", os.path.join(self._root, name)], check=True)
