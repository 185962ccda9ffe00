"""What all cuts came to."""
import os
import threading
import time
import traceback

from jobs import PEERS

SHOWN = 3  # of each kind of wrong, for each bad cut


class Row:
    def __init__(self):
        self.cuts = self.after = self.looked = 0
        self.sums = dict.fromkeys(("losses", "partial", "untrue", "program", "unhealed"), 0)


class Results:
    def __init__(self, quick):
        self._lock, self._rows, self._quick, self._failed = threading.Lock(), {}, quick, 0
        self._began = time.monotonic()

    def failed(self, name, file_system, error):
        with self._lock:
            self._failed += 1
            print(f"{name}, {file_system}:", flush=True)
            traceback.print_exception(error)

    def add(self, name, file_system, forget, at, writes, told, verdict):
        with self._lock:
            row = self._rows.setdefault((forget, name, file_system), Row())
            row.cuts += 1
            row.after += told
            row.looked += verdict.looked
            for what in row.sums:
                count = len(getattr(verdict, what))
                # Of a report it matters whether it was true, not how often it was not.
                row.sums[what] += min(count, 1) if what == "untrue" else count
            wrongs = verdict.wrongs()
            if wrongs and name not in PEERS:
                disk = " forgetful disk," if forget else ""
                print(f"{name}, {file_system},{disk} {at:+.3f} s from its end, {writes} writes:",
                      flush=True)
                for what, lines in wrongs.items():
                    for line in lines[:SHOWN]:
                        print(f"    {what}: {line}")
                    if len(lines) > SHOWN:
                        print(f"    {what}: {len(lines) - SHOWN} more")

    def good(self):
        """Peers may lose what they like."""
        return not self._failed and all(
            not any(row.sums.values()) for (_, name, _), row in self._rows.items()
            if name not in PEERS)

    def print(self):
        if self._quick:
            self._counts()
            return
        print("\n| Work | File system | Cuts | of them after its end | Files looked at | Losses "
              "| Half new files | Untrue reports | Program files | Not healed |")
        print("|---|---|---|---|---|---|---|---|---|---|")
        for (forget, name, file_system), row in sorted(self._rows.items()):
            title = name + (", forgetful disk" if forget else "")
            sums = [f"{count:,}" for count in row.sums.values()]
            if name in PEERS:
                sums[3:] = ["", ""]
            print("| " + " | ".join([title, file_system, str(row.cuts), str(row.after),
                                     f"{row.looked:,}", *sums]) + " |")
        print(f"\n{sum(row.cuts for row in self._rows.values())} cuts in "
              f"{time.monotonic() - self._began:.0f} s")

    def _counts(self):
        """The two lines that the fault harness sums up."""
        cuts = sum(row.cuts for row in self._rows.values())
        wrong = sum(sum(row.sums.values()) for row in self._rows.values()) + self._failed
        lines = f"power cuts: {cuts}\npower cuts, losses: {wrong}\n"
        if "KAVREL_FAULT_COUNTS" in os.environ:
            with open(os.environ["KAVREL_FAULT_COUNTS"], "a", encoding="ascii") as out:
                out.write(lines)
        else:
            print(lines, end="")
