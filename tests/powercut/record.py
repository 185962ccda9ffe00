"""What was written during one run, and the disks as they were at any moment of it."""
import mmap
import os
import pickle

import disk

PIECE = 4096


class Record:
    def __init__(self, folder):
        """`began`, `told` (when the run had said that it is done) and `ended` are set by who
        records: nanoseconds of the monotonic clock."""
        self.folder = folder
        self.began = self.told = self.ended = 0
        with open(os.path.join(folder, "index"), "rb") as file:
            self.entries = pickle.load(file)
        with open(os.path.join(folder, "data"), "rb") as file:
            size = os.fstat(file.fileno()).st_size
            self._data = mmap.mmap(file.fileno(), size, prot=mmap.PROT_READ) if size else b""

    def upto(self, moment):
        """How many writes and flushes were completed by then."""
        return sum(entry[0] <= moment for entry in self.entries)

    def rebuild(self, count, images, rng=None):
        """Makes the disks as they were after the first `count` writes and flushes. With `rng` the
        disks had a cache that forgets: of what came after the last flush of each disk only a random
        part is there, down to pieces of a write."""
        for number, image in enumerate(images):
            disk.sparse_copy(os.path.join(self.folder, f"start{number}"), image)
            mine = [entry for entry in self.entries[:count] if entry[1] == number]
            flushed = max((at for at, entry in enumerate(mine, 1) if entry[2] == disk.FLUSH),
                          default=0)
            fd = os.open(image, os.O_RDWR)
            for at, (_, _, offset, length, where) in enumerate(mine):
                if offset == disk.FLUSH:
                    continue
                if at < flushed or rng is None:
                    os.pwrite(fd, self._data[where:where + length], offset)
                    continue
                fate = rng.random()
                for piece in range(0, length, PIECE):
                    if fate < 0.4 or fate > 0.8 and rng.random() < 0.5:
                        end = min(length, piece + PIECE)
                        os.pwrite(fd, self._data[where + piece:where + end], offset + piece)
            os.close(fd)


def moments(record, count, rng):
    """`count` moments to cut at, as numbers of completed writes, each with its time.

    Some are even in time during the run and some even over its writes; the others lie up to the end
    of the record, half of them in the first seconds after the run's end.
    """
    result = []
    writes = [entry for entry in record.entries if entry[2] != disk.FLUSH]
    after = record.ended - record.told
    first = rng.randrange(5)
    for number in range(first, first + count):
        draw = rng.random()
        if number % 5 in (0, 2):
            moment = record.began + draw * (record.told - record.began)
        elif number % 5 == 4 and writes:
            moment = writes[int(draw * len(writes))][0]
        elif number % 5 == 1:
            moment = record.told + draw * min(after, 6e9)
        else:
            moment = record.told + draw * after
        result.append((int(moment), record.upto(moment)))
    return result
