"""The virtual machine whose power is cut."""
import os
import re
import socket
import subprocess
import tarfile
import time

import disk
import tree

LEAVE = 1 << 29  # the size of the disk that trees leave the machine on


class Crashed(Exception):
    """The machine has ended, or does not answer any more."""


def accelerator(kernel, archive):
    """KVM where a machine really starts with it, else emulation. Having /dev/kvm is not enough:
    inside another virtual machine it may open and yet never get a kernel to run."""
    if not os.access("/dev/kvm", os.R_OK | os.W_OK):
        return "tcg"
    probe = _qemu("kvm", kernel, archive, 128) + ["-no-reboot", "-serial", "null"]
    with subprocess.Popen(probe + ["-append", "quiet panic=-1 rdinit=/bin/false"],
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
        try:
            # The first program ends at once, the kernel panics and so ends the machine.
            return "kvm" if process.wait(8) == 0 else "tcg"
        except subprocess.TimeoutExpired:
            process.kill()
            return "tcg"


def _qemu(accel, kernel, archive, memory):
    # The machine must not outlive whoever talks to it.
    return ["setpriv", "--pdeathsig", "KILL", "qemu-system-x86_64", "-nodefaults",
            "-no-user-config", "-display", "none", "-accel", accel,
            "-cpu", "host" if accel == "kvm" else "max", "-m", str(memory),
            "-kernel", kernel, "-initrd", archive]


class Machine:
    """Boots at once; two disks at /dev/vda and /dev/vdb, whose images must be loaded before."""

    own_clock = True

    def __init__(self, folder, accel, kernel, archive, disks, memory=320):
        self.folder, self.disks = folder, disks
        self._left = os.path.join(folder, "left")
        with open(self._left, "wb") as file:
            file.truncate(LEAVE)
        port = os.path.join(folder, "port")
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(port)
            listener.listen(1)
            command = _qemu(accel, kernel, archive, memory) + [
                "-no-reboot", "-append", "quiet console=ttyS0 panic=-1 oops=panic",
                "-serial", "file:" + os.path.join(folder, "console"),
                "-device", "virtio-serial-pci", "-chardev", f"socket,id=port,path={port}",
                "-device", "virtserialport,chardev=port"]
            for number, path in enumerate(disks.sockets):
                command += ["-blockdev", f"driver=nbd,node-name=d{number},server.type=unix,"
                            f"server.path={path},export=,cache.direct=on",
                            "-device", f"virtio-blk-pci,drive=d{number}"]
            command += ["-blockdev", f"driver=file,node-name=left,filename={self._left}",
                        "-device", "virtio-blk-pci,drive=left"]
            with open(os.path.join(folder, "qemu"), "w", encoding="utf-8") as said:
                self._process = subprocess.Popen(command, stdout=said, stderr=said)
            listener.settimeout(60)
            self._port, _ = listener.accept()
        os.unlink(port)
        self._said = b""
        self._port.settimeout(90)
        self._until(rb"ready\n")

    def _until(self, pattern):
        while True:
            found = re.search(pattern, self._said)
            if found:
                before, self._said = self._said[:found.start()], self._said[found.end():]
                return before, found
            try:
                got = self._port.recv(1 << 16)
            except (TimeoutError, ConnectionError):
                got = b""
            if not got:
                raise Crashed(self.console())
            self._said += got

    def run(self, command):
        """Runs a line of shell; gives exit code, what it printed, and when its end was told."""
        self._port.sendall(command.replace("\n", "; ").encode() + b"\n")
        before, found = self._until(rb"\|end (\d+)\n")
        return int(found.group(1)), before.decode(errors="replace"), time.monotonic_ns()

    def mount(self, images, file_system):
        """None, or what went wrong."""
        self.disks.load(images)
        return self.mount_again(file_system)

    def mount_again(self, file_system):
        code, said, _ = self.run(f"load {file_system} && mount -t ext4 /dev/vda /a && "
                                 f"mount -t {file_system} /dev/vdb /b")
        return said or "does not mount" if code else None

    def umount(self):
        # A disk that nobody has open leaves nothing of it in the memory of the machine.
        self.run("umount /b 2>/dev/null; umount /a 2>/dev/null")

    def tree(self, path, keep=False):
        """All that lies below a folder of the machine, as tree.Tree."""
        # Packing costs an emulated processor far less than hashing would.
        command = f"test -d {path} && tar -C {path} -cf - . | dd of=/dev/vdc bs=1M conv=fsync"
        code, said, _ = self.run(command)
        if code:
            return None
        with open(self._left, "rb") as file:
            return tree.from_tar(tarfile.open(fileobj=file, mode="r|"), keep)

    def console(self):
        with open(os.path.join(self.folder, "console"), encoding="utf-8", errors="replace") as file:
            return "".join(file.readlines()[-15:])

    def kill(self):
        self._process.kill()

    def close(self):
        self._port.close()
        self.kill()
        self._process.wait()
