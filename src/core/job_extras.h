// What a job has beyond the fields of its line in the store: the safety settings, and what its runs
// have to remember for them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/date_time.h"

namespace kavrel {

/// How a new dated folder gets what is the same in the one before.
enum class LinkStates : std::uint8_t {
  Auto,     ///< sharing blocks, else as one more name; full jobs copy
  Off,      ///< copied
  Hard,     ///< as one more name, else copied
  Reflink,  ///< sharing blocks, else copied
};
inline constexpr std::size_t kLinkStatesChoices = 4;
/// "auto", "off", "hard" or "reflink".
std::u16string_view LinkStatesWord(LinkStates how);
std::optional<LinkStates> ParseLinkStates(std::u16string_view word);

/// What the user chooses.
struct ExtraSettings {
  /// A mirror run stops before its first removal when it would remove more than `GuardPercent` of
  /// the destination's files and at least `GuardFewest`, or when source or destination look wrong.
  bool GuardMirror = true;
  std::int32_t GuardPercent = 50, GuardFewest = 20;
  bool CheckSpace = true;       ///< a run that cannot fit stops before it copies
  std::int32_t KeepNewest = 0;  ///< dated folders or archives that are kept; 0 = all
  /// Which of them stay by their age, as KeepPlanText writes it (core/keep_plan.h); it comes before
  /// KeepNewest. Empty: none.
  std::u16string KeepPlan;
  bool DeletesOld = false;  ///< what is not kept is deleted, not moved to the recycle bin
  /// How much recovery data an archive gets, in percent of its size (archive/recovery_data.h); 0 =
  /// none.
  std::int32_t RecoveryPercent = 0;
  bool VerifyAfterRun = false;
  bool KeepSums = true;  ///< the sums of what is copied are kept beside it
  bool Scrub = false;    ///< a thirtieth of the backup is read again each day
  bool Drill = false;    ///< some files are restored each month to see whether that works
  /// A run looks at how files changed, and asks, or lets no old state go, where they look
  /// encrypted.
  bool GuardChanges = true;
  bool KeepHardLinks = true;  ///< a file of several names gets one copy of several names
  LinkStates StateLinks = LinkStates::Auto;
  bool UnfinishedName = true;  ///< a dated folder gets its name when it is whole

  bool operator==(const ExtraSettings&) const = default;
};

/// A place where something was mounted in a job's last whole run: it holds the job's source or
/// destination, or lies in it.
struct KnownMount {
  bool OfSource = true;  ///< else of the destination
  std::u16string Point;  ///< "/" for the root file system's
  /// MountTable::MarkOf of the disks that have been there, the newest last; empty = not known.
  std::vector<std::u16string> Marks;

  bool operator==(const KnownMount&) const = default;
};

/// A backup that could not even begin: no log and no row of the log list tells of it.
struct UnbegunRun {
  enum class Cause { NoSource, NoArchiver };
  DateTime At = kZeroDate;
  Cause Why = Cause::NoSource;
  std::u16string Text;  ///< in words, with the path

  bool operator==(const UnbegunRun&) const = default;
};

/// What made a backup come to nothing, where its row in the list of runs tells no more than that it
/// did.
enum class BadEnd : std::uint8_t { Other, Guard, Space, Place, Changes };
inline constexpr std::size_t kBadEnds = 5;

/// A time in which a job did not run, far longer than its interval: it was switched off, or a clock
/// was wrong.
struct JobRest {
  DateTime From = kZeroDate, To = kZeroDate;

  bool operator==(const JobRest&) const = default;
};

/// When a dated folder or an archive was compared with the source, or tested, to its end.
struct VerifiedState {
  std::u16string Unit;  ///< as in JobExtras::Made
  DateTime When = kZeroDate;
  std::uint32_t Damaged = 0;  ///< files that were damaged or could not be read

  bool operator==(const VerifiedState&) const = default;
};

/// What the change guard (engine/change_guard) remembers from run to run.
struct KnownChanges {
  /// Files of the last whole run, rounded down; -1 = not known.
  std::int64_t Files = -1;
  /// Files that looked encrypted since somebody has agreed to the last ones: for sure, and likely.
  /// Sure = -1: whatever the runs find is agreed to, up to the end of a whole one.
  std::int32_t Sure = 0, Likely = 0;
  /// Of a thousand files that an archive's run has looked at, those whose content does not go with
  /// their names, in the best run so far; -1 = not known.
  std::int32_t Usual = -1;
  DateTime Last = kZeroDate;   ///< when such a file was found last
  DateTime Alarm = kZeroDate;  ///< since when no state goes; the zero date where nothing is wrong
  std::u16string Good;         ///< the newest state from before, as in KnownPlaces::Made

