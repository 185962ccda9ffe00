#include "engine/drill.h"

#include <algorithm>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "base/number.h"
#include "base/text.h"
#include "engine/job_disks.h"
#include "engine/read_sum.h"
#include "engine/restore.h"
#include "engine/scrub.h"
#include "engine/verify.h"
#include "files/open_along.h"
#include "files/path.h"
#include "files/remove_tree.h"
#include "files/sum_list.h"
#include "log/log_end.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

/// Below the program folder. One that a killed test restore has left goes first.
constexpr std::u16string_view kDrillFolder = u"Drill.tmp";
/// A larger file is not taken: a test restore is to be short.
constexpr std::uint64_t kLargestDrilled = std::uint64_t{1} << 30;
/// To list an archive takes as long as to list thousands of files.
constexpr std::size_t kArchivesDrilled = 3;
constexpr std::u16string_view kUnreadable = u": 驗證檔案 (無法讀取)：";

struct Drilled {
  std::u16string Unit;  ///< a folder with its final separator, or an archive
  std::u16string Path;  ///< in it
  std::optional<ContentSum> Sum;
};

/// As many as asked for of all that it is shown, each with the same chance.
template <class Thing>
class Sample {
 public:
  explicit Sample(std::size_t most) : most_(most) {}

  template <class Make>
  void Show(const Make& make) {
    ++shown_;
    const std::size_t place = taken_.size() < most_ ? taken_.size() : chance_() % shown_;
    if (place >= most_) return;
    std::optional<Thing> thing = make();
    if (!thing) {
      --shown_;
    } else if (place == taken_.size()) {
      taken_.push_back(std::move(*thing));
    } else {
      taken_[place] = std::move(*thing);
    }
  }
  const std::vector<Thing>& Taken() const { return taken_; }

 private:
  const std::size_t most_;
  std::size_t shown_ = 0;
  std::vector<Thing> taken_;
  std::mt19937_64 chance_{std::random_device()()};
};

void ShowFolder(const RunContext& context, const ScrubPlace& place, Sample<Drilled>& sample) {
  const Result<Folder> root = context.Files.OpenFolder(place.Folder);
  if (!root) return;
  SumListReader list(*root, kSumList);
  while (const SumLine* line = list.Next()) {
    context.Host.PumpMessages();
    if (context.State.CancelRequested) return;
    sample.Show([&]() -> std::optional<Drilled> {
      const std::u16string path = FromUtf8(line->Path);
      const Result<Folder> folder = OpenBelow(root->Reopen(), RelativeFolder(path));
      const Result<FileStatus> status =
          folder ? folder->Status(RelativeName(path)) : Result<FileStatus>::Fail(folder.Error);
      // What is not there any more is to be missed.
      if (status && status->Size > kLargestDrilled) return std::nullopt;
      return Drilled{place.Folder, path, line->Sum};
    });
  }
}

/// False for one that cannot be listed: each holds something.
bool ShowArchive(const RunContext& context, const std::u16string& archive,
                 Sample<Drilled>& sample) {
  ClsArc archiver(context.Archiver, context.Files);
  archiver.OpenArchive(archive);
  for (const ArchiveEntry& entry : archiver.Entries) {
    const std::optional<double> size = ParseNumber(entry.FileSize);
    const bool file = entry.FileAttr.find_first_of(u"Dd") == entry.FileAttr.npos;
    if (!file || entry.FileName.empty() || !size || *size > double(kLargestDrilled)) continue;
    sample.Show([&]() -> std::optional<Drilled> {
      return Drilled{archive, entry.FileName, std::nullopt};
    });
  }
  return !archiver.Entries.empty();
}

class Drill {
 public:
  Drill(RunContext& context, const BackupJob& job, VerifyReport& report)
      : context_(context), job_(job), report_(report), reader_(context) {}

  void Run(const std::vector<ScrubPlace>& places);

 private:
  std::vector<Drilled> Choose(const std::vector<ScrubPlace>& places);
  void RestoreFrom(const std::u16string& unit, const std::vector<const Drilled*>& files,
                   const std::u16string& target);
  void Compare(const Drilled& file, const std::u16string& target);
  void RemoveTarget() { RemoveTree(program_, kDrillFolder); }

  RunContext& context_;
  const BackupJob& job_;
  VerifyReport& report_;
  SumReader reader_;
  Folder program_;
};

std::vector<Drilled> Drill::Choose(const std::vector<ScrubPlace>& places) {
  Sample<Drilled> sample(kDrillFiles);
  Sample<std::u16string> archives(kArchivesDrilled);
  for (const ScrubPlace& place : places) {
    if (place.Archives.empty()) ShowFolder(context_, place, sample);
    for (const std::string& name : place.Archives) {
      archives.Show([&] { return std::optional(place.Folder + FromUtf8(name)); });
    }
  }
  for (const std::u16string& archive : archives.Taken()) {
    if (ShowArchive(context_, archive, sample) || context_.State.CancelRequested) continue;
    TellDifference(context_, report_, &VerifyCounters::Unreadable, kUnreadable, archive, {},
                   ChangedSide::Copy);
  }
  return sample.Taken();
}

