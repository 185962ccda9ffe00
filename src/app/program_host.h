// The face of the program: a window, a terminal, or a test. What a face does not have, it leaves as
// it is here, doing nothing.
#pragma once

#include "core/run_host.h"
#include "engine/report.h"
#include "schedule/past_due.h"
#include "schedule/scheduler.h"

namespace kavrel {

class ProgramHost : public RunHost, public SchedulerHost {
 public:
  /// Start-up, in this order. Makes the window with its lists, bars and menus.
  virtual void BuildControls() {}
  virtual void CreateTrayIcon() {}
  /// The user wants the program to start in the tray.
  virtual void HideToTray() {}
  /// The settings can be shown in menus and lists.
  virtual void ShowSettings() {}
  virtual void FillJobList() {}
  virtual void ShowLogList() {}
  virtual void LayOut() {}

  /// A file of the program was changed by somebody else before it was saved here: what they wrote
  /// is in the copy. May come in the middle of a run.
  virtual void OtherVersionKept(std::u16string_view /*path*/, std::u16string_view /*copy*/) {}

  /// A verification of the job begins, of the backup in that folder.
  /// What a job has asked for beside its runs has taken place by itself: a part of its backup was
  /// read again, or some of it was restored to see whether that works.
  virtual void CareEnded(const BackupJob& /*job*/, const VerifyReport& /*report*/, bool /*drill*/) {
  }
  virtual void VerificationStarting(const BackupJob& /*job*/, std::u16string_view /*backup*/) {}

  /// A job that was to run next has been removed, or renamed, since it was asked for.
  virtual void JobIsGone(std::u16string_view /*name*/) {}

  /// Gets the question answered. Without anybody to ask, an overdue job is backed up now.
  virtual void AskPastDue(PastDueQuestion& question) { question.Answer(question.DefaultLater); }

  void ShowRunPanels(bool) override {}
  void ResetProgress() override {}
  void FillProgress() override {}
  void RefreshJobRow(std::int32_t) override {}
  void SetTickTimer(bool, std::uint32_t) override {}
  void EnableControls(bool) override {}
  void JobStarting(std::int32_t, DateTime) override {}
  void JobEnded(std::int32_t) override {}
  void TimesSetRight(const BackupJob&, DateTime) override {}
  void PauseChanged(const std::optional<DateTime>&) override {}
  void Attract() override {}
  void EndProgram() override {}
};

}  // namespace kavrel
