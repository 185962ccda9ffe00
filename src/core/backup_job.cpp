#include "core/backup_job.h"

#include <iterator>

#include "base/number.h"
#include "base/text.h"
#include "base/translation.h"
#include "files/path.h"

namespace kavrel {

namespace {

struct Interval {
  std::int32_t BackupJob::*Component;
  std::int32_t MaxCount;
  std::u16string_view Unit, Caption;
};

/// By IntervalKind.
constexpr Interval kIntervals[] = {
    {&BackupJob::EveryMinutes, 60, TrCountLater(u"%1 分"), u"每幾分鐘內備份一次"},
    {&BackupJob::EveryHours, 24, TrCountLater(u"%1 個小時"), u"每幾小時內備份一次"},
    {&BackupJob::EveryDays, 7, TrCountLater(u"%1 天"), u"每幾天內備份一次"},
    {&BackupJob::EveryWeeks, 5, TrCountLater(u"%1 個星期"), u"每幾週內備份一次"},
    {&BackupJob::EveryMonths, 12, TrCountLater(u"%1 個月"), u"每幾個月內備份一次"},
};

const Interval& IntervalOf(IntervalKind kind) {
  return kIntervals[static_cast<std::size_t>(kind)];
}

}  // namespace

std::u16string KeptName(std::u16string_view name) {
  return ReplaceAll(name, u"\"", u"'");
}

bool IsNamed(const BackupJob& job, std::u16string_view name) {
  return !job.Deleted && EqualNoCase(KeptName(job.Name), KeptName(name));
}

BackupType JobType(const BackupJob& job) {
  if (job.Compressed) return BackupType::Compressed;
  if (job.Synchronise) return BackupType::Synchronise;
  return job.Differential ? BackupType::Differential : BackupType::Full;
}

void SetJobType(BackupJob& job, BackupType type) {
  job.Compressed = type == BackupType::Compressed;
  job.Synchronise = type == BackupType::Synchronise;
  job.Differential = type == BackupType::Differential || type == BackupType::Synchronise;
}

std::u16string_view BackupTypeCaption(BackupType type) {
  constexpr std::u16string_view kCaptions[] = {
      u"完整備份　 -- 可備份所有的檔案和資料夾 ( 建議使用 )",
      u"差異性備份 -- 僅備份上次備份後所新增或修改過的檔案",
      u"同步備份　 -- 兩端的檔案與資料夾完全相同的備份模式",
      u"壓縮備份　 -- 將大量的檔案或資料壓縮至 7-Zip 格式",
  };
  return kCaptions[static_cast<std::size_t>(type)];
}

std::int32_t IntervalCount(const BackupJob& job, IntervalKind kind) {
  return job.*IntervalOf(kind).Component;
}

void SetInterval(BackupJob& job, IntervalKind kind, std::int32_t count) {
  for (const Interval& interval : kIntervals) job.*interval.Component = 0;
  job.*IntervalOf(kind).Component = count;
}

IntervalKind JobIntervalKind(const BackupJob& job) {
  for (std::size_t kind = std::size(kIntervals); kind-- > 0;) {
    if (job.*kIntervals[kind].Component > 0) return static_cast<IntervalKind>(kind);
  }
  return IntervalKind::Minutes;
}

std::u16string_view IntervalCaption(IntervalKind kind) {
  return IntervalOf(kind).Caption;
}

std::int32_t MaxIntervalCount(IntervalKind kind) {
  return IntervalOf(kind).MaxCount;
}

bool IsRefused(std::int32_t refused_days, int weekday) {
  return (refused_days & 1 << weekday) != 0;
}

std::u16string SourceFolderName(std::u16string_view path) {
  const char16_t separator = PathSeparator(path);
  path = DropBackslash(path);
  const std::size_t found = path.rfind(separator);
  return std::u16string(found == path.npos ? path.substr(0, 1) : path.substr(found + 1));
}

std::u16string MirrorPlace(const BackupJob& job) {
  std::u16string place = job.Destination.Path;
  if (job.AddSourceFolder) place += SourceFolderName(job.Source.Path);
  return place;
}

void NewJobDefaults(BackupJob& job, DateTime now, std::u16string_view default_destination) {
  job.JobIndex = -1;
  job.NextRun = std::chrono::floor<std::chrono::days>(now) + std::chrono::hours(1);
  SetInterval(job, IntervalKind::Minutes, 10);
  job.RefusedDays = 0;
  job.Name = TrLaterIn("name", u"新的備份排程");
  job.IncludeSubfolders = job.AddSourceFolder = true;
  job.Enabled = job.Synchronise = job.UseRecycleBin = false;
  job.Source.Path.clear();
  job.Destination.Path = default_destination;
  job.Differential = true;
  job.FileTypes = kAllFiles;
  job.ExcludeFileTypes = job.UsePassword = false;
  job.Password = kDefaultPassword;
  job.Extras = {};
}

std::u16string_view OnOffText(bool on) {
  return on ? u"啟動" : u"關閉";
}

std::u16string_view PasswordText(bool use_password) {
  return use_password ? u"加密" : u"不加密";
}

std::u16string SizeLimitText(const BackupJob& job) {
  if (!job.LimitFileSize) return u"不限制大小";
  return Fill(u"限制 ( %1 ) KB", {Decimal(job.MaxFileSizeKB)});
}

std::u16string IntervalText(const BackupJob& job) {
  std::u16string every;
  for (const Interval& interval : kIntervals) {
    const std::int32_t count = job.*interval.Component;
    if (count > 0) every += Fill(interval.Unit, {Decimal(count)});
  }
  return Fill(u"每 %1備份一次", {every});
}

std::u16string RefusedDaysText(std::int32_t refused_days) {
  std::u16string text;
  for (int weekday = 1; weekday <= 7; ++weekday) {
    if (!IsRefused(refused_days, weekday)) continue;
    if (!text.empty()) text += u", ";
    text += ShortWeekdayName(weekday);
  }
  return text.empty() ? u"不指定" : text;
}

std::u16string GuardText(const ExtraSettings& extras) {
  if (!extras.GuardMirror) return std::u16string(OnOffText(false));
  return Fill(u"啟動 ( 超過 %1 %，至少 %2 個檔案 )",
              {Decimal(extras.GuardPercent), Decimal(extras.GuardFewest)});
}

std::u16string RecoveryText(const ExtraSettings& extras) {
  if (extras.RecoveryPercent == 0) return std::u16string(OnOffText(false));
  return Decimal(extras.RecoveryPercent) + u" %";
}

std::u16string KeepText(const ExtraSettings& extras) {
  if (!extras.KeepPlan.empty()) return extras.KeepPlan;
  if (extras.KeepNewest == 0) return u"全部保留";
  return Fill(TrCountLater(u"最新 %1 份"), {Decimal(extras.KeepNewest)});
}

}  // namespace kavrel
