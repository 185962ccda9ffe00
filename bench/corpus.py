"""Trees to measure with: the same numbers and names on every machine, with Chinese names among
them."""
import os
import random
import shutil

BLOCK = 1 << 20


def _fill(path, size, rng):
    with open(path, "wb") as file:
        while size > 0:
            file.write(rng.randbytes(min(size, BLOCK)))
            size -= BLOCK


def small_files(root, count, seed=1, largest=8192):
    """Files of 0 to `largest` bytes, 50 a folder, folders two deep."""
    rng = random.Random(seed)
    for i in range(count):
        if i % 50 == 0:
            folder = os.path.join(root, f"組 {i // 2500}", f"資料夾 {i // 50}")
            os.makedirs(folder)
        _fill(os.path.join(folder, f"檔案 {i}.dat"), rng.randint(0, largest), rng)


def big_files(root, count=3, size=256 << 20):
    os.makedirs(root)
    for i in range(count):
        _fill(os.path.join(root, f"big{i}.bin"), size, random.Random(i))


def flat_folder(root, count):
    """One folder with many empty files."""
    os.makedirs(root)
    for i in range(count):
        with open(os.path.join(root, f"e{i}"), "wb"):
            pass


def changed(original, root, share=0.05, seed=2):
    """A copy of a tree with this share of its files removed and as many changed."""
    shutil.copytree(original, root, symlinks=True)
    rng = random.Random(seed)
    for folder, _, names in os.walk(root):
        for name in sorted(names):
            path = os.path.join(folder, name)
            draw = rng.random()
            if draw < share:
                os.remove(path)
            elif draw < 2 * share:
                _fill(path, rng.randint(0, 8192), rng)
