#include "engine/states.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <unordered_set>

#include "archive/recovery_data.h"
#include "base/number.h"
#include "base/text.h"
#include "base/translation.h"
#include "core/made_order.h"
#include "engine/job_disks.h"
#include "engine/run_driver.h"
#include "files/path.h"
#include "platform/error_codes.h"
#include "rules/date_tokens.h"

namespace kavrel {

namespace {

StateHealth HealthOf(const FileSystem& files, const OwnerMark& mark, const BackupJob& job) {
  if (IsShared(files, mark, job)) return StateHealth::Shared;
  if (mark.Figures) return mark.Figures->Failed ? StateHealth::Failures : StateHealth::Whole;
  return mark.Begun == kZeroDate ? StateHealth::Unknown : StateHealth::Unfinished;
}

/// The path that is expanded for a run, with its tags.
std::u16string DatedDestination(const BackupJob& job) {
  std::u16string path = job.Destination.Path;
  if (job.AddSourceFolder) path += SourceFolderName(job.Source.Path);
  return path;
}

/// Collects the states where a job's runs write.
class StateFinder {
 public:
  StateFinder(const RunContext& context, const BackupJob& job)
      : files_(context.Files),
        job_(job),
        pattern_(DatedDestination(job)),
        names_unfinished_(NamesUnfinished(job)) {
    const std::vector<std::u16string>& made = job.Extras.Made;
    made_.insert(made.begin(), made.end());
    archives_ = job.Compressed || !std::all_of(made.begin(), made.end(), IsFolderUnit);
  }

  void Search() {
    if (const Result<Folder> fixed = files_.OpenFolder(pattern_.Fixed())) {
      Descend(*fixed, pattern_.Fixed(), 0, {});
    }
  }

  /// What the job's second file tells of, and is not found yet. `away` is asked, once, whether what
  /// is not there may lie on a disk that is not there.
  void AddMade(const std::function<bool()>& away) {
    std::optional<bool> disk_away;
    for (const std::u16string& unit : job_.Extras.Made) {
      if (found_.contains(unit)) continue;
      const Result<Folder> folder = files_.OpenFolder(UnitFolder(unit));
      const bool folder_unit = IsFolderUnit(unit);
      const bool there = folder && (folder_unit || folder->Status(PathName(unit)));
      if (there) {
        Add(*folder, unit, DateOf(unit));
        continue;
      }
      if (!disk_away) disk_away = away();
      if (*disk_away) {
        JobState& state = Note(unit);
        state.Health = StateHealth::Away;
        state.Date = DateOf(unit).value_or(kZeroDate);
      }
    }
  }

  const std::vector<std::u16string>& Bare() const { return bare_; }

  std::vector<JobState> Take() {
    MadeOrder order(job_.Extras.Made);
    for (const JobState& state : states_) order.Add(state.Unit, state.Date);
    std::vector<JobState> sorted;
    for (const std::size_t i : order.NewestFirst()) sorted.push_back(std::move(states_[i]));
    return sorted;
  }

 private:
  void Descend(const Folder& folder, const std::u16string& path, std::size_t depth,
               const DatedPath::Moment& moment) {
    if (depth == pattern_.Depth()) return AddPlace(folder, path, moment);
    const auto enter = [&](std::u16string_view name) {
      std::u16string_view dated = name;
      // The last name ends with more until its folder is whole.
      const bool last = depth + 1 == pattern_.Depth();
      const bool unfinished = last && names_unfinished_ && dated.ends_with(kUnfinished);
      if (unfinished) dated.remove_suffix(kUnfinished.size());
      DatedPath::Moment told = moment;
      if (!pattern_.Takes(depth, dated, told)) return;
      const Result<Folder> below = folder.OpenFolder(name);
      if (below) Descend(*below, AddBackslash(path + std::u16string(name)), depth + 1, told);
    };
    // A name without a tag is spelled as it was entered, whatever the disk makes of it.
    const std::u16string fixed(pattern_.NameAt(depth));
    if (!fixed.empty()) {
      enter(fixed);
      if (depth + 1 == pattern_.Depth() && names_unfinished_) {
        enter(fixed + std::u16string(kUnfinished));
      }
      return;
    }
    FolderReader reader(folder);
    while (const FolderEntry* entry = reader.Next()) {
      if (entry->Kind == FileKind::Folder) enter(std::u16string(entry->Name));
    }
  }

