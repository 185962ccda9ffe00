#include "engine/job_disks.h"

#include <algorithm>

#include "engine/disk_marks.h"
#include "engine/refusal.h"
#include "engine/rule_check.h"
#include "files/folder_identity.h"
#include "files/owner_mark.h"
#include "files/path.h"
#include "files/place.h"
#include "rules/date_tokens.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kRoot = u"/";
/// Disks that take turns at one place.
constexpr std::size_t kMostMarks = 16;

/// Among the marks of a place: something that has none has been there.
constexpr std::u16string_view kUnmarked = u"-";
/// And: nothing has been there, and a run that was asked about it went on.
constexpr std::u16string_view kNothing = u"*";

/// Adds a mark, the newest.
void NoteMark(KnownMount& mount, std::u16string_view mark) {
  std::erase(mount.Marks, mark);
  if (mount.Marks.size() == kMostMarks) mount.Marks.erase(mount.Marks.begin());
  mount.Marks.emplace_back(mark);
}

/// A mark, continued by a path that begins with "/" or is empty.
std::u16string MarkBelow(std::u16string_view mark, std::u16string_view path) {
  if (!path.empty() && mark.ends_with(u":/")) mark.remove_suffix(1);
  return std::u16string(mark) += path;
}

/// What is known of a place; null: nothing.
const KnownMount* FindMount(const std::vector<KnownMount>& mounts, bool of_source,
                            std::u16string_view point) {
  const auto found = std::find_if(mounts.begin(), mounts.end(), [&](const KnownMount& one) {
    return one.OfSource == of_source && one.Point == point;
  });
  return found == mounts.end() ? nullptr : &*found;
}

/// What a path at or below a mount point has behind that: nothing, or "/" and more.
std::u16string_view BehindPoint(const KnownMount& known, std::u16string_view path) {
  return path.substr(known.Point == kRoot ? 0 : known.Point.size());
}

/// Whether one of the disks that were at a point has a folder, by its path behind the point, that
/// bears this mark.
bool HasFolder(const KnownMount& known, std::u16string_view behind, std::u16string_view mark) {
  return std::ranges::any_of(
      known.Marks, [&](const std::u16string& one) { return MarkBelow(one, behind) == mark; });
}

/// What may be wrong with a disk; its point or place follows.
struct DiskTexts {
  std::u16string_view Other, Away, Elsewhere;  ///< of the one that holds a place
  std::u16string_view OtherInside, AwayInside;
};
constexpr DiskTexts kSourceTexts{u"來源磁碟不是先前的那一個：", u"來源磁碟沒有掛載：",
                                 u"來源不在先前的磁碟上：", u"來源資料夾中的磁碟不是先前的那一個：",
                                 u"來源資料夾中的磁碟沒有掛載："};
constexpr DiskTexts kDestinationTexts{
    u"目標磁碟不是先前的那一個：", u"目標磁碟沒有掛載：", u"目標不在先前的磁碟上：",
    u"目標資料夾中的磁碟不是先前的那一個：", u"目標資料夾中的磁碟沒有掛載："};
constexpr DiskTexts kTargetTexts{
    u"還原位置的磁碟不是先前的那一個：", u"還原位置的磁碟沒有掛載：", u"還原位置不在先前的磁碟上：",
    u"還原位置中的磁碟不是先前的那一個：", u"還原位置中的磁碟沒有掛載："};

class JobDisks {
 public:
  JobDisks(const RunContext& context, const BackupJob& job, const DiskScope& scope,
           const KnownPlaces& places)
      : context_(context),
        job_(job),
        scope_(scope),
        source_(RealPlace(context.Files, job.Source.WorkPath)),
        dest_(RealPlace(context.Files, job.Destination.WorkPath)),
        known_(places.Mounts) {
    MoveKnown(places);
    ReadRules(context);
    // What is mounted on demand is mounted by this.
    context.Files.OpenFolder(job.Source.WorkPath);
    FindPlace(context.Files, job.Destination.WorkPath);
    for (const KnownMount& known : known_) {
      if (Matters(known)) context.Files.OpenFolder(known.Point);
    }
    mounts_.Load();
  }

