#include "app/job_preview.h"

#include <algorithm>

#include "app/program.h"
#include "app/state_forecast.h"
#include "archive/recovery_data.h"
#include "base/text.h"
#include "base/translation.h"
#include "engine/run_driver.h"
#include "files/folder_identity.h"
#include "files/path.h"
#include "files/place.h"
#include "schedule/next_run.h"
#include "walk/same_folder.h"
#include "walk/source_place.h"

namespace kavrel {

namespace {

constexpr std::size_t kDueTimes = 3;

/// Stands still.
class MomentClock final : public Clock {
 public:
  explicit MomentClock(DateTime moment) : moment_(moment) {}
  DateTime Now() override { return moment_; }
  std::uint64_t TickCount() override { return 0; }
  void Sleep(std::uint32_t) override {}

 private:
  DateTime moment_;
};

std::vector<DateTime> DueTimes(BackupJob job, DateTime now) {
  job.Enabled = true;
  const DateTime next = NextRunTime(job, now);
  if (next < now || IsRefused(job.RefusedDays, ToCivil(next).Weekday)) return {};
  return RunsFrom(job, next, now, kDueTimes);
}

bool IsSame(const FileStatus& a, const FileStatus& b) {
  return a.Device == b.Device && a.Id == b.Id;
}

bool IsOnNetwork(const Program& program, std::u16string_view path) {
  const std::optional<std::string> host = program.Files.HostPath(path);
  return PathKind(path) != 1 || (host && !program.Mounts.WaitingPoint(FromUtf8(*host)).empty());
}

/// Whether a folder above the destination is the source's root, seen through something that gives
/// it another number.
bool LiesInView(const Program& program, const SourcePlace& place, const Folder& source,
                std::u16string_view destination) {
  const bool source_relayed = source.Manners().Relayed;
  const std::u16string real = RealPlace(program.Files, destination);
  std::u16string_view below = DropBackslash(real);
  for (;;) {
    const std::u16string_view above = PathFolder(below);
    if (above.empty() || above.size() >= below.size()) return false;
    const Result<Folder> folder = program.Files.OpenFolder(above);
    // To what leads to the destination the source must have the same name.
    const std::u16string_view name = PathName(below);
    if (folder && (source_relayed || folder->Manners().Relayed) &&
        bool(folder->Status(name)) == bool(source.Status(name)) &&
        (place.Is(*folder) || LooksAlike(source, *folder, false))) {
      return true;
    }
    below = DropBackslash(above);
  }
}

/// How the destination lies to the source; empty when there is nothing to say.
std::u16string_view CheckPlaces(const Program& program, std::u16string_view source_path,
                                std::u16string_view destination_path, std::uint32_t patience) {
  constexpr std::u16string_view kEqual = u"目標資料夾就是來源資料夾，什麼都不會備份。";
  constexpr std::u16string_view kInside = u"目標資料夾位於來源資料夾之內。";
  if (PathStartsWith(destination_path, source_path)) {
    return destination_path.size() == source_path.size() ? kEqual : kInside;
  }
  for (const std::u16string_view path : {source_path, destination_path}) {
    const bool answers =
        !IsOnNetwork(program, path) || (patience > 0 && program.Files.Answers(path, patience));
    if (!answers) return {};
  }
  const Result<Folder> source = program.Files.OpenFolder(source_path);
  const Place destination = FindPlace(program.Files, destination_path);
  if (!source || !destination.Nearest) return {};
  const Result<FileStatus> status = source->Status();
  const Result<std::vector<FileStatus>> lineage = destination.Nearest.Lineage();
  if (!status || !lineage || lineage->empty()) return {};
  const auto found = std::find_if(lineage->begin(), lineage->end(), [&](const FileStatus& folder) {
    return IsSame(folder, *status);
  });
  if (found != lineage->end()) {
    return found == lineage->begin() && destination.Exists ? kEqual : kInside;
  }
  const Result<std::vector<FileStatus>> above = source->Lineage();
  const bool in_destination =
      above && destination.Exists &&
      std::any_of(above->begin(), above->end(),
                  [&](const FileStatus& folder) { return IsSame(folder, lineage->front()); });
  const SourcePlace place(program.Files, source_path, *source, destination.Nearest);
  if (destination.Exists && place.Is(destination.Nearest)) return kEqual;
  if (in_destination || (destination.Exists && place.IsIn(destination.Nearest))) {
    return u"來源資料夾位於目標資料夾之內，什麼都不會備份。";
  }
  if (LiesInView(program, place, *source, destination_path)) return kInside;
  if (OnSameDisk(status->Device, lineage->front().Device)) {
    return u"目標與來源在同一個磁碟上，磁碟損壞時兩者會一起失去。";
  }
  return {};
}

/// The other jobs that write there, too. Those of the network are known by their paths alone.
std::vector<const BackupJob*> SharingJobs(const Program& program, Clock& clock,
                                          std::u16string_view folder, std::int32_t own) {
  const std::vector<BackupJob>& jobs = program.Store.Jobs;
  return JobsOfFolder(program.Files, clock, jobs, folder, own,
                      [&](std::u16string_view path) { return !IsOnNetwork(program, path); });
}

/// Why the destination cannot be written to at the moment; empty when it can.
std::u16string CheckMounted(const Program& program, std::u16string_view path) {
  if (PathKind(path) == 3) return u"無法備份到 FTP 位址。";
  if (!IsPosixPath(path)) {
    const std::u16string drive = SplitRulePath(path).Drive;
    if (drive.empty()) return u"目標資料夾不是完整的路徑。";
    const bool reachable = PathKind(path) == 2 || IsOnNetwork(program, path)
                               ? program.Files.HostPath(path).has_value()
                               : program.Files.FolderExists(drive + u"\\");
    return reachable ? std::u16string() : Fill(u"目標磁碟「%1」目前無法使用。", {drive});
  }
  const std::u16string missing = program.Mounts.MissingPoint(path);
  return missing.empty() ? missing : Fill(u"目標磁碟「%1」目前沒有掛載。", {missing});
}

}  // namespace

JobPreview PreviewJob(const Program& program, const JobForm& form, const BackupJob* own,
                      std::uint32_t patience) {
  JobPreview preview;
  BackupJob job;
  if (own) job = *own;
  FillJob(form, job);
  const DateTime now = program.Context.Time.Now();
  if (form.KeepInterval || form.Count > 0) preview.Due = DueTimes(job, now);
  if (!Trim(form.Source).empty() && !IsOnNetwork(program, job.Source.Path) &&
      !program.Files.FolderExists(job.Source.Path)) {
    preview.Warnings.push_back(Fill(u"找不到來源資料夾「%1」。", {job.Source.Path}));
  }

  if (form.UsePassword && form.Password.empty()) {
    preview.Warnings.push_back(
        Fill(u"尚未輸入密碼，壓縮檔將以預設密碼「%1」加密。", {kDefaultPassword}));
  }
  if (form.Type == BackupType::Compressed && !program.Archiver.Present()) {
    preview.Warnings.push_back(u"找不到 7-Zip 程式，壓縮備份無法執行。");
  }
  if (form.Type == BackupType::Compressed && form.Extras.RecoveryPercent > 0 &&
      !RecoveryProgram(program.Files).Present()) {
    preview.Warnings.push_back(u"找不到 par2 程式，壓縮檔不會有修復資料。");
  }
  if (Trim(form.Destination).empty()) return preview;

  MomentClock at_next_run(form.Enabled && !preview.Due.empty() ? preview.Due.front() : now);
  const std::u16string folder = ExpandedDestination(job, at_next_run);
  preview.Destination = folder;
  if (form.Type == BackupType::Compressed) {
    preview.Destination = JoinPath(folder, ArchiveStamp(at_next_run.Now()) + u".7z");
  }
  if (!IsOnNetwork(program, folder)) preview.States = StateForecast(program, job);
  std::u16string warning = CheckMounted(program, folder);
  if (warning.empty() && !Trim(form.Source).empty()) {
    warning = CheckPlaces(program, job.Source.Path, AddBackslash(folder), patience);
  }
  if (!warning.empty()) preview.Warnings.push_back(warning);
  if (form.Type != BackupType::Compressed && program.Exclusions.IsFolderExcluded(job.Source.Path)) {
    preview.Warnings.push_back(u"排除規則排除了整個來源資料夾，什麼都不會備份。");
  }
  for (const BackupJob* other : SharingJobs(program, at_next_run, folder, job.JobIndex)) {
    preview.Warnings.push_back(
        Fill(u"排程「%1」也備份到這個資料夾，兩者的檔案會混在一起。", {other->Name}));
  }
  return preview;
}

}  // namespace kavrel
