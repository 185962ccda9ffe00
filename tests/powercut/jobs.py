"""The kinds of work whose power is cut: how each is prepared, run, and run once more."""
from dataclasses import dataclass, field

# The shell has a cp of its own; /bin/cp is the one that people use.
KAVREL = "kavrelctl --home /a/home"
FATS = ("vfat", "exfat")  # no owners, permissions and links
SOURCE, DEST = "/a/src/", "/b/dest/"


@dataclass
class Job:
    name: str
    changed: str                 # which files differ between the trees: "all" or "part"
    before: list                 # lines of shell; /a/one and /a/two are the two source trees
    run: str
    target: str = DEST           # what is written, on the file system under test
    new: str = "two"             # the tree that the target gets
    removes: bool = False        # what the tree does not have goes from the target
    bin: str = ""                # where removed files must lie
    dated: bool = False          # each run writes a folder of its own into the target
    archives: bool = False       # the target holds archives
    peer: bool = False           # another program: only its files are looked at
    clock: list = field(default_factory=list)  # what the clock shows at the runs, the cut one last

    def runs_at(self, at):
        return f"date -s '{self.clock[at]}' >/dev/null; {self.run}" if self.clock else self.run


_HOME = (f"mkdir -p /a/home && {KAVREL} settings set ExcEnabled True && "
         f"{KAVREL} rules list >/dev/null && {KAVREL} filters list >/dev/null")
_CHANGE = "mv /a/src /a/one && mv /a/two /a/src"


def _add(kind, more="", source=SOURCE, dest=DEST):
    return (f"{KAVREL} add --name J --type {kind} --source {source} --dest '{dest}' "
            f"--no-source-folder --adopt {more}")


def _plain(name, kind, changed, **more):
    options = more.pop("options", "")
    return Job(name, changed, ["mv /a/one /a/src", _HOME, _add(kind, options), "RUN", _CHANGE],
               f"{KAVREL} run J", **more)


def _restore(name, add, first_run, run):
    """The job's source lies on the file system under test, for it is what a restore writes."""
    return Job(name, "all", ["/bin/cp -a /a/one /b/src", _HOME, add, first_run,
                             "rm -r /b/src && /bin/cp -a /a/two /b/src"],
               run, target="/b/src/", new="one")


def _peer(name, run):
    return Job(name, "all", ["mv /a/one /a/src", "/bin/cp -r --preserve=timestamps /a/src /b/dest",
                             _CHANGE], run, peer=True)


def jobs(file_system):
    fat = file_system in FATS
    hour = ["2025-03-05 10:05:00", "2025-03-05 10:10:00", "2025-03-05 10:20:00"]
    days = ["2025-03-01 10:00:00", "2025-03-02 10:00:00", "2025-03-03 10:00:00",
            "2025-03-04 10:00:00"]
    pack = f"{KAVREL} run J --compression store"

    def dated(name, kind, options, **more):
        job = _plain(name, kind, "part", dated=True, clock=days, **more)
        job.before = ["mv /a/one /a/src", _HOME,
                      _add(kind, "--keep 2 " + options, dest="/b/dest/<yyyy>-<mm>-<dd>_<hh><nn>/"),
                      "RUN", "RUN", _CHANGE]
        return job

    compressed = _plain("compressed", "compressed", "part", archives=True, clock=hour)
    compressed.run = pack
    unpack = _restore("restore of an archive",
                      _add("compressed", source="/b/src/", dest="/a/dest/"), pack,
                      f"{KAVREL} restore J --latest")
    found = [
        _plain("full", "full", "all"),
        _plain("differential", "differential", "part"),
        _plain("mirror", "sync", "part", removes=True),
        _plain("mirror with bin", "sync", "part", options="--recycle", removes=True,
               bin=".Trash-0"),
        dated("dated with keep 2", "full", "", bin=".Trash-0"),
        dated("dated and linked", "differential", "", bin=".Trash-0"),
        dated("linked and deleting", "sync", "--delete-old", removes=True),
        compressed,
        _restore("restore", _add("full", source="/b/src/", dest="/a/dest/"), f"{KAVREL} run J",
                 f"{KAVREL} restore J"),
        unpack,
        _peer("rsync -a", "rsync -rt /a/src/ /b/dest" if fat else "rsync -a /a/src/ /b/dest"),
        _peer("cp -a", "/bin/cp -r --preserve=timestamps /a/src/. /b/dest" if fat
              else "/bin/cp -a /a/src/. /b/dest"),
    ]
    return {job.name: job for job in found}


NAMES = list(jobs("ext4"))
PEERS = [name for name, job in jobs("ext4").items() if job.peer]
