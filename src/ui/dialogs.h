// The way from the main window to the other windows.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "app/file_jobs.h"
#include "app/program.h"
#include "engine/states.h"
#include "ui/restore_wish.h"

class QWidget;

namespace kavrel {

class BackupBrowser;
class StateOpener;

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
/// What is to be restored of the job of this position; nothing when the user wants nothing.
/// `unit`: the state that the browser shows, empty for the place of now.
std::optional<RestoreWish> PickFiles(Program& program, std::int32_t job_index,
                                     const BackupBrowser& browser, const std::u16string& unit,
                                     StateOpener& opener, QWidget* parent);
/// All versions of a file, which the jobs name so; what is wanted of them, if anything.
std::optional<RestoreWish> OpenVersions(Program& program, std::vector<FileOfJob> files,
                                        StateOpener& opener, QWidget* parent);
/// What changed from one of these states to another.
void OpenCompare(Program& program, std::u16string_view job, const std::vector<JobState>& states,
                 int older, int newer, QWidget* parent);
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