  static const DatedPath& ArchiveNames() {
    // not translated: a name of files
    static const DatedPath names(u"/<yyyy>年<mm>月<dd>日<hh>時.7z");
    return names;
  }

  /// What the path tells of the moment.
  std::optional<DateTime> DateOf(std::u16string_view unit) const {
    DatedPath::Moment told;
    if (!IsFolderUnit(unit)) {
      return ArchiveNames().Takes(0, PathName(unit), told) ? told.Date() : std::nullopt;
    }
    if (!PathStartsWith(unit, pattern_.Fixed())) return std::nullopt;
    const std::u16string_view below = DropBackslash(unit.substr(pattern_.Fixed().size()));
    const std::vector<std::u16string_view> names = Split(below, PathSeparator(unit));
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (i == pattern_.Depth() || !pattern_.Takes(i, names[i], told)) return std::nullopt;
    }
    return told.Date();
  }

  /// A folder that a run could have written into.
  void AddPlace(const Folder& folder, const std::u16string& path, const DatedPath::Moment& moment) {
    if (pattern_.Depth() > 0) Add(folder, path, moment.Date());
    if (!archives_) return;
    FolderReader reader(folder);
    while (const FolderEntry* entry = reader.Next()) {
      DatedPath::Moment told;
      if (entry->Kind != FileKind::File || !ArchiveNames().Takes(0, entry->Name, told)) continue;
      Add(folder, path + entry->Name, told.Date());
    }
  }

  /// Adds it where it is the job's, or the second file says so of one that has no mark.
  void Add(const Folder& folder, const std::u16string& unit, std::optional<DateTime> date) {
    if (found_.contains(unit)) return;
    const std::u16string_view archive = PathName(unit);
    const Result<OwnerMark> mark = ReadJobMark(files_, folder, archive, job_);
    const bool known = made_.contains(unit) && !IsNotFound(mark.Error);
    if (!mark && !known) {
      const bool unfinished = names_unfinished_ && !FinishedPath(unit).empty();
      if (unfinished && IsNotFound(mark.Error)) bare_.push_back(unit);
      return;
    }
    JobState& state = Note(unit);
    state.Date = mark && mark->Begun != kZeroDate ? mark->Begun : date.value_or(kZeroDate);
    if (mark) state.Health = HealthOf(files_, *mark, job_);
    if (names_unfinished_ && !FinishedPath(unit).empty()) state.Health = StateHealth::Unfinished;
    if (mark) state.Figures = mark->Figures;
    state.Pinned = mark && mark->Pinned;
    state.Own = mark && IsMadeBy(*mark, job_, unit);
    // What that version noted came to its end.
    if (made_.contains(unit) && mark && mark->Begun == kZeroDate) {
      state.Health = StateHealth::Whole;
    }
    if (!state.IsArchive) return;
    if (const Result<FileStatus> status = folder.Status(archive)) state.ArchiveSize = status->Size;
    const Result<FileStatus> recovery = folder.Status(RecoveryName(archive));
    if (recovery) state.RecoverySize = recovery->Size;
  }

  JobState& Note(const std::u16string& unit) {
    found_.insert(unit);
    JobState& state = states_.emplace_back();
    state.Unit = unit;
    state.IsArchive = !IsFolderUnit(unit);
    for (const VerifiedState& verified : job_.Extras.Verified) {
      if (verified.Unit == unit) state.Verified = verified;
    }
    return state;
  }