  bool operator==(const KnownChanges&) const = default;
};

/// What runs have learnt of a source and a destination, and hold against the next ones.
struct KnownPlaces {
  std::vector<KnownMount> Mounts;  ///< empty = not known
  /// Where the source and a destination without dates really lay then, links followed: what was
  /// mounted inside them is looked for inside the places of today. Empty = not known.
  std::u16string SourcePlace, DestinationPlace;
  /// Files in the last whole dated folder or archive; -1 = not known.
  std::int64_t StateFiles = -1;
  /// Of the source in the last whole run, rounded up to powers of two: all of it, and its largest
  /// file; 0 = not known.
  std::uint64_t SourceBytes = 0, LargestFile = 0;
  /// What the disks that the source lies on held then, rounded down.
  std::uint64_t SourceDiskBytes = 0;
  /// Where whole runs put dated folders or archives, the newest last. What lies there is the job's
  /// only where its mark says so, too.
  std::vector<std::u16string> Made;
  /// Times without a run, the oldest first, which make no backup older; 20 at most.
  std::vector<JobRest> Rests;
  std::vector<VerifiedState> Verified;  ///< the last verification of each, the newest last
  KnownChanges Changes;

  bool operator==(const KnownPlaces&) const = default;
};

/// The paths of a job, as they were entered.
struct PlacePair {
  std::u16string Source, Destination;

  bool operator==(const PlacePair&) const = default;
};

/// What is known of places that the job has left, and may come back to.
struct FormerPlaces {
  PlacePair Pair;
  KnownPlaces Known;

  bool operator==(const FormerPlaces&) const = default;
};

struct JobExtras : ExtraSettings, KnownPlaces {
  /// The job's own name for itself, which no other job ever has: made before its first run,
  /// written into its backups' marks (files/owner_mark.h). Empty for a job that has never run.
  std::u16string Id;
  /// The user has said that the destination is this job's: its next run need not ask.
  bool Adopt = false;
  /// The MirrorPlace of mirror runs by a version that wrote no marks; empty when there is none.
  std::u16string MirroredTo;
  /// The last backup found no source folder or no archive program: no log tells.
  bool NotBegun = false;
  /// The backups that found none, the newest last; at most kMaxUnbegun.
  std::vector<UnbegunRun> Unbegun;
  /// The last backup did not go well, or did not begin. Then, and only then, when the last one
  /// ended that did; else that is the job's LastRun.
  bool Bad = false;
  DateTime LastGood = kZeroDate;
  BadEnd BadBy = BadEnd::Other;  ///< where Bad
  /// The user has chosen what is kept since the last time that something went: much may go at once.
  bool KeepAgreed = false;
  /// The last day on which a part was read again, and where the next begins (ScrubTurnText).
  DateTime LastScrub = kZeroDate;
  std::u16string ScrubAt;
  /// The last test restore that came to its end: so many of so many files came back as they were.
  DateTime LastDrill = kZeroDate;
  std::int32_t DrillGood = 0, DrillFiles = 0;
  bool Unseen = false;  ///< in the last backup there were files that could not be looked at
  /// When the program last moved NextRun, where that was later than LastRun tells; else the zero
  /// date.
  DateTime TimeMoved = kZeroDate;
  std::vector<FormerPlaces> Former;        ///< the one that was left last at the end
  std::vector<std::u16string> OtherLines;  ///< of the job's section in the file

  bool operator==(const JobExtras&) const = default;
};

/// Notes how a backup ended, and by what where that was not good; `last_run` is the job's LastRun
/// before it.
void NoteEnd(JobExtras& extras, bool good, BadEnd by, DateTime last_run);
/// Notes one that could not begin. Without an archive program the job stays due and is tried again
/// and again, which makes one record an hour, not more.
void NoteUnbegun(JobExtras& extras, UnbegunRun run, DateTime last_run);

/// What a job that has never run knows: the settings stay.
void ForgetRuns(JobExtras& extras);
/// For a job whose source or destination is another one from now on: what its runs have left at the
/// former ones stays theirs, and is known again when the job comes back to them. A source or a
/// destination that stays, or that the job had before, keeps its disks.
void MovePlaces(JobExtras& extras, const PlacePair& from, const PlacePair& to);
/// Whether the change guard holds old states back.
inline bool IsAlarmed(const JobExtras& extras) {
  return extras.GuardChanges && extras.Changes.Alarm != kZeroDate;
}
/// The next run takes disks and sizes as they are.
void AcceptPlaces(JobExtras& extras);
/// Nothing of what has changed up to now is known any more.
void ForgetChanges(JobExtras& extras);
/// What has changed up to now was meant: the alarm ends, and nothing is held against the next runs.
void AcceptChanges(JobExtras& extras);

inline constexpr std::size_t kMaxUnbegun = 20;
/// The largest values that the editor and the command line take.
inline constexpr std::int32_t kMaxGuardFewest = 1'000'000, kMaxKeepNewest = 10'000,
                              kMaxRecoveryPercent = 100;
/// What the editor offers.
inline constexpr std::int32_t kReadyRecoveryPercent = 5;

}  // namespace kavrel
