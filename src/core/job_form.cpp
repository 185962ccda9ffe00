#include "core/job_form.h"

#include <algorithm>
#include <string_view>

#include "base/number.h"
#include "base/text.h"
#include "base/translation.h"
#include "core/keep_plan.h"
#include "files/path.h"

namespace kavrel {

namespace {

constexpr std::int32_t kAllDays = 0xFE;

constexpr IntervalKind kKinds[] = {IntervalKind::Minutes, IntervalKind::Hours, IntervalKind::Days,
                                   IntervalKind::Weeks, IntervalKind::Months};

/// Whether the interval has a unit above zero, and none below.
bool MovesForward(const BackupJob& job) {
  bool any = false;
  for (const IntervalKind kind : kKinds) {
    if (IntervalCount(job, kind) < 0) return false;
    any = any || IntervalCount(job, kind) > 0;
  }
  return any;
}

/// The editor's two ways of saying so.
bool IsWholeWeeks(const BackupJob& job) {
  for (const IntervalKind kind :
       {IntervalKind::Minutes, IntervalKind::Hours, IntervalKind::Months}) {
    if (IntervalCount(job, kind) != 0) return false;
  }
  return job.EveryDays == 0 ? job.EveryWeeks > 0 : job.EveryDays == 7;
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
    return other.JobIndex != own && IsNamed(other, name);
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
  form.Extras = job.Extras;
  return form;
}

std::u16string FormCheckMessage(FormCheck check, const JobForm& form) {
  switch (check) {
    case FormCheck::NoInterval:
      return u"請選擇一個您所要備份的時間！";
    case FormCheck::WeekdayRefused:
      return Fill(u"您的指定的 %1 時間並無法讓備份排程正常進行！",
                  {WeekdayName(ToCivil(form.Start).Weekday)});
    case FormCheck::AllDaysRefused:
      return u"您所指定的星期無法辨識，備份排程將會無法正常進行！";
    case FormCheck::DuplicateName:
      return u"備份排程名稱重複，請另外指定一個新的備份排程名稱。";
    case FormCheck::SourceMissing:
      return u"來源資料夾無法偵測到它的存在，請重新指定資源資料夾。";
    case FormCheck::NoDestination:
      return u"請先指定要備份的目標資料夾。";
    case FormCheck::Unstorable:
      return Fill(u"「%1」含有定位字元或換行字元，無法儲存，請重新指定。", {UnstorableField(form)});
    case FormCheck::BadKeepPlan: {
      std::u16string why;
      ParseKeepPlan(form.Extras.KeepPlan, why);
      return u"保留計畫：" + why;
    }
    case FormCheck::Ok:
    case FormCheck::NoName:
      break;
  }
  return {};
}

void FillJob(const JobForm& form, BackupJob& job) {
  const std::u16string source = job.Source.Path, destination = job.Destination.Path;
  job.Name = Trim(form.Name);
  job.Source.Path = AddBackslash(Trim(form.Source));
  job.Source.Kind = PathKind(job.Source.Path);
  job.Destination.Path = AddBackslash(WithoutBlanksAtSeparators(Trim(form.Destination)));
  job.Destination.Kind = PathKind(job.Destination.Path);

  SetJobType(job, form.Type);
  job.Enabled = form.Enabled;
  job.IncludeSubfolders = form.IncludeSubfolders;
  job.AddSourceFolder = form.AddSourceFolder;
  job.UseRecycleBin = form.Type == BackupType::Synchronise && form.UseRecycleBin;
  job.FileTypes = form.FileTypes;
  job.ExcludeFileTypes = form.ExcludeFileTypes;
  job.LimitFileSize = form.LimitFileSize;
  job.MaxFileSizeKB = form.LimitFileSize ? form.MaxFileSizeKB : 0;
  job.UsePassword = form.UsePassword;
  job.Password = form.UsePassword ? form.Password : Secret(kDefaultPassword);

  if (!form.KeepInterval) SetInterval(job, form.Interval, form.Count);
  job.RefusedDays = form.RefusedDays & kAllDays;
  // What the user chose the program has not moved.
  if (job.NextRun != form.Start) job.Extras.TimeMoved = kZeroDate;
  job.NextRun = form.Start;
  // Whoever has chosen what is kept wants what is not kept to go.
  if (job.Extras.KeepPlan != form.Extras.KeepPlan) job.Extras.KeepAgreed = true;
  static_cast<ExtraSettings&>(job.Extras) = form.Extras;
  // What was said of one place is not said of another.
  if (job.Source.Path != source || job.Destination.Path != destination) job.Extras.Adopt = false;
}

FormCheck ApplyForm(const JobForm& form, const std::vector<BackupJob>& jobs,
                    const NextRunSearch& next_run_time, const FolderTest& folder_exists,
                    BackupJob& job) {
  BackupJob edited = job;
  FillJob(form, edited);
  if (!MovesForward(edited)) return FormCheck::NoInterval;
  if (IsWholeWeeks(edited) && IsRefused(form.RefusedDays, ToCivil(form.Start).Weekday)) {
    return FormCheck::WeekdayRefused;
  }
  if ((form.RefusedDays & kAllDays) == kAllDays) return FormCheck::AllDaysRefused;
  if (!UnstorableField(form).empty()) return FormCheck::Unstorable;

  if (Trim(form.Name).empty()) return FormCheck::NoName;
  if (IsTaken(Trim(form.Name), jobs, job.JobIndex)) return FormCheck::DuplicateName;
  if (Trim(form.Source).empty() || !folder_exists(AddBackslash(Trim(form.Source)))) {
    return FormCheck::SourceMissing;
  }
  if (Trim(form.Destination).empty()) return FormCheck::NoDestination;
  const std::u16string& plan = form.Extras.KeepPlan;
  if (!plan.empty() && !ParseKeepPlan(plan)) return FormCheck::BadKeepPlan;
  edited.NextRun = next_run_time(edited);
  const PlacePair from{job.Source.Path, job.Destination.Path};
  const PlacePair to{edited.Source.Path, edited.Destination.Path};
  if (from != to) MovePlaces(edited.Extras, from, to);
  job = std::move(edited);
  return FormCheck::Ok;
}

void StoreJob(BackupJob& job, std::vector<BackupJob>& jobs) {
  if (job.JobIndex < 0) {
    job.JobIndex = static_cast<std::int32_t>(jobs.size());
    jobs.emplace_back();
  }
  jobs[static_cast<std::size_t>(job.JobIndex)] = job;
}

void RemoveJob(BackupJob& job) {
  job.Deleted = true;
  job.Name.clear();
  job.Source.Path.clear();
  job.Destination.Path.clear();
  job.IncludeSubfolders = job.AddSourceFolder = true;
  SetJobType(job, BackupType::Differential);
  job.UseRecycleBin = job.LimitFileSize = false;
  job.MaxFileSizeKB = 0;
  SetInterval(job, IntervalKind::Minutes, 0);
  job.NextRun = kZeroDate;
  job.Extras = {};
}

void MoveJob(std::vector<BackupJob>& jobs, std::int32_t from, std::int32_t to) {
  const auto first = jobs.begin() + std::min(from, to),
             last = jobs.begin() + std::max(from, to) + 1;
  std::rotate(first, from < to ? first + 1 : last - 1, last);
  for (std::size_t i = 0; i < jobs.size(); ++i) jobs[i].JobIndex = static_cast<std::int32_t>(i);
}

BackupJob DuplicateJob(const BackupJob& job, const std::vector<BackupJob>& jobs) {
  BackupJob duplicate = job;
  duplicate.JobIndex = -1;
  duplicate.RunStarted = duplicate.LastRun = kZeroDate;
  duplicate.LastRunResult = {};
  ForgetRuns(duplicate.Extras);
  duplicate.Name = Fill(TrLaterIn("name", u"%1 - 複本"), {job.Name});
  for (int number = 2; IsTaken(duplicate.Name, jobs, -1); ++number) {
    duplicate.Name = Fill(TrLaterIn("name", u"%1 - 複本 %2"), {job.Name, Decimal(number)});
  }
  return duplicate;
}

}  // namespace kavrel