  std::u16string Objection() const {
    std::u16string text;
    const auto add = [&](const std::u16string& matter) {
      if (matter.empty()) return;
      if (!text.empty()) text += u"；";
      text += matter;
    };
    for (const bool of_source : {true, false}) {
      if (of_source && !scope_.Source) continue;
      const KnownMount* holder = Holder(of_source);
      if (holder) add(MatterWithHolder(*holder));
    }
    for (const KnownMount& known : known_) {
      if (Matters(known) && &known != Holder(known.OfSource)) add(MatterWith(known));
    }
    for (const bool of_source : {true, false}) {
      if (!(of_source ? scope_.NewInSource : scope_.NewInDestination)) continue;
      // Of a place that no run has seen, nothing is known that something could hide.
      if (!Holder(of_source)) continue;
      for (const std::u16string& point : mounts_.DisksBelow(Place(of_source))) {
        if (IsInside(of_source, point) && IsPicked(of_source, point)) {
          add(MatterWithNew(of_source, point));
        }
      }
    }
    return text;
  }

  /// Behind Note.
  DisksFound Found() const {
    DisksFound found;
    std::vector<KnownMount>& present = found.ToRemember;
    const auto add = [&](bool of_source, const std::u16string& point) {
      std::u16string mark = marks_.Of(point);
      Add(of_source, point, mark, present);
      if (mark.empty()) mark = kUnmarked;
      found.There.Mounts.push_back({of_source, point, {std::move(mark)}});
    };
    for (const bool of_source : {true, false}) {
      const std::u16string point = mounts_.PointOf(Place(of_source));
      add(of_source, point.empty() ? std::u16string(kRoot) : point);
      for (const std::u16string& disk : mounts_.DisksBelow(Place(of_source))) {
        if (IsInside(of_source, disk) &&
            (FindMount(known_, of_source, disk) || IsNoted(PathOf(of_source, disk)))) {
          add(of_source, disk);
        }
      }
    }
    found.There.SourcePlace = source_;
    found.There.DestinationPlace = dest_;
    for (const KnownMount& known : known_) {
      if (FindMount(present, known.OfSource, known.Point)) continue;
      if (!IsWithin(known.OfSource, known.Point)) continue;
      if (!IsReached(known.OfSource, known.Point)) {
        // The backup still holds what this run has not looked at.
        present.push_back(known);
        continue;
      }
      if (!KeepsAll()) continue;
      // Without a mount of its own the same folder is there.
      if (Knows(known, marks_.Of(known.Point))) continue;
      NoteMark(present.emplace_back(known), kNothing);
    }
    return found;
  }

  /// What is mounted where now, for the time of a run.
  void Note(MountedInside& mounted) const {
    mounted.Clear();
    mounted.Note(context_.Files, mounts_, job_.Source.WorkPath, source_);
    mounted.Note(context_.Files, mounts_, job_.Destination.WorkPath, dest_);
  }

  /// Whether all that this has told is so still.
  bool IsSo() const {
    MountTable now;
    now.Load();
    return marks_.AreSameIn(now);
  }

 private:
  const std::u16string& Place(bool of_source) const { return of_source ? source_ : dest_; }
  const DiskTexts& Texts(bool of_source) const {
    if (!of_source) return kDestinationTexts;
    return scope_.IsTarget ? kTargetTexts : kSourceTexts;
  }
  /// By which a walk comes to a mount point inside the source or the destination.
  std::u16string PathOf(bool of_source, std::u16string_view point) const {
    return PathBelow(of_source ? job_.Source.WorkPath : job_.Destination.WorkPath,
                     Below(of_source, point));
  }
  /// Whether the run could look at what is mounted at a path, which ends with a separator.
  bool IsNoted(std::u16string_view path) const {
    const MountedInside& noted = context_.Mounted;
    return noted.HeldMount(path) || noted.WasMounted(DropBackslash(path));
  }

