#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "app/find_name.h"
#include "app/job_preview.h"
#include "app/job_status.h"
#include "app/reach.h"
#include "app/state_forecast.h"
#include "base/number.h"
#include "base/screen_format.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "engine/job_disks.h"
#include "rules/date_tokens.h"

namespace kavrel {

namespace {

/// What is given for a kind of job on which it has no effect; empty for nothing.
std::string UselessOption(const JobOptions& options, const JobForm& form) {
  const bool dated = HasDateTags(form.Destination);
  const bool packs = form.Type == BackupType::Compressed;
  const bool mirrors = form.Type == BackupType::Synchronise;
  // Dated backups are held against the last one by the guard's share and number.
  const bool guarded = mirrors || dated || packs;
  const char* const of_guard = Tr("--type sync, or date tags in --dest, or --type compressed");
  const struct {
    bool Given, Works;
    const char *Option, *With;
  } rules[] = {
      {options.Recycle.value_or(false), mirrors, "--recycle", "--type sync"},
      {options.Guard.has_value(), guarded, "--guard", of_guard},
      {options.GuardMin.has_value(), guarded, "--guard-min", of_guard},
      {options.StateLinks.has_value(), dated && !packs, "--link-states",
       Tr("date tags in --dest, without --type compressed")},
      {options.UnfinishedName.has_value(), dated && !packs, "--unfinished-name",
       Tr("date tags in --dest, without --type compressed")},
      {options.DeleteOld.has_value(), dated || packs, "--delete-old",
       Tr("date tags in --dest, or with --type compressed")},
      {options.Recovery && form.Extras.RecoveryPercent > 0, packs, "--recovery",
       "--type compressed"},
  };
  for (const auto& rule : rules) {
    if (rule.Given && !rule.Works) return Fill(Tr("%1 goes with %2"), {rule.Option, rule.With});
  }
  const auto not_packed = [&](bool given, const char* option) {
    return given && packs ? Fill(Tr("%1 does not go with %2"), {option, "--type compressed"})
                          : std::string();
  };
  std::string error = not_packed(options.HardLinks.has_value(), "--hard-links");
  if (error.empty()) error = not_packed(options.SpaceCheck.has_value(), "--space-check");
  return error;
}

/// Checks and applies the options to the job; says what is wrong.
bool Apply(Session& session, const JobOptions& options, BackupJob& job) {
  Program& program = session.Program();
  JobForm form = FormOf(job);
  JobOptions known = options;
  if (known.Types && known.Types->starts_with('@')) {
    const FileFilter* filter = FindShownFilter(program.Filters, FromUtf8(known.Types->substr(1)));
    if (!filter) {
      PrintError(Fill(Tr("no such filter: %1; filters list shows them"),
                      {Printable(FromUtf8(known.Types->substr(1)))}));
      return false;
    }
    known.Types = ToUtf8(filter->Patterns);
  }
  // What the store has may be more than one unit, or a count that the options do not know.
  form.KeepInterval = !options.Every;
  std::string error = ApplyOptions(known, session.Clock().Now(), form);
  const bool dated = form.Type == BackupType::Compressed || HasDateTags(form.Destination);
  const bool plan = options.KeepPlan && !form.Extras.KeepPlan.empty();
  if (error.empty() && (options.Keep.value_or(0) > 0 || plan) && !dated) {
    error = plan ? Tr("--keep-plan goes with date tags in --dest, or with --type compressed: there "
                      "is one backup")
                 : Tr("--keep goes with date tags in --dest, or with --type compressed: there is "
                      "one backup");
  }
  if (error.empty()) error = UselessOption(options, form);
  if (!error.empty()) {
    PrintError(error);
    return false;
  }
  Reach reach(program, Reach::kCommand);
  const FormCheck check = ApplyForm(
      form, program.Store.Jobs, [&](const BackupJob& j) { return program.NextRunTimeOf(j); },
      [&](std::u16string_view path) { return reach.MayExist(path); }, job);
  if (check == FormCheck::Ok) {
    // Given anew it is agreed to anew.
    if (plan) job.Extras.KeepAgreed = true;
    if (options.Adopt) {
      job.Extras.Adopt = true;
      AcceptPlaces(job.Extras);
    }
    if (options.ChangeGuard == "accept") AcceptChanges(job.Extras);
    return true;
  }
  const std::u16string message = FormCheckMessage(check, form);
  PrintError(std::string(OptionOf(check)) +
             (message.empty() ? "" : "\n" + Printable(Shown(message))));
  return false;
}

/// What the editor shows below its pages: a destination whose disk is not there, and the like.
std::vector<std::u16string> WarningsOf(Session& session, const BackupJob& job) {
  constexpr std::uint32_t kPatience = 1000;
  session.Program().Mounts.Load();
  return PreviewJob(session.Program(), FormOf(job), &job, kPatience).Warnings;
}

/// Those that were not there before.
void TellWarnings(Session& session, const BackupJob& job,
                  const std::vector<std::u16string>& before = {}) {
  for (const std::u16string& warning : WarningsOf(session, job)) {
    if (std::find(before.begin(), before.end(), warning) == before.end()) {
      PrintError(Printable(Shown(warning)));
    }
  }
}

/// Which disks of the job are not there now, or do not answer, in words; empty when none is.
std::u16string MissingDisks(Session& session, BackupJob job, Reach& reach) {
  // Nothing is held against the disks of a job that knows none.
  if (job.Extras.Mounts.empty()) return {};
  job.Source.WorkPath = job.Source.Path;
  job.Destination.WorkPath = ExpandedDestination(job, session.Clock());
  const std::u16string silent = reach.SilentPlaces(job, job.Destination.WorkPath);
  return silent.empty() ? DiskObjection(session.Program().Context, job) : silent;
}

/// A list of jobs as text is followed by what is the matter with them.
void TellMissingDisks(Session& session, const BackupJob& job, Reach& reach) {
  const std::u16string missing = MissingDisks(session, job, reach);
  if (!missing.empty()) PrintError(Printable(ShownName(job.Name) + u": " + Shown(missing)));
}

std::u16string TypeName(const BackupJob& job) {
  const std::u16string_view caption = BackupTypeCaption(JobType(job));
  const std::u16string shown = Shown(caption);
  // Some are padded, so that what follows stands below each other.
  return shown.substr(0, shown.find_last_not_of(u"\u3000 ", shown.find(u" -- ")) + 1);
}

nlohmann::json ToJson(Session& session, const BackupJob& job, const JobStatus& status,
                      Reach& reach) {
  nlohmann::json refused = nlohmann::json::array();
  for (int day = 1; day <= 7; ++day) {
    if (IsRefused(job.RefusedDays, day)) refused.push_back(WeekdayWord(day));
  }
  return {{"name", JsonText(job.Name)},
          {"enabled", job.Enabled},
          {"type", TypeWord(JobType(job))},
          {"source", JsonText(job.Source.Path)},
          {"destination", JsonText(job.Destination.Path)},
          {"add_source_folder", job.AddSourceFolder},
          {"include_subfolders", job.IncludeSubfolders},
          {"file_types", JsonText(job.FileTypes)},
          {"exclude_file_types", job.ExcludeFileTypes},
          {"use_recycle_bin", job.UseRecycleBin},
          {"max_file_size_kb", job.LimitFileSize ? nlohmann::json(job.MaxFileSizeKB) : nullptr},
          {"has_password", job.UsePassword},
          {"every",
           {{"minutes", job.EveryMinutes},
            {"hours", job.EveryHours},
            {"days", job.EveryDays},
            {"weeks", job.EveryWeeks},
            {"months", job.EveryMonths}}},
          {"refused_days", refused},
          {"mirror_guard",
           {{"on", job.Extras.GuardMirror},
            {"percent", job.Extras.GuardPercent},
            {"fewest", job.Extras.GuardFewest}}},
          {"change_guard", job.Extras.GuardChanges},
          {"changes_since", JsonTime(IsAlarmed(job.Extras) ? job.Extras.Changes.Alarm : kZeroDate)},
          {"check_space", job.Extras.CheckSpace},
          {"keep_newest", job.Extras.KeepNewest},
          {"keep_plan", JsonText(job.Extras.KeepPlan)},
          {"delete_old", job.Extras.DeletesOld},
          {"recovery_percent", job.Extras.RecoveryPercent},
          {"verify_after_run", job.Extras.VerifyAfterRun},
          {"keep_sums", job.Extras.KeepSums},
          {"scrub", job.Extras.Scrub},
          {"drill", job.Extras.Drill},
          {"keep_hard_links", job.Extras.KeepHardLinks},
          {"link_states", JsonText(LinkStatesWord(job.Extras.StateLinks))},
          {"unfinished_name", job.Extras.UnfinishedName},
          {"missing_disks", JsonText(EnglishText(MissingDisks(session, job, reach)))},
          {"paused", session.Program().Pause.End().has_value()},
          {"status", StatusWord(status.Word)},
          {"last_success", JsonTime(status.LastGood)},
          {"last_run", JsonTime(job.LastRun)},
          {"next_run", JsonTime(job.NextRun)}};
}

void ShowAsText(Session& session, const BackupJob& job) {
  const auto on_off = [](bool on) { return Shown(OnOffText(on)); };
  PrintTable({
      {TrCell(u"備份排程名稱："), ShownName(job.Name)},
      {TrCell(u"啟動備份排程："), on_off(job.Enabled)},
      {TrCell(u"備份模式　　："), TypeName(job)},
      {TrCell(u"來源資料夾　："), job.Source.Path},
      {TrCell(u"目標資料夾　："), job.Destination.Path},
      {TrCell(u"本次目標　　："), ExpandedDestination(job, session.Clock())},
      {TrCell(u"最後備份時間："), DateOrNothing(job.LastRun)},
      {TrCell(u"下次備份時間："), DateOrNothing(job.NextRun)},
      {TrCell(u"檔案壓縮備份："), on_off(job.Compressed)},
      {TrCell(u"壓縮檔案加密："), Shown(PasswordText(job.UsePassword))},
      {TrCell(u"壓縮修復資料："), Shown(RecoveryText(job.Extras))},
      {TrCell(u"檔案同步備份："), on_off(job.Synchronise)},
      {TrCell(u"回收筒存放　："), on_off(job.UseRecycleBin)},
      {TrCell(u"備份子目錄　："), on_off(job.IncludeSubfolders)},
      {TrCell(u"建立來源目錄："), on_off(job.AddSourceFolder)},
      {TrCell(u"限制檔案大小："), Shown(SizeLimitText(job))},
      {TrCell(u"備份時間間隔："), Shown(IntervalText(job))},
      {TrCell(u"拒絕備份日期："), Shown(RefusedDaysText(job.RefusedDays))},
      {TrCell(u"檔案類型　　："), job.FileTypes},
      {TrCell(u"不備份該類型："), on_off(job.ExcludeFileTypes)},
      {TrCell(u"同步刪除防護："), Shown(GuardText(job.Extras))},
      {TrCell(u"檔案變更防護："), on_off(job.Extras.GuardChanges)},
      {TrCell(u"檢查可用空間："), on_off(job.Extras.CheckSpace)},
      {TrCell(u"保留備份份數："), Shown(KeepText(job.Extras))},
      {TrCell(u"直接刪除舊備份："), on_off(job.Extras.DeletesOld)},
      {TrCell(u"備份後驗證　："), on_off(job.Extras.VerifyAfterRun)},
      {TrCell(u"保存校驗碼　："), on_off(job.Extras.KeepSums)},
      {TrCell(u"每日重讀　　："), on_off(job.Extras.Scrub)},
      {TrCell(u"每月試行還原："), on_off(job.Extras.Drill)},
      {TrCell(u"保留硬連結　："), on_off(job.Extras.KeepHardLinks)},
      {TrCell(u"備份共用檔案："), Shown(LinkStatesText(job.Extras.StateLinks))},
      {TrCell(u"完成後才命名："), on_off(job.Extras.UnfinishedName)},
  });
}

}  // namespace

std::u16string DateOrNothing(DateTime time) {
  return ScreenDateOrNothing(time);
}

int AddJob(Session& session, const JobOptions& options) {
  session.MayMakeHome();
  if (!session.Open(u"kavrelctl add")) return session.Failure();
  Program& program = session.Program();
  BackupJob job;
  NewJobDefaults(job, session.Clock().Now(), program.DefaultDestination());
  if (!Apply(session, options, job)) return kBadInput;
  StoreJob(job, program.Store.Jobs);
  TellWarnings(session, job);
  return session.Save() ? kDone : kSomeFailed;
}

int EditJob(Session& session, const std::string& name, const JobOptions& options) {
  if (!options.Any()) {
    PrintError(Tr("edit needs something to change; edit --help lists its options"));
    return kBadInput;
  }
  if (!session.Open(u"kavrelctl edit")) return session.Failure();
  BackupJob* job = session.FindJob(name);
  if (!job) return kNoSuchJob;
  const std::vector<std::u16string> before = WarningsOf(session, *job);
  if (!Apply(session, options, *job)) return kBadInput;
  TellWarnings(session, *job, before);
  return session.Save() ? kDone : kSomeFailed;
}

int DeleteJobs(Session& session, const std::vector<std::string>& names) {
  if (!session.Open(u"kavrelctl remove")) return session.Failure();
  const std::optional<std::vector<BackupJob*>> jobs = session.FindJobs(names);
  if (!jobs) return kNoSuchJob;
  for (BackupJob* job : *jobs) RemoveJob(*job);
  return session.Save() ? kDone : kSomeFailed;
}

int ListJobs(Session& session, bool json) {
  if (!session.Open()) return session.Failure();
  const std::vector<BackupJob>& jobs = session.Program().Store.Jobs;
  const std::vector<JobStatus> states = StatusOfJobs(session.Program(), session.Clock().Now());
  Reach reach(session.Program(), Reach::kCommand);
  if (json) {
    nlohmann::json list = nlohmann::json::array();
    for (std::size_t i = 0; i < jobs.size(); ++i) {
      list.push_back(ToJson(session, jobs[i], states[i], reach));
    }
    PrintJson(list);
    return kDone;
  }
  std::vector<std::vector<std::u16string>> rows{
      {TrCell(u"排程名稱"), TrCell(u"啟動"), TrCell(u"備份模式"), TrCell(u"來源資料夾"),
       TrCell(u"目標資料夾"), TrCell(u"備份時間間隔"), TrCell(u"最後備份時間"),
       TrCell(u"下次備份時間"), TrCell(u"狀態")}};
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    const BackupJob& job = jobs[i];
    rows.push_back({ShownName(job.Name), Shown(OnOffText(job.Enabled)), TypeName(job),
                    job.Source.Path, job.Destination.Path, Shown(IntervalText(job)),
                    DateOrNothing(job.LastRun), DateOrNothing(job.NextRun),
                    StatusCell(states[i].Word)});
  }
  PrintTable(rows);
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    if (states[i].Word == JobWord::Failed || states[i].Word == JobWord::Overdue) {
      PrintError(Printable(jobs[i].Name + u": " + Shown(states[i].Reason)));
    }
  }
  for (const BackupJob& job : jobs) TellMissingDisks(session, job, reach);
  TellPause(session.Program().Pause);
  return kDone;
}

int ListJobNames(Session& session) {
  if (!session.Open()) return session.Failure();
  for (const BackupJob& job : session.Program().Store.Jobs) {
    std::printf("%s\n", PrintableName(job.Name).c_str());
  }
  return kDone;
}

int ShowJobs(Session& session, const std::vector<std::string>& names, bool json) {
  if (!session.Open()) return session.Failure();
  const std::optional<std::vector<BackupJob*>> jobs = session.FindJobs(names);
  if (!jobs) return kNoSuchJob;
  Reach reach(session.Program(), Reach::kCommand);
  if (json) {
    const std::vector<JobStatus> states = StatusOfJobs(session.Program(), session.Clock().Now());
    nlohmann::json list = nlohmann::json::array();
    for (const BackupJob* job : *jobs) {
      list.push_back(ToJson(session, *job, states[static_cast<std::size_t>(job->JobIndex)], reach));
    }
    PrintJson(list.size() == 1 ? list[0] : list);
    return kDone;
  }
  for (const BackupJob* job : *jobs) {
    if (job != jobs->front()) std::printf("\n");
    ShowAsText(session, *job);
    TellMissingDisks(session, *job, reach);
  }
  return kDone;
}

}  // namespace kavrel
