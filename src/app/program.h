// What lives as long as the process, and the wiring between the folders that know nothing of each
// other. Works without any window.
#pragma once

#include <functional>
#include <string>

#include "engine/restore.h"
#include "engine/run_context.h"
#include "engine/run_driver.h"
#include "platform/mounts.h"
#include "rules/file_filters.h"

namespace kavrel {

class Program {
 public:
  /// `program_folder` exists and has no trailing separator; the clock and the host outlive this.
  Program(std::u16string program_folder, std::u16string settings_file, kavrel::Clock& clock,
          RunHost& host);
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// Reads the rules, the filters, the store and the program log. False when the store exists but
  /// cannot be read (Store.LastError() tells why).
  bool Load();
  /// Runs the job at this position of the store now, as a backup, with the busy flag set; saves
  /// the program log afterwards. A request while a run is busy cancels that run instead.
  RunOutcome RunJobNow(std::int32_t job_index);

  /// The same for a restore of that job.
  RunOutcome RunRestoreNow(std::int32_t job_index, RestoreMode mode,
                           const ArchivePicker& picker = {});

  /// NextRunTime against this program's clock, for the checks of a form.
  DateTime NextRunTimeOf(const BackupJob& job);
  /// The backup folder that a new job starts with.
  std::u16string DefaultDestination() const;

 private:
  /// Does the work with the busy flag set, unless a run is busy already.
  RunOutcome WhileBusy(const std::function<RunOutcome()>& work);

  kavrel::Clock& clock_;
  RunHost& host_;

 public:
  FileSystem Files;
  RunState State;
  kavrel::Settings Settings;
  JobStore Store;
  MountTable Mounts;
  ExclusionSet Exclusions;
  FilterTable Filters;
  LogList LogRows;
  JobLog Log;
  kavrel::ProgramLog ProgramLog;
  SevenZipLibrary Archiver;
  RunContext Context;
};

}  // namespace kavrel