  /// What was mounted inside a place is looked for where that place is now: a link may lead there
  /// by another path, or the disk that holds it may be mounted elsewhere.
  void MoveKnown(const KnownPlaces& places) {
    for (KnownMount& known : known_) {
      const std::u16string& was = known.OfSource ? places.SourcePlace : places.DestinationPlace;
      const std::u16string& place = Place(known.OfSource);
      if (was.empty() || place.empty() || was == place) continue;
      if (known.Point == was || !IsAtOrBelow(known.Point, was)) continue;
      known.Point = JoinPath(place, PartBelow(known.Point, was));
    }
  }

  /// Whether the backup keeps what a disk held that is away: then that has to be agreed to once.
  bool KeepsAll() const { return !job_.Synchronise && job_.Extras.KeepNewest == 0; }

  /// Whether a point lies in the source, or in the destination, and holds what is of it alone: the
  /// other one, which may lie in this one, is neither above it nor the disk that is mounted there.
  bool IsWithin(bool of_source, std::u16string_view point) const {
    const std::u16string& place = Place(of_source);
    if (place.empty() || point.size() <= place.size() || !IsAtOrBelow(point, place)) return false;
    const std::u16string& other = Place(!of_source);
    return !IsAtOrBelow(other, place) ||
           !(IsAtOrBelow(point, other) || mounts_.PointOf(other) == point);
  }
  /// Whether a run of the job comes to a point that lies within.
  bool IsReached(bool of_source, std::u16string_view point) const {
    return job_.IncludeSubfolders && (of_source ? !IsExcluded(point) : !job_.Compressed);
  }
  bool IsInside(bool of_source, std::u16string_view point) const {
    return IsWithin(of_source, point) && IsReached(of_source, point);
  }

  /// The path of something inside the source or the destination, below that.
  std::u16string_view Below(bool of_source, std::u16string_view point) const {
    return PartBelow(point, Place(of_source));
  }

