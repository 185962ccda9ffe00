#include "engine/scrub.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <set>
#include <unordered_set>
#include <utility>

#include "archive/compressed_backup.h"
#include "archive/recovery_data.h"
#include "base/number.h"
#include "base/text.h"
#include "engine/archive_recovery.h"
#include "engine/read_sum.h"
#include "engine/states.h"
#include "engine/verify.h"
#include "files/open_along.h"
#include "files/owner_mark.h"
#include "files/path.h"
#include "files/path_set.h"
#include "files/sum_list.h"
#include "platform/error_codes.h"
#include "rules/date_tokens.h"

namespace kavrel {

namespace {

/// What opening a file costs beside reading it, in bytes read meanwhile.
constexpr std::uint64_t kPerFile = std::uint64_t{64} << 10;
constexpr std::u16string_view kUnreadable = u": 驗證檔案 (無法讀取)：";
/// So many files with other names are remembered, 16 bytes each and more for the set.
constexpr std::size_t kMostRemembered = 1'000'000;

/// The files of a place, by the paths of its list. The folder of the last one stays open.
class ListedFiles {
 public:
  explicit ListedFiles(const FileSystem& files, const ScrubPlace& place)
      : root_(files.OpenFolder(place.Folder)) {}

  const Result<Folder>& FolderOf(std::u16string_view path) {
    const std::u16string_view below = RelativeFolder(path);
    if (!opened_ || below != below_) {
      below_ = below;
      opened_ = root_ ? OpenBelow(root_->Reopen(), below) : Result<Folder>::Fail(root_.Error);
    }
    return *opened_;
  }

 private:
  const Result<Folder> root_;
  std::u16string below_;
  std::optional<Result<Folder>> opened_;
};

/// Whether a line is of what is read: of all in a folder, or of one of these archives and its
/// recovery data.
bool Counts(const ScrubPlace& place, const SumLine& line) {
  if (place.Archives.empty()) return true;
  const std::u16string name = FromUtf8(line.Path);
  return place.Archives.contains(ToUtf8(RecoveredArchive(name)));
}

class Rereading {
 public:
  Rereading(RunContext& context, const std::vector<ScrubPlace>& places, VerifyReport& report)
      : context_(context), places_(places), report_(report), reader_(context) {}

  void Run(ScrubTurn* turn) {
    if (!turn || turn->Parts < 2) {
      ReadFrom(0, 0, nullptr);
    } else {
      RunPart(*turn);
    }
  }

 private:
  void RunPart(ScrubTurn& turn);
  /// Of all that is listed.
  std::uint64_t Weight();
  /// Reads on from a line of a place, as long as `room` is left. False when it was used up, or the
  /// run was cancelled; then next_ is where to go on.
  bool ReadFrom(std::size_t place, std::uint64_t line, std::uint64_t* room);
  bool ReadPlace(const ScrubPlace& place, std::uint64_t from, std::uint64_t* room);
  /// Calls with each line of a place that counts, from a line on, until it gives false.
  template <class Use>
  bool EachLine(const ScrubPlace& place, std::uint64_t from, const Use& use);
  void Check(const ScrubPlace& place, ListedFiles& listed, const SumLine& line);
  /// Of what is damaged or missing: whether a verification may make it good.
  void TellMending(const ScrubPlace& place, const std::u16string& path);
  /// Of what has no line nothing is known.
  void TellUnlisted(const ScrubPlace& place, std::uint64_t lines);
  void Differs(std::uint32_t VerifyCounters::*kind, std::u16string_view text,
               const ScrubPlace& place, std::u16string_view path, std::u16string_view why = {}) {
    TellDifference(context_, report_, kind, text, FileBelow(place.Folder, path), why,
                   kind == &VerifyCounters::Unreadable ? ChangedSide::Unknown : ChangedSide::Copy);
  }
  bool GoesOn() const { return !context_.State.CancelRequested; }

