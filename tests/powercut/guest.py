"""What the virtual machine starts from: Debian's kernel, and a small root folder that also serves
for looks at the disks on the host itself."""
import glob
import os
import re
import shutil
import stat
import subprocess

HERE = os.path.dirname(os.path.abspath(__file__))
# The kernel loads what a file system asks for by itself (its tables of letters) only where there is
# a program for it, so all are named.
MODULES = {"start": ("virtio_pci", "virtio_blk", "virtio_console"), "ext4": (), "xfs": ("xfs",),
           "btrfs": ("btrfs",), "vfat": ("vfat", "nls_cp437", "nls_ascii", "nls_utf8"),
           "exfat": ("exfat", "nls_utf8")}


def fetch_kernel(folder):
    """Unpacks the kernel that Debian's linux-image-cloud-amd64 stands for; installs nothing."""
    if glob.glob(os.path.join(folder, "kernel", "boot", "vmlinuz-*")):
        return
    depends = subprocess.run(["apt-cache", "depends", "linux-image-cloud-amd64"], check=True,
                             capture_output=True, text=True).stdout
    package = re.search(r"Depends: (linux-image-\S+)", depends).group(1)
    os.makedirs(folder, exist_ok=True)
    subprocess.run(["apt-get", "-q", "-o", "APT::Sandbox::User=root", "download", package],
                   cwd=folder, check=True, stdout=subprocess.DEVNULL)
    unpacked = os.path.join(folder, "kernel.part")
    shutil.rmtree(unpacked, ignore_errors=True)
    for path in glob.glob(os.path.join(folder, package + "_*.deb")):
        subprocess.run(["dpkg", "-x", path, unpacked], check=True)
        os.unlink(path)
    os.rename(unpacked, os.path.join(folder, "kernel"))


def kernel(folder):
    return glob.glob(os.path.join(folder, "kernel", "boot", "vmlinuz-*"))[0]


def _modules(folder, names):
    """The files of these modules, each after those that it depends on."""
    paths = {}
    for path in glob.glob(os.path.join(folder, "kernel", "lib", "modules", "**", "*.ko"),
                          recursive=True):
        paths[os.path.basename(path)[:-3].replace("-", "_")] = path
    order = []

    def add(name):
        path = paths.get(name.replace("-", "_"))
        if path is None or path in order:
            return  # Built into the kernel, or there already.
        with open(path, "rb") as file:
            found = re.search(rb"\0depends=([^\0]*)\0", file.read())
        for needed in found.group(1).decode().split(",") if found else ():
            add(needed)
        order.append(path)
    for name in names:
        add(name)
    return order


def _program(root, path, name=None):
    """Copies a program and the libraries that it loads."""
    target = os.path.join(root, "bin", name or os.path.basename(path))
    shutil.copy(path, target)
    listed = subprocess.run(["ldd", path], capture_output=True, text=True, check=False).stdout
    for library in re.findall(r"(/\S+) \(0x", listed):
        there = root + library
        if not os.path.exists(there):
            os.makedirs(os.path.dirname(there), exist_ok=True)
            shutil.copy(library, there)


def make_root(root, folder, kavrelctl):
    """`folder` holds the kernel; `kavrelctl` is the program under test."""
    for name in ("bin", "usr", "dev", "proc", "sys", "tmp", "root", "etc", "a", "b", "modules"):
        os.makedirs(os.path.join(root, name))
    os.symlink("../bin", os.path.join(root, "usr", "bin"))
    busybox = os.path.join(root, "bin", "busybox")
    shutil.copy("/bin/busybox", busybox)
    for applet in subprocess.run([busybox, "--list"], capture_output=True, text=True,
                                 check=True).stdout.split():
        if applet != "busybox":
            os.symlink("busybox", os.path.join(root, "bin", applet))
    os.unlink(os.path.join(root, "bin", "cp"))
    _program(root, kavrelctl, "kavrelctl")
    for name in ("7zz", "rsync", "cp"):
        _program(root, shutil.which(name))
    with open(os.path.join(root, "etc", "passwd"), "w", encoding="ascii") as out:
        out.write("root:x:0:0:root:/root:/bin/sh\n")
    for what, names in MODULES.items():
        with open(os.path.join(root, "modules", what), "w", encoding="ascii") as out:
            for path in _modules(folder, names):
                shutil.copy(path, os.path.join(root, "modules"))
                out.write(os.path.basename(path) + "\n")
    init = os.path.join(root, "init")
    shutil.copy(os.path.join(HERE, "guest.sh"), init)
    os.chmod(init, 0o755)


def pack(root, archive):
    """The root folder as the cpio archive that the kernel unpacks when it starts."""
    with open(archive, "wb") as out:
        number = 0

        def entry(name, mode, data):
            nonlocal number
            number += 1
            fields = (number, mode, 0, 0, 1, 0, len(data), 0, 0, 0, 0, len(name) + 1, 0)
            out.write(b"070701" + "".join(f"{field:08X}" for field in fields).encode())
            out.write(name + b"\0" + b"\0" * (-(110 + len(name) + 1) % 4))
            out.write(data + b"\0" * (-len(data) % 4))

        for at, folders, names in os.walk(root):
            for name in folders + names:
                path = os.path.join(at, name)
                mode = os.lstat(path).st_mode
                data = b""
                if stat.S_ISLNK(mode):
                    data = os.readlink(path).encode()
                elif stat.S_ISREG(mode):
                    with open(path, "rb") as file:
                        data = file.read()
                entry(os.path.relpath(path, root).encode(), mode, data)
        entry(b"TRAILER!!!", 0, b"")