  /// Whether a rule leaves out what is mounted at a point inside the source.
  bool IsExcluded(std::u16string_view point) const {
    std::u16string path = AddBackslash(job_.Source.WorkPath);
    const char16_t separator = PathSeparator(path);
    std::u16string_view rest = Below(true, point);
    while (!rest.empty()) {
      const std::size_t end = std::min(rest.find(u'/'), rest.size());
      (path += rest.substr(0, end)) += separator;
      if (context_.Exclusions.IsFolderExcluded(path)) return true;
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return false;
  }

  /// Whether a restore of some of the backup comes to a place inside the source or the backup.
  bool IsPicked(bool of_source, std::u16string_view point) const {
    if (!scope_.Picked) return true;
    const std::u16string_view place = Below(of_source, point);
    return scope_.Picked->Holds(place) || scope_.Picked->LeadsTo(place);
  }

  bool Matters(const KnownMount& known) const {
    if (known.OfSource && !scope_.Source) return false;
    if (known.OfSource && IsInside(true, known.Point) && !IsPicked(true, known.Point)) return false;
    return known.Point != kRoot && (IsAtOrBelow(Place(known.OfSource), known.Point) ||
                                    IsInside(known.OfSource, known.Point));
  }

  /// What the source or the destination lay on: the first that was remembered of its side. Where it
  /// is now tells nothing: a link may lead to a folder above it. Null where nothing is known.
  const KnownMount* Holder(bool of_source) const {
    const auto found = std::find_if(known_.begin(), known_.end(), [&](const KnownMount& one) {
      return one.OfSource == of_source;
    });
    return found == known_.end() ? nullptr : &*found;
  }

  /// `mark`: of what is mounted there; empty for what has none.
  static bool Knows(const KnownMount& known, std::u16string_view mark) {
    if (mark.empty()) mark = kUnmarked;
    return std::find(known.Marks.begin(), known.Marks.end(), mark) != known.Marks.end();
  }

  /// Whether the place is the folder that it was, of one of the disks that were there, by whatever
  /// mount it is reached now.
  bool IsSameFolder(const KnownMount& known, const std::u16string& place) const {
    if (!IsAtOrBelow(place, known.Point)) return false;
    const std::u16string mark = marks_.Of(place);
    return !mark.empty() && HasFolder(known, BehindPoint(known, place), mark);
  }

  /// Whatever lies at the place now, by whatever path: something may be mounted over it, or a link
  /// lead elsewhere.
  std::u16string MatterWithHolder(const KnownMount& known) const {
    const std::u16string& place = Place(known.OfSource);
    if (place.empty()) return {};
    std::u16string now = mounts_.PointOf(place);
    if (now.empty()) now = kRoot;
    const bool of_root = known.Point == kRoot, at_point = now == known.Point;
    if (at_point && (of_root || known.Marks.empty())) return {};
    if (IsSameFolder(known, place)) return {};
    const std::u16string mark = now == kRoot ? std::u16string() : marks_.Of(now);
    // Reached by another path, its disk is what it is known by; below its point, the folder, too.
    const bool elsewhere = !mark.empty() && !IsAtOrBelow(place, known.Point);
    if (!of_root && Knows(known, mark) && (at_point || elsewhere)) return {};
    const DiskTexts& texts = Texts(known.OfSource);
    if (at_point || of_root) return std::u16string(texts.Other) + now;
    const bool mounted = mounts_.PointOf(known.Point) == known.Point;
    return mounted ? std::u16string(texts.Elsewhere) + place
                   : std::u16string(texts.Away) + known.Point;
  }

  std::u16string MatterWith(const KnownMount& known) const {
    const std::u16string mark = marks_.Of(known.Point);
    const bool mounted = mounts_.PointOf(known.Point) == known.Point;
    if (Knows(known, mark) && (mounted || !mark.empty())) return {};
    if (mounted && known.Marks.empty()) return {};
    // What a run may do without, a restore would fill.
    if (!mounted && KeepsAll() && !scope_.Restores && Knows(known, kNothing)) return {};
    const DiskTexts& texts = Texts(known.OfSource);
    return std::u16string(mounted ? texts.OtherInside : texts.AwayInside) + known.Point;
  }

  /// A disk that no run has met, mounted over a folder that a run deals with. It hides what that
  /// held, or the run would fill it.
  std::u16string MatterWithNew(bool of_source, const std::u16string& point) const {
    if (FindMount(known_, of_source, point)) return {};
    const std::u16string_view below = Below(of_source, point);
    const bool matters =
        of_source ? BackupHolds(below)
                  : scope_.Restores || context_.Files.Status(JoinPath(job_.Source.WorkPath, below));
    if (!matters) return {};
    return (of_source ? u"來源資料夾中掛載了先前沒有的磁碟："
                      : u"目標資料夾中掛載了先前沒有的磁碟：") +
           point;
  }

  /// Whether the last backup has something in this folder, or this file.
  bool BackupHolds(std::u16string_view below) const {
    const auto holds = [&](std::u16string_view backup) {
      const std::u16string path = JoinPath(backup, below);
      const Result<Folder> copy = context_.Files.OpenFolder(path);
      return copy ? FolderReader(*copy).Next() != nullptr : bool(context_.Files.Status(path));
    };
    if (context_.Files.FolderExists(job_.Destination.WorkPath)) {
      return holds(job_.Destination.WorkPath);
    }
    // Of dated ones, the last that is there: disks may take turns.
    const std::vector<std::u16string>& made = job_.Extras.Made;
    const auto last = std::find_if(made.rbegin(), made.rend(), [&](const std::u16string& unit) {
      return context_.Files.FolderExists(unit);
    });
    return last != made.rend() && holds(*last);
  }

  void Add(bool of_source, const std::u16string& point, std::u16string_view mark,
           std::vector<KnownMount>& present) const {
    KnownMount mount{of_source, point, {}};
    const KnownMount* known = FindMount(known_, of_source, point);
    if (known) mount.Marks = known->Marks;
    // Copies that were made without this disk lie hidden below it: that is to be agreed to anew.
    if (!of_source) std::erase(mount.Marks, kNothing);
    // Where any disk will do, one without a mark adds nothing.
    if (mark.empty() && !mount.Marks.empty()) mark = kUnmarked;
    if (!mark.empty()) NoteMark(mount, mark);
    present.push_back(std::move(mount));
  }

  const RunContext& context_;
  const BackupJob& job_;
  const DiskScope scope_;
  const std::u16string source_, dest_;
  std::vector<KnownMount> known_;  ///< at the paths of today
  MountTable mounts_;
  mutable DiskMarks marks_{mounts_};
};

}  // namespace

