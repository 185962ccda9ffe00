#include "ui/dialogs.h"

#include <algorithm>

#include "app/backup_browser.h"
#include "engine/keep_newest.h"
#include "engine/state_fates.h"
#include "files/error_text.h"
#include "files/path.h"
#include "platform/error_codes.h"
#include "rules/date_tokens.h"
#include "ui/desktop_open.h"
#include "ui/file_picker.h"
#include "ui/frm_compare.h"
#include "ui/frm_drives.h"
#include "ui/frm_exc.h"
#include "ui/frm_go_on.h"
#include "ui/frm_past_due.h"
#include "ui/frm_preview.h"
#include "ui/frm_restore.h"
#include "ui/frm_set.h"
#include "ui/frm_shortcut.h"
#include "ui/frm_versions.h"
#include "ui/frm_zip_list.h"
#include "ui/idle_monitor.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"

namespace kavrel {

void OpenJobEditor(Program& program, std::int32_t job_index, QWidget* parent) {
  FrmSet(program, parent).Edit(job_index);
}

void OpenJobEditorList(Program& program, std::int32_t job_index, QWidget* parent) {
  FrmSet(program, parent).List(job_index);
}

void OpenJobEditorCopy(Program& program, std::int32_t job_index, QWidget* parent) {
  FrmSet(program, parent).Duplicate(job_index);
}

void OpenExclusions(Program& program, QWidget* parent) {
  frmExc(program, parent).exec();
}

void OpenShortcuts(Program& program, QWidget* parent) {
  frmShortcut(program, parent).exec();
}

void OpenDrives(Program& program, QWidget* parent) {
  frmDrives(program, parent, LocalVolumes(program)).exec();
}

std::optional<std::u16string> PickArchive(Program& program,
                                          const std::vector<ArchiveFile>& archives,
                                          QWidget* parent) {
  return frmZipList::Pick(archives, parent, &program.WindowSizes);
}

namespace {

/// What becomes of each of the states with the next whole run.
std::vector<StateNote> NotesOf(const Program& program, BackupJob job,
                               const std::vector<JobState>& states) {
  const std::u16string unit = SetRunPaths(job, program.Context.Time);
  const StateFates fates = FatesOf(program.Context, job, states, unit, program.Context.Time.Now());
  std::vector<StateNote> notes;
  for (const JobState& state : states) {
    StateNote& note = notes.emplace_back();
    if (fates.Units.empty() && state.Pinned) note.Text = TrText(u"已釘選");
    const auto fate = std::find_if(fates.Units.begin(), fates.Units.end(),
                                   [&](const StateFate& one) { return one.Unit == state.Unit; });
    if (fate == fates.Units.end()) continue;
    note.Goes = !fate->Verdict.Stays();
    const QString why = ShownText(FateText(job, *fate));
    note.Text = note.Goes ? TrText(u"移除：%1").arg(why) : why;
  }
  return notes;
}

/// What the dialog needs to list them and to deal with each.
void ListStatesIn(RestoreStates& states, Program& program, const BackupJob& job,
                  const std::u16string& unit, QWidget& parent) {
  states.List = ListStates(program.Context, job);
  const std::u16string shown = unit.empty() ? AddBackslash(program.DestinationNow(job)) : unit;
  for (std::size_t i = 0; i < states.List.size(); ++i) {
    if (states.List[i].Unit == shown) states.Chosen = static_cast<int>(i);
  }
  states.Browse = [&](const JobState& state) {
    IdleMonitor monitor;
    return BrowseUnit(program.Files, program.Archiver, state.Unit, &monitor);
  };
  states.Notes = NotesOf(program, job, states.List);
  states.Growth = GrowthOf(program.Files, states.List);
  states.Pin = [&](JobState& state, bool pinned) -> std::optional<QString> {
    const ErrorCode error = state.Health == StateHealth::Unfinished
                                ? kErrNotSupported
                                : PinState(program.Files, job, state.Unit, pinned);
    if (error) {
      Warn(parent, TrText(u"無法釘選備份「%1」：%2")
                       .arg(ToQString(state.Unit), ToQString(ApiErrorText(error))));
      return std::nullopt;
    }
    const std::vector<JobState> now = ListStates(program.Context, job);
    const auto found = std::find_if(now.begin(), now.end(),
                                    [&](const JobState& one) { return one.Unit == state.Unit; });
    if (found == now.end()) return QString();
    return NotesOf(program, job, now)[static_cast<std::size_t>(found - now.begin())].Text;
  };
  states.OpenFolder = [&](const JobState& state) {
    OpenPathOrTell(parent, program.Files, UnitFolder(state.Unit));
  };
  states.Compare = [&, list = states.List](QWidget& owner, int older, int newer) {
    OpenCompare(program, job.Name, list, older, newer, &owner);
  };
}

}  // namespace

std::optional<RestoreWish> PickFiles(Program& program, std::int32_t job_index,
                                     const BackupBrowser& browser, const std::u16string& unit,
                                     StateOpener& opener, QWidget* parent) {
  const BackupJob& job = program.Store.Jobs[static_cast<std::size_t>(job_index)];
  RestoreStates states;
  const bool listed = !job.Compressed && HasDateTags(job.Destination.Path);
  if (listed) ListStatesIn(states, program, job, unit, *parent);
  if (!states.List.empty() || (!listed && !ListStates(program.Context, job).empty())) {
    states.Versions = [&](QWidget& owner, const std::u16string& path) {
      return OpenVersions(program, {{job_index, path}}, opener, &owner);
    };
  }
  FrmRestore dialog({job.Name, job.Source.Path, browser}, DesktopFilePicker(), parent,
                    &program.WindowSizes, std::move(states));
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  RestoreWish wish = dialog.Wish();
  wish.Job = job_index;
  if (wish.Unit.empty()) wish.Unit = unit;
  return wish;
}

std::optional<RestoreWish> OpenVersions(Program& program, std::vector<FileOfJob> files,
                                        StateOpener& opener, QWidget* parent) {
  FrmVersions dialog(program, std::move(files), opener, parent);
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  return dialog.Wish();
}

void OpenCompare(Program& program, std::u16string_view job, const std::vector<JobState>& states,
                 int older, int newer, QWidget* parent) {
  FrmCompare(program, job, states, older, newer, parent).exec();
}

bool OpenQuestion(const RunQuestion& question, QWidget* parent) {
  return FrmGoOn(question, parent).exec() == QDialog::Accepted;
}

bool OpenPreview(Program& program, std::int32_t job_index, QWidget* parent) {
  return FrmPreview(program, job_index, parent).exec() == QDialog::Accepted;
}

bool OpenRestorePreview(Program& program, std::int32_t job_index, RestoreRequest request,
                        QWidget* parent) {
  return FrmPreview(program, job_index, std::move(request), parent).exec() == QDialog::Accepted;
}

void ShowPastDueQuestion(PastDueQuestion& question, QWidget* parent) {
  FrmPastDue(question, parent).exec();
}

}  // namespace kavrel