  const FileSystem& files_;
  const BackupJob& job_;
  const DatedPath pattern_;
  const bool names_unfinished_;
  bool archives_;
  std::vector<std::u16string> bare_;
  std::unordered_set<std::u16string> made_, found_;
  std::vector<JobState> states_;
};

void Count(const Folder& folder, bool top, FolderContent& content) {
  FolderReader reader(folder);
  while (const FolderEntry* entry = reader.Next()) {
    if (top && IsBackupsOwn(entry->Name)) continue;
    if (entry->Kind == FileKind::Folder) {
      if (const Result<Folder> below = folder.OpenFolder(entry->Name))
        Count(*below, false, content);
      continue;
    }
    const Result<FileStatus> status = folder.Status(entry->Name);
    ++content.Files;
    if (status) content.Bytes += status->Size;
  }
}

/// A date as somebody may write it, in the form of IsoText.
std::u16string AsIso(std::u16string_view which) {
  std::u16string text(Trim(which));
  for (char16_t& c : text) {
    if (c == u'/') c = u'-';
    if (c == u'T' || c == u't') c = u' ';
  }
  // JSON tells the distance from UTC behind it.
  constexpr std::size_t kDateTime = 19;
  if (text.size() > kDateTime) text.resize(kDateTime);
  return text;
}

}  // namespace

bool NamesUnfinished(const BackupJob& job, std::u16string_view unit) {
  // The longest name that file systems take, in bytes here and in units of UTF-16 elsewhere.
  constexpr std::size_t kLongestName = 255;
  const std::u16string_view name = PathName(DropBackslash(unit));
  const std::size_t length = IsPosixPath(unit) ? ToUtf8(name).size() : name.size();
  return length + kUnfinished.size() <= kLongestName &&
         !DropBackslash(DatedDestination(job)).ends_with(kUnfinished);
}

std::vector<JobState> ListStates(const RunContext& context, const BackupJob& job,
                                 std::vector<std::u16string>* bare) {
  BackupJob now = job;
  now.Source.WorkPath = job.Source.Path;
  now.Destination.WorkPath = ExpandedDestination(job, context.Time);
  DiskScope disks;
  disks.Source = disks.NewInSource = disks.NewInDestination = false;
  disks.Restores = true;
  StateFinder finder(context, job);
  finder.Search();
  finder.AddMade([&] { return !DiskObjection(context, now, disks).empty(); });
  if (bare) *bare = finder.Bare();
  return finder.Take();
}

bool WasWhole(const JobState& state) {
  return state.Health == StateHealth::Unfinished && FinishedPath(state.Unit).empty();
}

ErrorCode PinState(const FileSystem& files, const BackupJob& job, std::u16string_view unit,
                   bool pinned) {
  const Result<Folder> folder = files.OpenFolder(UnitFolder(unit));
  if (!folder) return folder.Error;
  const std::u16string_view archive = PathName(unit);
  Result<OwnerMark> mark = ReadJobMark(files, *folder, archive, job);
  if (!mark) return mark.Error;
  mark->Pinned = pinned;
  // A mark that is a file changes the time of its folder, which is that of the source's.
  const Result<FileStatus> before = folder->Status();
  const ErrorCode error = WriteOwnerMark(*folder, *mark, archive);
  if (before && archive.empty()) folder->SetTimes(*before);
  return error;
}

FolderContent CountFolder(const FileSystem& files, std::u16string_view path) {
  FolderContent content;
  if (const Result<Folder> folder = files.OpenFolder(path)) Count(*folder, true, content);
  return content;
}