std::u16string DiskObjection(const RunContext& context, const BackupJob& job,
                             const DiskScope& scope) {
  return job.Extras.Mounts.empty() ? std::u16string()
                                   : JobDisks(context, job, scope, job.Extras).Objection();
}

namespace {

/// Notes in the context what is there, and tells what is wrong with it.
std::u16string LookAtDisks(RunContext& context, const BackupJob& job, const DiskScope& scope) {
  std::u16string objection;
  // What comes, goes or is swapped between the look and the note is looked at once more.
  for (int tries = 0; tries < 3; ++tries) {
    const JobDisks disks(context, job, scope, job.Extras);
    if (!context.Force && !job.Extras.Mounts.empty()) objection = disks.Objection();
    disks.Note(context.Mounted);
    context.Disks = disks.Found();
    if (disks.IsSo()) break;
  }
  return objection;
}

}  // namespace

bool PassDiskCheck(RunContext& context, const BackupJob& job, const DiskScope& scope) {
  const std::u16string objection = LookAtDisks(context, job, scope);
  if (objection.empty()) return true;
  if (!AskToGoOn(context, job, RunRefusal::DiskAway, u"檢查磁碟", objection)) return false;
  // The answer may have taken its time, and a disk have come meanwhile.
  LookAtDisks(context, job, scope);
  return true;
}

std::u16string LostDisks(const RunContext& context, const BackupJob& job, const DiskScope& scope) {
  DiskScope known = scope;
  known.NewInSource = known.NewInDestination = false;
  const KnownPlaces& there = context.Disks.There;
  return there.Mounts.empty() ? std::u16string() : JobDisks(context, job, known, there).Objection();
}

void RememberDisks(const RunContext& context, BackupJob& job) {
  const DisksFound& disks = context.Disks;
  job.Extras.Mounts = disks.ToRemember;
  job.Extras.SourcePlace = disks.There.SourcePlace;
  // That of a dated one is another each time, and what was mounted in the last one stays there.
  const bool dated = HasDateTags(job.Destination.Path);
  job.Extras.DestinationPlace = dated ? std::u16string() : disks.There.DestinationPlace;
}

void RememberNewDisks(const RunContext& context, BackupJob& job) {
  JobExtras& extras = job.Extras;
  if (extras.Mounts.empty()) return RememberDisks(context, job);
  const KnownPlaces& there = context.Disks.There;
  for (const KnownMount& mount : context.Disks.ToRemember) {
    const auto side = mount.OfSource ? &KnownPlaces::SourcePlace : &KnownPlaces::DestinationPlace;
    const std::u16string& place = there.*side;
    const bool inside = mount.Point != place && IsAtOrBelow(mount.Point, place);
    if (inside && place == extras.*side && !FindMount(extras.Mounts, mount.OfSource, mount.Point)) {
      extras.Mounts.push_back(mount);
    }
  }
}

std::optional<bool> IsLastPlace(const FileSystem& files, const BackupJob& job) {
  const std::u16string& was = job.Extras.DestinationPlace;
  if (was.empty() || HasDateTags(job.Destination.Path)) return std::nullopt;
  const std::u16string place = RealPlace(files, job.Destination.WorkPath);
  if (IsSamePath(place, was)) return true;
  const std::vector<KnownMount>& known = job.Extras.Mounts;
  const auto holder = std::ranges::find(known, false, &KnownMount::OfSource);
  if (holder == known.end() || !IsAtOrBelow(was, holder->Point)) return false;
  MountTable mounts;
  mounts.Load();
  const std::u16string mark = mounts.MarkOf(place);
  return !mark.empty() && HasFolder(*holder, BehindPoint(*holder, was), mark);
}

}  // namespace kavrel