  RunContext& context_;
  const std::vector<ScrubPlace>& places_;
  VerifyReport& report_;
  SumReader reader_;
  std::unordered_set<std::uint64_t> read_;
  std::pair<std::size_t, std::uint64_t> next_;
};

template <class Use>
bool Rereading::EachLine(const ScrubPlace& place, std::uint64_t from, const Use& use) {
  const Result<Folder> root = context_.Files.OpenFolder(place.Folder);
  if (!root) return true;
  SumListReader list(*root, kSumList);
  for (std::uint64_t at = 0; const SumLine* line = list.Next(); ++at) {
    if (at < from || !Counts(place, *line)) continue;
    context_.Host.PumpMessages();
    if (!GoesOn() || !use(*line, at)) return false;
  }
  return true;
}

std::uint64_t Rereading::Weight() {
  std::uint64_t weight = 0;
  for (const ScrubPlace& place : places_) {
    ListedFiles listed(context_.Files, place);
    EachLine(place, 0, [&](const SumLine& line, std::uint64_t) {
      const std::u16string path = FromUtf8(line.Path);
      const Result<Folder>& folder = listed.FolderOf(path);
      const Result<FileStatus> status =
          folder ? folder->Status(RelativeName(path)) : Result<FileStatus>::Fail(folder.Error);
      weight += kPerFile + (status ? status->Size : 0);
      return true;
    });
  }
  return weight;
}

bool Rereading::ReadPlace(const ScrubPlace& place, std::uint64_t from, std::uint64_t* room) {
  ListedFiles listed(context_.Files, place);
  const std::uint32_t faults = report_.Counters.Differences();
  std::set<std::string> unknown = place.Archives;
  std::uint64_t lines = 0;
  const bool all = EachLine(place, from, [&](const SumLine& line, std::uint64_t at) {
    ++lines;
    unknown.erase(line.Path);
    if (room && *room == 0) {
      next_.second = at;
      return false;
    }
    const std::uint64_t before = report_.Bytes;
    Check(place, listed, line);
    const std::uint64_t used = kPerFile + report_.Bytes - before;
    if (room) *room -= std::min(*room, used);
    return true;
  });
  if (!all || from > 0) return all;
  for (const std::string& name : unknown) {
    context_.LogTimed(u": 沒有校驗碼，不能重讀比對：", place.Folder + FromUtf8(name));
  }
  if (place.Archives.empty()) {
    TellUnlisted(place, lines);
    report_.Units.push_back({place.Folder, kZeroDate, report_.Counters.Differences() - faults});
  }
  return true;
}

bool Rereading::ReadFrom(std::size_t place, std::uint64_t line, std::uint64_t* room) {
  for (; place < places_.size(); ++place, line = 0) {
    next_ = {place, line};
    if (!ReadPlace(places_[place], line, room)) return false;
  }
  next_ = {};
  return true;
}

void Rereading::RunPart(ScrubTurn& turn) {
  std::uint64_t room = Weight() / turn.Parts + 1;
  const auto same = std::find_if(places_.begin(), places_.end(), [&](const ScrubPlace& place) {
    return place.Folder == turn.Folder;
  });
  const bool there = same != places_.end();
  // Behind one that is gone comes the next of their names, which their dates are.
  const auto next = std::find_if(places_.begin(), places_.end(), [&](const ScrubPlace& place) {
    return place.Folder > turn.Folder;
  });
  const auto from = there ? same : next == places_.end() ? places_.begin() : next;
  const auto begin = static_cast<std::size_t>(from - places_.begin());
  const std::uint64_t line = there ? turn.Line : 0;
  // A part that reaches the end goes on with the oldest; it never comes to where it began.
  if (ReadFrom(begin, line, &room) && GoesOn() && begin + line > 0) ReadFrom(0, 0, &room);
  if (!GoesOn() || places_.empty()) return;
  turn.Folder = places_[next_.first].Folder;
  turn.Line = next_.second;
}

/// Regular files of a folder and all below it, but for the backup's own; at most `most`. What
/// cannot be listed counts as one.
std::uint64_t CountFiles(const Folder& folder, bool top, std::uint64_t most) {
  std::uint64_t files = 0;
  FolderReader reader(folder);
  const FolderEntry* entry = nullptr;
  while (files < most && (entry = reader.Next())) {
    if (top && IsBackupsOwn(entry->Name)) continue;
    if (entry->Kind == FileKind::File) ++files;
    if (entry->Kind != FileKind::Folder) continue;
    const Result<Folder> below = folder.OpenFolder(entry->Name);
    files += below ? CountFiles(*below, false, most - files) : 1;
  }
  return reader.Error() != 0 && files < most ? files + 1 : files;
}

void Rereading::TellUnlisted(const ScrubPlace& place, std::uint64_t lines) {
  const Result<Folder> root = context_.Files.OpenFolder(place.Folder);
  const std::uint64_t files =
      root ? CountFiles(*root, true, std::numeric_limits<std::uint64_t>::max()) : 0;
  if (files <= lines) return;
  report_.Unlisted += files - lines;
  context_.LogTimed(u": 沒有校驗碼的檔案總計：",
                    Decimal(static_cast<std::int64_t>(files - lines)) + u", " + place.Folder);
}

void Rereading::TellMending(const ScrubPlace& place, const std::u16string& path) {
  if (place.Archives.empty()) return;
  const std::u16string file = FileBelow(place.Folder, path);
  const bool is_recovery = RecoveredArchive(path) != path;
  if (!is_recovery && !HasRecovery(context_.Files, file)) return;
  ++report_.BadCopies;
  context_.LogTimed(is_recovery ? kMayBeRemade : kMayBeRepaired, file);
}

void Rereading::Check(const ScrubPlace& place, ListedFiles& listed, const SumLine& line) {
  const std::u16string path = FromUtf8(line.Path);
  const std::u16string_view name = RelativeName(path);
  RunCounters& counters = context_.Report.Counters;
  VerifyCounters& found = report_.Counters;
  ++counters.SourceFiles;
  const Result<Folder>& folder = listed.FolderOf(path);
  const Result<FileStatus> status =
      folder ? folder->Status(name) : Result<FileStatus>::Fail(folder.Error);
  if (!status && IsNotFound(status.Error)) {
    Differs(&VerifyCounters::Missing, u": 驗證檔案 (缺少)：", place, path);
    return TellMending(place, path);
  }
  if (!status) return Differs(&VerifyCounters::Unreadable, kUnreadable, place, path);
  if (status->Kind != FileKind::File) {
    return Differs(&VerifyCounters::Damaged, u": 驗證檔案 (種類不同)：", place, path);
  }
  context_.Host.DrawCaptions(place.Folder, {}, path);
  counters.SourceBytes += status->Size;
  // Names of one file have one content.
  const std::string identity = std::to_string(status->Device) + '/' + std::to_string(status->Id);
  const std::uint64_t key = status->Links > 1 ? HashOf(SumLine{line.Sum, identity}) : 0;
  if (key != 0 && read_.contains(key)) {
    ++found.Equal;
    return;
  }
  const std::optional<ContentSum> sum = reader_.Read(*folder, name);
  if (!GoesOn()) return;
  if (!sum) return Differs(&VerifyCounters::Unreadable, kUnreadable, place, path);
  report_.Bytes += status->Size;
  if (*sum != line.Sum) {
    Differs(&VerifyCounters::Damaged, u": 驗證檔案 (內容損壞)：", place, path, kNotItsSum);
    return TellMending(place, path);
  }
  ++found.Equal;
  if (key != 0 && read_.size() < kMostRemembered) read_.insert(key);
}

/// The archives of the job, by their folders.
void AddArchive(std::vector<ScrubPlace>& places, std::u16string_view archive) {
  const std::u16string_view folder = PathFolder(archive);
  auto place = std::find_if(places.begin(), places.end(), [&](const ScrubPlace& one) {
    return one.Folder == folder && !one.Archives.empty();
  });
  if (place == places.end()) {
    place = places.insert(places.end(), {std::u16string(folder), {}});
  }
  place->Archives.insert(ToUtf8(PathName(archive)));
}

void AddUnit(std::vector<ScrubPlace>& places, std::u16string_view unit) {
  if (EndsWithSeparator(unit)) {
    places.push_back({std::u16string(unit), {}});
  } else {
    AddArchive(places, unit);
  }
}

/// Whether nobody else's mark lies there: a state that has been moved, or lost its mark, is none of
/// the job's to anybody who writes, but what it holds is still to be right.
bool MayBeOwn(const Folder& folder, std::u16string_view archive, const BackupJob& job) {
  const Result<OwnerMark> mark = ReadOwnerMark(folder, archive);
  return !mark || mark->Names(job.Extras.Id);
}

/// Archives that a list tells of and that are no states any more: what has been cut off, or has
/// taken another's place, would be passed over.
void AddListed(const RunContext& context, const BackupJob& job, std::vector<ScrubPlace>& places) {
  std::set<std::u16string> folders;
  if (!HasDateTags(job.Destination.Path)) {
    folders.insert(AddBackslash(ExpandedDestination(job, context.Time)));
  }
  for (const ScrubPlace& place : places) folders.insert(place.Folder);
  for (const std::u16string& unit : job.Extras.Made) {
    if (!EndsWithSeparator(unit)) folders.emplace(PathFolder(unit));
  }
  for (const std::u16string& path : folders) {
    const Result<Folder> folder = context.Files.OpenFolder(path);
    if (!folder) continue;
    SumListReader list(*folder, kSumList);
    while (const SumLine* line = list.Next()) {
      const std::u16string name = FromUtf8(line->Path);
      const bool beside = name.find(u'/') == name.npos && IsArchiveName(name);
      if (!beside || !folder->Status(name)) continue;
      if (MayBeOwn(*folder, name, job)) AddArchive(places, path + name);
    }
  }
}

/// A dated folder that has a list, though it is not, or not any more, where it was made.
bool IsMovedState(const FileSystem& files, const BackupJob& job, const JobState& state) {
  if (state.IsArchive || !HasSums(files, state.Unit)) return false;
  const Result<Folder> folder = files.OpenFolder(state.Unit);
  return folder && MayBeOwn(*folder, {}, job);
}

}  // namespace

bool HasSums(const FileSystem& files, std::u16string_view folder) {
  const Result<Folder> opened = files.OpenFolder(folder);
  return opened && SumListReader(*opened, kSumList).Next();
}

bool NeedsNoSums(const FileSystem& files, std::u16string_view folder) {
  if (HasSums(files, folder)) return true;
  const Result<Folder> opened = files.OpenFolder(folder);
  return opened && CountFiles(*opened, true, 1) == 0;
}

std::vector<ScrubPlace> ScrubPlaces(const RunContext& context, const BackupJob& job,
                                    std::u16string_view unit) {
  std::vector<ScrubPlace> places;
  if (!unit.empty()) {
    AddUnit(places, unit);
  } else if (!job.Compressed && !HasDateTags(job.Destination.Path)) {
    AddUnit(places, AddBackslash(ExpandedDestination(job, context.Time)));
  } else {
    std::vector<JobState> states = ListStates(context, job);
    std::reverse(states.begin(), states.end());
    for (const JobState& state : states) {
      const bool there =
          state.Health != StateHealth::Away && state.Health != StateHealth::Unfinished;
      if (there && (state.Own || IsMovedState(context.Files, job, state))) {
        AddUnit(places, state.Unit);
      }
    }
    if (job.Compressed) AddListed(context, job, places);
  }
  return places;
}

std::u16string ScrubTurnText(const ScrubTurn& turn) {
  return Decimal(static_cast<std::int64_t>(turn.Line)) + u' ' + turn.Folder;
}

ScrubTurn ParseScrubTurn(std::u16string_view text) {
  ScrubTurn turn;
  const std::size_t blank = text.find(u' ');
  const std::optional<double> line = ParseNumber(text.substr(0, blank));
  if (blank == text.npos || !line || *line < 0 || *line > 9e15) return turn;
  turn.Folder = text.substr(blank + 1);
  turn.Line = static_cast<std::uint64_t>(*line);
  return turn;
}

void ReadAgain(RunContext& context, const std::vector<ScrubPlace>& places, VerifyReport& report,
               ScrubTurn* turn) {
  Rereading(context, places, report).Run(turn);
}

}  // namespace kavrel
