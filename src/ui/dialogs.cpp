#include "ui/dialogs.h"

#include "app/backup_browser.h"
#include "engine/states.h"
#include "files/path.h"
#include "rules/date_tokens.h"
#include "ui/desktop_open.h"
#include "ui/file_picker.h"
#include "ui/frm_drives.h"
#include "ui/frm_exc.h"
#include "ui/frm_go_on.h"
#include "ui/frm_past_due.h"
#include "ui/frm_preview.h"
#include "ui/frm_restore.h"
#include "ui/frm_set.h"
#include "ui/frm_shortcut.h"
#include "ui/frm_zip_list.h"
#include "ui/idle_monitor.h"

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

std::optional<RestorePick> PickFiles(Program& program, const BackupJob& job,
                                     const BackupBrowser& browser, std::u16string& unit,
                                     QWidget* parent) {
  RestoreStates states;
  if (!job.Compressed && HasDateTags(job.Destination.Path)) {
    states.List = ListStates(program.Context, job);
    const std::u16string shown = unit.empty() ? AddBackslash(program.DestinationNow(job)) : unit;
    for (std::size_t i = 0; i < states.List.size(); ++i) {
      if (states.List[i].Unit == shown) states.Chosen = static_cast<int>(i);
    }
    states.Browse = [&](const JobState& state) {
      IdleMonitor monitor;
      return BrowseUnit(program.Files, program.Archiver, state.Unit, &monitor);
    };
    states.OpenFolder = [&](const JobState& state) {
      OpenPathOrTell(*parent, program.Files, UnitFolder(state.Unit));
    };
  }
  FrmRestore dialog({job.Name, job.Source.Path, browser}, DesktopFilePicker(), parent,
                    &program.WindowSizes, std::move(states));
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  if (!dialog.Unit().empty()) unit = dialog.Unit();
  return dialog.Pick();
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
