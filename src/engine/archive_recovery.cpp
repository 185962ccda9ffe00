#include "engine/archive_recovery.h"

#include <optional>

#include "archive/archive_check.h"
#include "archive/host_monitor.h"
#include "archive/recovery_data.h"
#include "archive/staging.h"
#include "base/text.h"
#include "engine/archive_sum.h"
#include "engine/content_sums.h"
#include "engine/damaged_copies.h"
#include "engine/read_sum.h"
#include "files/file_copy.h"
#include "files/path.h"
#include "log/log_end.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kNoPlace = u"無法建立暫存資料夾";
constexpr std::uint32_t kPermissions = 0777;

/// Copies a file into the folder `to`. The program gets nothing that others see, too: one that
/// fails must not spoil what is left of the archive.
ErrorCode BringIn(RunContext& context, const Folder& from, std::u16string_view name,
                  const Folder& to, std::u16string_view as) {
  const Result<FileStatus> status = from.Status(name);
  if (!status) return status.Error;
  CopyContext copying{.State = context.State, .Time = context.Time, .Pump = &context.Host};
  const CopyResult copied =
      CopyFileChunked(copying, {from, {}, name, &*status}, {to, {}, as, nullptr}, false);
  if (!copied.Failed) return 0;
  return context.State.LastApiError > 0 ? context.State.LastApiError : kErrAccess;
}

/// One repair, whose folder goes with it.
class Repair {
 public:
  Repair(RunContext& context, const BackupJob& job, std::u16string_view archive)
      : context_(context),
        job_(job),
        archive_(archive),
        name_(PathName(archive)),
        staging_(context.Files, context.Time, context.Staged, PathFolder(archive),
                 context.Archiving().HasLostDisk) {}

  /// As RepairArchive.
  std::u16string Run(std::u16string& why) {
    std::u16string kept;
    why = Prepare();
    if (why.empty()) why = Make();
    if (why.empty()) why = Doubt();
    if (why.empty()) why = Exchange(kept);
    if (!why.empty()) return {};
    return kept;
  }

 private:
  /// Each gives what stands in the way; empty: nothing.
  std::u16string Prepare();
  std::u16string Make();
  std::u16string Doubt();
  std::u16string Exchange(std::u16string& kept);
  /// What made the archive this job's, and when it was written, is so of the new file as well.
  ErrorCode Carry();

  RunContext& context_;
  const BackupJob& job_;
  const std::u16string_view archive_, name_;
  Staging staging_;
  Folder folder_, made_;
};

std::u16string Repair::Prepare() {
  if (!RecoveryProgram(context_.Files).Present()) return std::u16string(kNoRecoveryProgram);
  Result<Folder> folder = context_.Files.OpenFolder(PathFolder(archive_));
  if (!folder) return ApiErrorText(folder.Error);
  folder_ = std::move(*folder);
  if (!staging_) return std::u16string(kNoPlace);
  Result<Folder> made = context_.Files.OpenFolder(staging_.Path());
  if (!made) return ApiErrorText(made.Error);
  made_ = std::move(*made);
  ErrorCode error = BringIn(context_, folder_, name_, made_, kDamagedArchive);
  if (!error) {
    error = BringIn(context_, folder_, RecoveryName(name_), made_, kRecoveryCopy);
  }
  return error ? ApiErrorText(error) : std::u16string();
}

std::u16string Repair::Make() {
  ArchiveContext archiving = context_.Archiving();
  HostMonitor monitor(archiving, archive_, staging_.Path());
  const RecoveryEnd end = RecoveryProgram(context_.Files).Repair(staging_.Path(), &monitor);
  if (end.Cancelled) return u"已取消";
  return end.Why;
}

std::u16string Repair::Doubt() {
  const Result<FileStatus> status = made_.Status(name_);
  if (!status) return ApiErrorText(status.Error);
  if (const ErrorCode error = staging_.Sync(name_)) return ApiErrorText(error);
  const std::optional<ContentSum> sum =
      status->Kind == FileKind::File ? SumReader(context_).Read(made_, name_) : std::nullopt;
  if (!sum || !SumIndex(folder_).Has({*sum, ToUtf8(name_)})) {
    return u"修復的結果與備份時的校驗碼不符";
  }
  ArchiveContext archiving = context_.Archiving();
  const ArchiveCheck check = CheckArchive(archiving, job_, JoinPath(staging_.Path(), name_));
  if (check.Result == 0) return {};
  return std::u16string(check.WrongPassword ? kPasswordWrong : u"修復的結果沒有通過壓縮檔的測試");
}

