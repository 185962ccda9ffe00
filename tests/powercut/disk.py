"""The disks whose power is cut: a server of block devices that notes every write it has completed.

The virtual machine writes to them over the NBD protocol. One process serves both disks of a machine
and puts the writes of both, with their times, into one order. What the disks held at any moment can
so be rebuilt afterwards: exactly what had been completed by then, and nothing later.
"""
import multiprocessing
import os
import pickle
import signal
import socket
import struct
import threading
import time

FLUSH = -1  # in the place of an offset

_MAGIC, _OPTION, _REPLY = 0x4e42444d41474943, 0x49484156454f5054, 0x3e889045565a9
_OPT_ABORT, _OPT_GO = 2, 7
_ACK, _INFO, _UNSUPPORTED = 1, 3, (1 << 31) + 1
_READ, _WRITE, _DISCONNECT, _FLUSH = range(4)
_HAS_FLAGS, _SEND_FLUSH = 1, 4


def sparse_copy(source, target):
    """Copies what a file holds and leaves its holes out."""
    with open(source, "rb") as src, open(target, "wb") as out:
        size = os.fstat(src.fileno()).st_size
        os.truncate(out.fileno(), size)
        at = 0
        while at < size:
            try:
                at = os.lseek(src.fileno(), at, os.SEEK_DATA)
            except OSError:  # Nothing but a hole follows.
                break
            end = os.lseek(src.fileno(), at, os.SEEK_HOLE)
            os.lseek(out.fileno(), at, os.SEEK_SET)
            while at < end:
                at += os.sendfile(out.fileno(), src.fileno(), at, end - at)


class _Disk:
    def __init__(self, number, log, lock):
        self.number, self.log, self.lock, self.file = number, log, lock, None

    def load(self, path):
        if self.file is not None:
            os.close(self.file)
        self.file = os.open(path, os.O_RDWR)

    def serve(self, listener, size):
        connection, _ = listener.accept()
        try:
            self._greet(connection, size)
            self._serve(connection)
        except (ConnectionError, EOFError):
            pass  # The machine has ended.

    def _greet(self, connection, size):
        connection.sendall(struct.pack(">QQH", _MAGIC, _OPTION, 3))
        _take(connection, 4)
        while True:
            _, option, length = struct.unpack(">QII", _take(connection, 16))
            _take(connection, length)
            if option == _OPT_GO:
                info = struct.pack(">HQH", 0, size, _HAS_FLAGS | _SEND_FLUSH)
                connection.sendall(struct.pack(">QIII", _REPLY, option, _INFO, len(info)) + info)
                connection.sendall(struct.pack(">QIII", _REPLY, option, _ACK, 0))
                return
            kind = _ACK if option == _OPT_ABORT else _UNSUPPORTED
            connection.sendall(struct.pack(">QIII", _REPLY, option, kind, 0))

    def _serve(self, connection):
        while True:
            head = _take(connection, 28)
            _, _, kind, handle, offset, length = struct.unpack(">IHHQQI", head)
            data = b""
            if kind == _DISCONNECT:
                return
            if kind == _WRITE:
                written = _take(connection, length)
                with self.lock:
                    os.pwrite(self.file, written, offset)
                    self.log.add(self.number, offset, written)
            elif kind == _READ:
                # Nothing is loaded while the machine boots and looks for partitions.
                data = bytes(length) if self.file is None else \
                    os.pread(self.file, length, offset)
            elif kind == _FLUSH:
                with self.lock:
                    self.log.add(self.number, FLUSH, b"")
            connection.sendall(struct.pack(">IIQ", 0x67446698, 0, handle) + data)


def _take(connection, length):
    data = bytearray(length)
    view, got = memoryview(data), 0
    while got < length:
        count = connection.recv_into(view[got:])
        if not count:
            raise EOFError
        got += count
    return data


class _Log:
    """Appends the data of writes to a file, and remembers when which came."""

    def __init__(self):
        self.entries, self.file, self.size = None, None, 0

    def begin(self, path):
        self.entries, self.file, self.size = [], open(path, "wb", buffering=0), 0

    def add(self, disk, offset, data):
        if self.entries is None:
            return
        self.entries.append((time.monotonic_ns(), disk, offset, len(data), self.size))
        self.file.write(data)
        self.size += len(data)

    def end(self, path):
        self.file.close()
        with open(path, "wb") as out:
            pickle.dump(self.entries, out)
        self.entries = None


def _run(listeners, sizes, control):
    # It ends when the other side of `control` does.
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    signal.signal(signal.SIGTERM, signal.SIG_IGN)
    lock, log = threading.Lock(), _Log()
    disks = [_Disk(number, log, lock) for number in range(len(listeners))]
    for disk, listener, size in zip(disks, listeners, sizes):
        threading.Thread(target=disk.serve, args=(listener, size), daemon=True).start()
    while True:
        try:
            command, arguments = control.recv()
        except EOFError:
            return
        with lock:
            if command == "load":
                for disk, path in zip(disks, arguments):
                    disk.load(path)
            elif command == "record":
                images, copies, data = arguments
                for image, copy in zip(images, copies):
                    sparse_copy(image, copy)
                log.begin(data)
            elif command == "stop":
                log.end(arguments)
        control.send(None)


class Disks:
    """Disks of the given sizes, each at a socket in `folder`."""

    def __init__(self, folder, sizes):
        self.folder, self.sockets, self._images = folder, [], []
        listeners = []
        for number in range(len(sizes)):
            path = os.path.join(folder, f"disk{number}")
            listener = socket.socket(socket.AF_UNIX)
            listener.bind(path)
            listener.listen(1)
            listeners.append(listener)
            self.sockets.append(path)
        self._control, theirs = multiprocessing.Pipe()
        self._process = multiprocessing.Process(target=_run, args=(listeners, sizes, theirs),
                                                daemon=True)
        self._process.start()
        theirs.close()
        for listener in listeners:
            listener.close()

    def _ask(self, command, arguments):
        self._control.send((command, arguments))
        self._control.recv()

    def load(self, images):
        """From now on the disks are these files. The machine must not use them at this moment."""
        self._images = images
        self._ask("load", images)

    def record(self, folder):
        """Keeps the disks as they are now in `folder`, and all that is written from now on."""
        copies = [os.path.join(folder, f"start{number}") for number in range(len(self._images))]
        self._ask("record", (self._images, copies, os.path.join(folder, "data")))

    def stop(self, folder):
        self._ask("stop", os.path.join(folder, "index"))

    def close(self):
        self._control.close()
        self._process.join(10)
        if self._process.is_alive():
            self._process.kill()
            self._process.join()