StateChoice FindState(const std::vector<JobState>& states, std::u16string_view which) {
  which = Trim(which);
  if (which.empty() || states.empty()) return {};
  if (EqualNoCase(which, u"latest")) return {StateChoice::Found, 0};
  const bool digits =
      std::all_of(which.begin(), which.end(), [](char16_t c) { return c >= u'0' && c <= u'9'; });
  const std::optional<std::int32_t> number = digits ? ParseInt(which) : std::nullopt;
  if (number && *number >= 1 && *number <= std::ssize(states)) {
    return {StateChoice::Found, static_cast<std::size_t>(*number - 1)};
  }
  const std::u16string date = AsIso(which);
  StateChoice choice;
  for (std::size_t i = 0; i < states.size(); ++i) {
    const JobState& state = states[i];
    if (IsSamePath(state.Unit, which) || (state.IsArchive && PathName(state.Unit) == which)) {
      return {StateChoice::Found, i};
    }
    if (state.Date == kZeroDate || !IsoText(state.Date).starts_with(date)) continue;
    choice = {choice.Result == StateChoice::None ? StateChoice::Found : StateChoice::Ambiguous, i};
  }
  return choice;
}

std::optional<std::size_t> NewestState(const std::vector<JobState>& states) {
  for (const StateHealth health :
       {StateHealth::Whole, StateHealth::Failures, StateHealth::Unknown}) {
    const auto found = std::find_if(states.begin(), states.end(),
                                    [&](const JobState& state) { return state.Health == health; });
    if (found != states.end()) return static_cast<std::size_t>(found - states.begin());
  }
  return std::nullopt;
}

bool HasStateOfNow(const RunContext& context, const BackupJob& job) {
  const std::u16string folder = ExpandedDestination(job, context.Time);
  if (!context.Files.FolderExists(folder)) return false;
  return !job.Compressed || NewestArchive(ListArchives(context.Files, folder, &job));
}

std::u16string UnitTaken(const RunContext& context, const BackupJob& job) {
  if (HasStateOfNow(context, job)) return {};
  const std::vector<JobState> states = ListStates(context, job);
  const std::optional<std::size_t> newest = NewestState(states);
  return newest ? states[*newest].Unit : std::u16string();
}

std::u16string UnitStillTaken(const RunContext& context, const BackupJob& job,
                              std::u16string_view unit) {
  const bool asks = unit.empty() && !job.Compressed && HasDateTags(job.Destination.Path) &&
                    !context.Files.FolderExists(ExpandedDestination(job, context.Time));
  return asks ? UnitTaken(context, job) : std::u16string(unit);
}

BackupJob JobOfState(const BackupJob& job, std::u16string_view unit) {
  BackupJob copy = job;
  if (!unit.empty()) copy.Compressed = !IsFolderUnit(unit);
  return copy;
}

void NoteVerified(BackupJob& job, std::u16string_view unit, DateTime when, std::uint32_t damaged) {
  constexpr std::size_t kMostNoted = 1000;
  std::vector<VerifiedState>& noted = job.Extras.Verified;
  std::erase_if(noted, [&](const VerifiedState& one) { return one.Unit == unit; });
  if (noted.size() >= kMostNoted) noted.erase(noted.begin());
  noted.push_back({std::u16string(unit), when, damaged});
}

std::u16string StateDateText(const JobState& state) {
  return state.Date == kZeroDate ? std::u16string(u"-") : IsoText(state.Date);
}

std::u16string_view StateKindText(const JobState& state) {
  return state.IsArchive ? u"壓縮檔" : u"資料夾";
}

std::u16string StateHealthText(const JobState& state) {
  switch (state.Health) {
    case StateHealth::Whole:
      return u"完整";
    case StateHealth::Failures:
      return Fill(TrCountLater(u"失敗 %1 個檔案"), {Grouped(state.Figures->Failed)});
    case StateHealth::Unknown:
      return u"不明";
    case StateHealth::Unfinished:
      return u"未完成";
    case StateHealth::Shared:
      return u"與其他排程共用";
    case StateHealth::Away:
      return u"磁碟不在";
  }
  return {};
}

std::u16string VerifiedText(const JobState& state) {
  if (!state.Verified) return u"-";
  std::u16string text = IsoText(state.Verified->When);
  if (state.Verified->Damaged == 0) return text;
  return Fill(u"%1 (損壞 %2)", {text, Grouped(state.Verified->Damaged)});
}

}  // namespace kavrel
