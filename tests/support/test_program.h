// A whole program over a temporary program folder, with a set clock and a recording host.
#pragma once

#include <string>

#include "app/program.h"
#include "support/recording_host.h"
#include "support/set_clock.h"
#include "support/temp_folder.h"

namespace kavrel {

struct TestProgram {
  TempFolder Temp;
  SetClock Clock{2009, 9, 23, 15, 4, 5};
  RecordingHost Host;
  kavrel::Program Program{TempFolder::Text(Temp.Home()),
                          TempFolder::Text(Temp.Home() / "Settings.ini"), Clock, Host};

  TestProgram() { Program.Load(); }

  /// Adds a job from C:\src\ to D:\dst\ (without the source folder's name) and returns it.
  BackupJob& AddJob(BackupType type = BackupType::Full);
  /// What a preview of a run of the job as of now tells.
  struct Foreseen {
    RunPlan Plan;
    RunCounters Counters;
  };
  Foreseen Foresee(const BackupJob& job);
  /// Switches the exclusion rules on or off.
  void SetRules(bool on);
  /// The UTF-8 text of a job log, without its byte-order mark.
  std::string LogText(std::u16string_view path) const;
  /// The lines of the last run's log that come before its summary, without banner, time and
  /// the reasons below failures.
  std::string LogLines() const;

  std::filesystem::path Source() const { return Temp.DriveC() / "src"; }
  std::filesystem::path Dest() const { return Temp.DriveD() / "dst"; }
};

}  // namespace kavrel