void Drill::Run(const std::vector<ScrubPlace>& places) {
  Result<Folder> program = context_.Files.OpenFolder(context_.Files.ProgramFolder());
  if (!program) {
    return TellDifference(context_, report_, &VerifyCounters::Unreadable, kUnreadable,
                          context_.Files.ProgramFolder());
  }
  program_ = std::move(*program);
  RemoveTarget();
  const std::vector<Drilled> chosen = Choose(places);
  std::map<std::u16string_view, std::vector<const Drilled*>> units;
  for (const Drilled& file : chosen) units[file.Unit].push_back(&file);
  const std::u16string target = JoinPath(context_.Files.ProgramFolder(), kDrillFolder);
  int number = 0;
  for (const auto& [unit, files] : units) {
    if (context_.State.CancelRequested) break;
    RestoreFrom(std::u16string(unit), files, JoinPath(target, Decimal(++number)));
  }
  RemoveTarget();
  context_.Report = {};
  context_.Report.Counters.SourceFiles = static_cast<std::uint32_t>(chosen.size());
  context_.Report.Counters.SourceBytes = report_.Bytes;
}

void Drill::RestoreFrom(const std::u16string& unit, const std::vector<const Drilled*>& files,
                        const std::u16string& target) {
  if (!context_.Files.MakeFolders(target)) {
    return TellDifference(context_, report_, &VerifyCounters::Unreadable, kUnreadable, target);
  }
  RestorePick pick;
  pick.Target = AddBackslash(target);
  for (const Drilled* file : files) pick.Paths.Add(file->Path);
  BackupJob job = job_;
  RestoreRequest request{RestoreMode::Full, &pick, {}, unit};
  request.InLog = true;
  const RunOutcome outcome = RunRestoreJob(context_, job, request).Outcome;
  const bool wrong = context_.Report.WrongPassword;
  report_.WrongPassword = report_.WrongPassword || wrong;
  if (outcome != RunOutcome::Ran || wrong) {
    return TellDifference(context_, report_, &VerifyCounters::Unreadable, kUnreadable, unit,
                          wrong ? std::u16string(kPasswordWrong) : context_.Report.RefusalText);
  }
  for (const Drilled* file : files) Compare(*file, target);
}

void Drill::Compare(const Drilled& file, const std::u16string& target) {
  if (context_.State.CancelRequested) return;
  const bool archive = !EndsWithSeparator(file.Unit);
  const std::u16string shown =
      archive ? file.Unit + u": " + file.Path : FileBelow(file.Unit, file.Path);
  const Result<Folder> folder =
      OpenBelow(context_.Files.OpenFolder(target), RelativeFolder(file.Path));
  const Result<FileStatus> status =
      folder ? folder->Status(RelativeName(file.Path)) : Result<FileStatus>::Fail(folder.Error);
  if (!status) {
    return TellDifference(context_, report_, &VerifyCounters::Missing, u": 驗證檔案 (缺少)：",
                          shown, {}, ChangedSide::Copy);
  }
  if (file.Sum && reader_.Read(*folder, RelativeName(file.Path)) != file.Sum) {
    if (context_.State.CancelRequested) return;
    return TellDifference(context_, report_, &VerifyCounters::Damaged, u": 驗證檔案 (內容損壞)：",
                          shown, kNotItsSum, ChangedSide::Copy);
  }
  ++report_.Counters.Equal;
  report_.Bytes += status->Size;
}

}  // namespace

VerifyReport RunDrillJob(RunContext& context, const BackupJob& stored) {
  VerifyReport report;
  report.BySums = report.Drill = true;
  BackupJob job = stored;
  job.Source.WorkPath = job.Source.Path;
  job.Destination.WorkPath = ExpandedDestination(job, context.Time);
  job.RunStarted = context.Time.Now();
  context.Report = {};
  DiskScope needed;
  needed.Source = needed.NewInSource = false;
  report.RefusalText = DiskObjection(context, job, needed);
  if (!report.RefusalText.empty()) {
    report.Outcome = RunOutcome::Guarded;
    return report;
  }
  std::vector<ScrubPlace> places = ScrubPlaces(context, job);
  std::erase_if(places,
                [&](const ScrubPlace& place) { return !context.Files.FolderExists(place.Folder); });
  report.Outcome = places.empty() ? RunOutcome::SourceMissing : RunOutcome::NothingPicked;
  std::erase_if(places, [&](const ScrubPlace& place) {
    return place.Archives.empty() && !NeedsNoSums(context.Files, place.Folder);
  });
  if (places.empty()) return report;
  if (job.Compressed && !context.Archiver.Present()) {
    report.Outcome = RunOutcome::NoArchiver;
    return report;
  }
  LogVerification(context, job, report, [&] {
    context.LogTimed(u": 試行還原：", Decimal(static_cast<std::int64_t>(kDrillFiles)));
    Drill(context, job, report).Run(places);
  });
  return report;
}

}  // namespace kavrel
