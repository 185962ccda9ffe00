// Everything that a run works with, handed down by reference.
#pragma once

#include <thread>

#include "archive/compressed_backup.h"
#include "core/job_store.h"
#include "core/run_counters.h"
#include "core/run_host.h"
#include "core/run_plan.h"
#include "core/settings.h"
#include "engine/folder_pair.h"
#include "engine/mounted_inside.h"
#include "engine/ownership.h"
#include "files/error_text.h"
#include "files/run_state.h"
#include "files/staging_journal.h"
#include "log/job_log.h"
#include "log/program_log.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/mounts.h"
#include "rules/exclusion_rules.h"

namespace kavrel {

/// Why a run stopped by itself, before it lost or filled anything.
enum class RunRefusal {
  None,
  DiskAway,       ///< a disk that the job relies on is not there
  Shrunk,         ///< the new dated folder or archive would hold far less than the last one
  MirrorGuard,    ///< too much would be removed
  PlaceOfOthers,  ///< what lies there may be another job's
  NoSpace
};

struct RunContext {
  const FileSystem& Files;
  kavrel::Clock& Clock;
  RunState& State;
  RunHost& Host;
  JobStore& Store;
  const kavrel::Settings& Settings;
  ExclusionSet& Exclusions;
  JobLog& Log;
  LogList& LogRows;
  kavrel::ProgramLog& ProgramLog;
  const SevenZipLibrary& Archiver;
  StagingJournal& Staged;
  const MountTable& Mounts;
  RunNotes& Notes;
  RunCounters Counters{};  ///< of the current or last run
  /// How compressed jobs are packed; not stored.
  CompressionLevel Compression = CompressionLevel::Fast;
  /// Small files may be copied ahead of their turn by a second thread.
  bool CopyAhead = true;
  /// Neither the mirror guard, nor whose a place is, nor the look at the free space stops a run.
  bool Force = false;
  /// The destination as the run found it. A look ahead takes time, in which the path may have come
  /// to lead elsewhere; the walk then writes nothing.
  FolderIdentity DestRoot{};
  /// By the look at the disks before the run; empty where nobody has looked.
  MountedInside Mounted{};
  PlaceFound Place{};                     ///< whose the run's place was when it began
  RunRefusal Refusal = RunRefusal::None;  ///< of the current or last run
  /// Why, in words. Of a run without a source: which disk is away, as far as that is known.
  std::u16string RefusalText{};
  /// The last restore came to nothing because the job's password does not open the archive.
  bool WrongPassword = false;
  /// Somebody has let the current run go on although a disk is away or the state has shrunk.
  bool Agreed = false;

  /// The same with counters of its own, for somebody who only looks around.
  RunContext With(RunState& state, RunHost& host, JobLog& log, RunNotes& notes) const {
    RunContext other{Files, Clock,   state,      host,     Store,  Settings, Exclusions,
                     log,   LogRows, ProgramLog, Archiver, Staged, Mounts,   notes};
    other.CopyAhead = CopyAhead;
    other.Force = Force;
    other.DestRoot = DestRoot;
    other.Place = Place;
    return other;
  }

  /// Writes a timed line into the run's log.
  void LogTimed(std::u16string_view text) { Log.WriteTimed(text); }
  /// Below a line that tells of a failure: why. For a code of 0 nothing is known.
  void LogWhy(std::u16string_view reason) {
    if (!reason.empty()) LogTimed(u": 原因：", reason);
  }
  void LogWhy(ErrorCode code) {
    if (code) LogWhy(ApiErrorText(code));
  }
  /// A timed line of the text and what it is about.
  void LogTimed(std::u16string_view text, std::u16string_view what) {
    LogTimed(std::u16string(text) += what);
  }

  ArchiveContext Archiving() {
    return {Files, Clock, Archiver, State, Host, Log, Counters, Staged, Notes};
  }
};

/// Whether a second thread pays: on a network disk or with one processor it does not.
inline bool ProfitsFromThreads(const RunContext& context, const FolderPair& root) {
  return context.CopyAhead && std::thread::hardware_concurrency() > 1 && root.Source &&
         root.Source.OnLocalDisk() && root.Dest.OnLocalDisk();
}

}  // namespace kavrel
