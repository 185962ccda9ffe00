// The way from the main window to the other windows.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "app/program.h"

class QWidget;

namespace kavrel {

class BackupBrowser;

/// The job editor, at the job of this position of the store, or at a new one for -1. Its
/// caller has switched the scheduler off and saved the store, and reads it again afterwards.
void OpenJobEditor(Program& program, std::int32_t job_index, QWidget* parent);
/// The same, at its list of jobs, with this one selected.
void OpenJobEditorList(Program& program, std::int32_t job_index, QWidget* parent);
/// The same, at a copy of the job of this position.
void OpenJobEditorCopy(Program& program, std::int32_t job_index, QWidget* parent);
void OpenExclusions(Program& program, QWidget* parent);
void OpenShortcuts(Program& program, QWidget* parent);
/// The folders of the Windows drives that jobs name.
void OpenDrives(Program& program, QWidget* parent);
/// The archive to restore; nothing when the user chose none.
std::optional<std::u16string> PickArchive(Program& program,
                                          const std::vector<ArchiveFile>& archives,
                                          QWidget* parent);
/// The files to restore, and where to; nothing when the user chose none.
/// `unit`: the state that the browser shows, empty for the place of now; of a job with date tags
/// then the one that was chosen.
std::optional<RestorePick> PickFiles(Program& program, const BackupJob& job,
                                     const BackupBrowser& browser, std::u16string& unit,
                                     QWidget* parent);
/// Whether the run is to go on. Without an answer within a minute it is not.
bool OpenQuestion(const RunQuestion& question, QWidget* parent);
/// What a run of the job of this position would do. True when the user wants it to run now.
bool OpenPreview(Program& program, std::int32_t job_index, QWidget* parent);
/// The same of a restore of everything.
bool OpenRestorePreview(Program& program, std::int32_t job_index, RestoreRequest request,
                        QWidget* parent);
/// Returns with the question answered.
void ShowPastDueQuestion(PastDueQuestion& question, QWidget* parent);

}  // namespace kavrel
