#include "core/job_form.h"

#include <algorithm>
#include <string_view>

#include "base/text.h"
#include "files/path.h"

namespace kavrel {

namespace {

constexpr std::int32_t kAllDays = 0xFE;

bool IsWholeWeeks(const JobForm& form) {
  return form.Interval == IntervalKind::Weeks ||
         (form.Interval == IntervalKind::Days && form.Count == 7);
}

/// The name of the first field that holds a TAB or a line break; empty when none does.
std::u16string_view UnstorableField(const JobForm& form) {
  const struct {
    std::u16string_view Label, Text;
  } fields[] = {{u"排程名稱", form.Name},
                {u"來源資料夾", form.Source},
                {u"目標資料夾", form.Destination},
                {u"檔案類型", form.FileTypes},
                {u"密碼", form.Password}};
  for (const auto& field : fields) {
    if (field.Text.find_first_of(u"\t\r\n") != field.Text.npos) return field.Label;
  }
  return {};
}

bool IsTaken(std::u16string_view name, const std::vector<BackupJob>& jobs, std::int32_t own) {
  return std::any_of(jobs.begin(), jobs.end(), [&](const BackupJob& other) {
    return !other.Deleted && other.JobIndex != own && EqualNoCase(other.Name, name);
  });
}

}  // namespace

JobForm FormOf(const BackupJob& job) {
  JobForm form;
  form.Name = job.Name;
  form.Source = job.Source.Path;
  form.Destination = job.Destination.Path;
  form.Type = JobType(job);
  form.Interval = JobIntervalKind(job);
  const std::int32_t count = IntervalCount(job, form.Interval);
  form.Count = count >= 0 && count <= MaxIntervalCount(form.Interval) ? count : 0;
  form.Start = job.NextRun;
  form.RefusedDays = job.RefusedDays & kAllDays;
  form.FileTypes = job.FileTypes;
  form.ExcludeFileTypes = job.ExcludeFileTypes;
  form.IncludeSubfolders = job.IncludeSubfolders;
  form.AddSourceFolder = job.AddSourceFolder;
  form.Enabled = job.Enabled;
  form.UseRecycleBin = job.UseRecycleBin;
  form.LimitFileSize = job.LimitFileSize;
  form.MaxFileSizeKB = job.LimitFileSize ? job.MaxFileSizeKB : 0;
  form.UsePassword = job.UsePassword;
  if (job.UsePassword) form.Password = job.Password;
  return form;
}

std::u16string FormCheckMessage(FormCheck check, const JobForm& form) {
  switch (check) {
    case FormCheck::NoInterval:
      return u"請選擇一個您所要備份的時間！";
    case FormCheck::WeekdayRefused:
      return u"您的指定的 " + std::u16string(WeekdayName(ToCivil(form.Start).Weekday)) +
             u" 時間並無法讓備份排程正常進行！";
    case FormCheck::AllDaysRefused:
      return u"您所指定的星期無法辨識，備份排程將會無法正常進行！";
    case FormCheck::DuplicateName:
      return u"備份排程名稱重複，請另外指定一個新的備份排程名稱。";
    case FormCheck::SourceMissing:
      return u"來源資料夾無法偵測到它的存在，請重新指定資源資料夾。";
    case FormCheck::NoDestination:
      return u"請先指定要備份的目標資料夾。";
    case FormCheck::Unstorable:
      return u"「" + std::u16string(UnstorableField(form)) +
             u"」含有定位字元或換行字元，無法儲存，請重新指定。";
    case FormCheck::Ok:
    case FormCheck::NoName:
      break;
  }
  return {};
}

FormCheck ApplyForm(const JobForm& form, const std::vector<BackupJob>& jobs,
                    const NextRunSearch& next_run_time, const FolderTest& folder_exists,
                    BackupJob& job) {
  if (form.Count <= 0) return FormCheck::NoInterval;
  if (IsWholeWeeks(form) && IsRefused(form.RefusedDays, ToCivil(form.Start).Weekday)) {
    return FormCheck::WeekdayRefused;
  }
  if ((form.RefusedDays & kAllDays) == kAllDays) return FormCheck::AllDaysRefused;
  if (!UnstorableField(form).empty()) return FormCheck::Unstorable;

  BackupJob edited = job;
  edited.Name = Trim(form.Name);
  if (edited.Name.empty()) return FormCheck::NoName;
  if (IsTaken(edited.Name, jobs, job.JobIndex)) return FormCheck::DuplicateName;
  edited.Source.Path = AddBackslash(Trim(form.Source));
  edited.Source.Kind = PathKind(edited.Source.Path);
  if (Trim(form.Source).empty() || !folder_exists(edited.Source.Path)) {
    return FormCheck::SourceMissing;
  }
  const std::u16string destination = WithoutBlanksAtSeparators(Trim(form.Destination));
  if (destination.empty()) return FormCheck::NoDestination;
  edited.Destination.Path = AddBackslash(destination);
  edited.Destination.Kind = PathKind(edited.Destination.Path);

  SetJobType(edited, form.Type);
  edited.Enabled = form.Enabled;
  edited.IncludeSubfolders = form.IncludeSubfolders;
  edited.AddSourceFolder = form.AddSourceFolder;
  edited.UseRecycleBin = form.Type == BackupType::Synchronise && form.UseRecycleBin;
  edited.FileTypes = form.FileTypes;
  edited.ExcludeFileTypes = form.ExcludeFileTypes;
  edited.LimitFileSize = form.LimitFileSize;
  edited.MaxFileSizeKB = form.LimitFileSize ? form.MaxFileSizeKB : 0;
  edited.UsePassword = form.UsePassword;
  edited.Password = form.UsePassword ? form.Password : std::u16string(kDefaultPassword);

  SetInterval(edited, form.Interval, form.Count);
  edited.RefusedDays = form.RefusedDays & kAllDays;
  edited.NextRun = form.Start;
  edited.NextRun = next_run_time(edited);
  job = std::move(edited);
  return FormCheck::Ok;
}

}  // namespace kavrel
