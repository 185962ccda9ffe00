// The program's permanent window, and its host: what the program shows, it shows here.
#pragma once

#include <QTimer>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

#include "app/program.h"
#include "app/program_host.h"
#include "ui/controls/cls_status_bar.h"
#include "ui/controls/cls_toolbar.h"

namespace kavrel {

class BackupCare;
class JobEdits;
class JobList;
class JobMenu;
class LogView;
class OptionsMenu;
class ResultBar;
class RunPanel;
class RunShow;
class Tray;
class WelcomePage;
struct JobForm;
struct OtherStart;
struct RunEnd;

class FrmMain : public QWidget, public ProgramHost {
  Q_OBJECT

 public:
  FrmMain();
  ~FrmMain() override;

  /// Starts the program, whose host this is and whose lock is held, and shows the window unless the
  /// user wants it hidden. The program outlives the window's last event, not the window.
  void Start(Program& program, std::u16string_view command_line);
  /// Closing the window ends the program.
  bool ExitRequested = false;
  /// The program has ended: everything is saved, and nothing is shown any more.
  bool HasEnded() const { return ended_; }

  /// Takes what another start of the program wants; gives the names of jobs that there are not.
  /// Nothing once the program has ended: that start is to go on by itself.
  std::optional<std::vector<std::u16string>> TakeStart(const OtherStart& start);
  /// Shows all versions of the file of this absolute path, as soon as nothing else is under way.
  void WantVersions(const std::u16string& path);

  /// Hides the window when it is seen, else shows it. Without a tray it is only made small.
  void ToggleMainWindow();

  // What the program tells its host.
  void BuildControls() override;
  void CreateTrayIcon() override;
  void HideToTray() override;
  void ShowSettings() override;
  void FillJobList() override;
  void ShowLogList() override;
  void LayOut() override;
  void AskPastDue(PastDueQuestion& question) override;
  void TimesSetRight(const BackupJob& job, DateTime was) override;
  void CareEnded(const BackupJob& job, const VerifyReport& report, bool drill) override;
  void JobIsGone(std::u16string_view name) override;
  void PauseChanged(const std::optional<DateTime>& end) override;
  void OtherVersionKept(std::u16string_view path, std::u16string_view copy) override;
  bool AskGoOn(const RunQuestion& question) override;
  void PumpMessages() override;
  int ApiFileCopyCallback(std::uint64_t total_size, std::uint64_t bytes_done,
                          std::uint32_t stream_number, std::uint64_t stream_size,
                          std::uint64_t stream_bytes_done, std::uint32_t block_size) override;
  void DrawCaptions(std::u16string_view source_folder, std::u16string_view dest_folder,
                    std::u16string_view file_name) override;
  void ShowRunPanels(bool show) override;
  void ResetProgress() override;
  void FillProgress() override;
  void RefreshJobRow(std::int32_t job_index) override;
  void SetTickTimer(bool on, std::uint32_t milliseconds) override;
  void EnableControls(bool on) override;
  void JobStarting(std::int32_t job_index, DateTime now) override;
  void JobEnded(std::int32_t job_index) override;
  void Attract() override;
  void EndProgram() override;

 Q_SIGNALS:
  void Ended();

 protected:
  void showEvent(QShowEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  void BuildAreas();
  void BuildLists();
  void BuildJobEdits();
  void BuildKeys();
  /// Place, size and columns as the user left them.
  void Arrange();
  void KeepArrangement();

  void ToolBar_ButtonClick(int index);
  void ToolBar_ButtonDropDown(int index, int x, int y);
  void TimerWake_Timer();
  void lstJob_ItemCheck(int row, bool checked);

  void RunCheckedJobs();
  void ShowLog(bool show);
  /// The list of logs, that of the jobs, or the way to a first job, as it should be now.
  void ShowPane();
  void FocusPane();
  void MakeFirstJob(const JobForm& form);
  void UpdateCaption();
  /// Shows everything anew that is not built of texts alone.
  void FollowLanguage();
  void ImportJobs();
  /// Opens an editor that changes the store, with the scheduler at rest meanwhile.
  void EditJobs(const std::function<void()>& editor);
  void MakeShortcuts();
  /// Asks where the drives are that jobs name and that lead nowhere, once for each.
  void AskAboutDrives();
  void EditDrives();
  /// Somebody began or ended a pause of the schedule.
  void TakePause();
  void AskAndRun(int row);
  void AskAndRestore(int row);
  void PreviewAndRun(int row);
  void RunNow(int row);
  void TellOutcome(RunOutcome outcome, const BackupJob& job);
  /// Shows how the run ended that somebody started for one job.
  void ShowEnd(const RunEnd& end);

  void ShowHealth();
  /// The clock, and a pause of the schedule.
  void ShowStatus();
  void ShowWantedVersions();
  void OpenMessage();
  /// The log of that path; without one, the list of all.
  void OpenLog(const std::u16string& path);

  bool Seen() const;
  void ShowWindow();
  void HideWindow();
  bool EndIfInterrupted();
  /// The named jobs have run, but somebody has wanted the window meanwhile.
  void StayOpen();
  /// The user or the system wants the end.
  void Leave();
  void End();

  Program* program_ = nullptr;
  QWidget *toolbar_area_, *job_area_, *log_area_, *captions_, *file_bar_, *status_area_;
  clsToolbar toolbar_;
  clsStatusBar status_bar_;
  JobList* jobs_ = nullptr;
  JobMenu* job_menu_ = nullptr;
  JobEdits* job_edits_ = nullptr;
  LogView* log_ = nullptr;
  OptionsMenu* options_ = nullptr;
  RunPanel* panel_ = nullptr;
  WelcomePage* welcome_ = nullptr;
  ResultBar* result_ = nullptr;
  Tray* tray_ = nullptr;
  BackupCare* care_ = nullptr;
  std::unique_ptr<RunShow> run_;
  QStringList set_right_;  ///< lines about jobs whose times a wrong clock had moved, not told yet
  std::u16string versions_wanted_;  ///< the file; empty: none
  QString pause_text_;  ///< what the status bar tells of a pause; empty while there is none
  std::optional<int> selected_;  ///< during a batch: the row that the user had selected
  QTimer timer_min_, timer_wake_;
  bool hide_at_start_ = false, focus_list_ = false, stay_ = false, ended_ = false,
       follows_screen_ = false;
};

}  // namespace kavrel