ErrorCode Repair::Carry() {
  const Result<File> damaged = folder_.OpenFile(name_);
  Result<File> made = made_.OpenFile(name_);
  if (!damaged || !made) return damaged ? made.Error : damaged.Error;
  const Result<FileStatus> status = damaged->Status();
  if (!status) return status.Error;
  if (const ErrorCode error = made->SetAttributes(*status, *damaged)) return error;
  if (const Result<std::string> remark = folder_.ReadRemark(name_)) {
    if (const ErrorCode error = made_.WriteRemark(name_, *remark)) return error;
  }
  return made->SetTimes(*status);
}

std::u16string Repair::Exchange(std::u16string& kept) {
  ErrorCode error = Carry();
  if (!error) error = staging_.Sync(name_);
  const Result<Folder> aside =
      error ? Result<Folder>::Fail(error) : PlaceForDamaged(folder_, name_, kept);
  if (!aside) return ApiErrorText(aside.Error);
  // Where a file can have two names, there is an archive under its own at every moment.
  const bool linked = aside->LinkFile(folder_, name_, name_) == 0;
  if (!linked) error = aside->TakeOver(folder_, name_);
  if (!error) error = aside->Sync();
  File replaced;
  if (!error) error = staging_.Place(name_, replaced);
  if (error && linked) aside->RemoveFile(name_);
  if (error && !linked) folder_.TakeOver(*aside, name_);
  if (error) return ApiErrorText(error);
  folder_.Sync();
  kept = FileBelow(PathFolder(archive_), kept);
  return {};
}

/// Makes the file in a folder of its own, from where it takes its name. What stood in the way, in
/// words; empty for nothing, and after a cancel.
std::u16string MakeStaged(RunContext& context, const BackupJob& job, std::u16string_view archive) {
  const RecoveryProgram program(context.Files);
  if (!program.Present()) return std::u16string(kNoRecoveryProgram);
  const Result<FileStatus> status = context.Files.Status(archive);
  if (!status) return ApiErrorText(status.Error);
  const std::u16string_view folder = PathFolder(archive);
  Staging staging(context.Files, context.Time, context.Staged, folder,
                  context.Archiving().HasLostDisk);
  if (!staging) return std::u16string(kNoPlace);
  ArchiveContext archiving = context.Archiving();
  HostMonitor monitor(archiving, archive, folder);
  const RecoveryEnd end =
      program.Make(archive, status->Size, job.Extras.RecoveryPercent, staging.Path(), &monitor);
  if (!end.Done) return end.Why;
  const std::u16string name = RecoveryName(PathName(archive));
  // It tells as much as the archive itself.
  ErrorCode error = staging.SetPermissions(name, status->Mode & kPermissions);
  if (!error) error = staging.Sync(name);
  File replaced;
  if (!error) error = staging.Place(name, replaced);
  if (error) return ApiErrorText(error);
  context.LogTimed(u": 建立修復資料 (成功)：", RecoveryName(archive));
  return {};
}

}  // namespace

void MakeRecovery(RunContext& context, const BackupJob& job, std::u16string_view archive) {
  if (context.Stopped()) return;
  if (job.Extras.RecoveryPercent > 0) {
    context.Report.NoRecovery = MakeStaged(context, job, archive);
  }
  SumArchive(context, job, RecoveryName(archive));
  if (context.Report.NoRecovery.empty()) return;
  ++context.Report.Counters.WarningFiles;
  context.Tell(u": 建立修復資料 (失敗)：", archive, context.Report.NoRecovery);
}

std::u16string RemakeRecovery(RunContext& context, const BackupJob& job,
                              std::u16string_view archive) {
  std::u16string why = MakeStaged(context, job, archive);
  if (why.empty()) SumArchive(context, job, RecoveryName(archive));
  return why;
}

bool HasRecovery(const FileSystem& files, std::u16string_view archive) {
  return bool(files.Status(RecoveryName(archive)));
}

std::u16string RepairArchive(RunContext& context, const BackupJob& job, std::u16string_view archive,
                             std::u16string& why) {
  return Repair(context, job, archive).Run(why);
}

}  // namespace kavrel
