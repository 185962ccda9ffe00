// Everything that a run works with, handed down by reference.
#pragma once

#include <thread>

#include "archive/compressed_backup.h"
#include "core/job_store.h"
#include "core/run_host.h"
#include "core/run_plan.h"
#include "core/settings.h"
#include "engine/folder_pair.h"
#include "engine/former_state.h"
#include "engine/mounted_inside.h"
#include "engine/ownership.h"
#include "engine/report.h"
#include "files/error_text.h"
#include "files/run_state.h"
#include "files/staging_journal.h"
#include "log/job_log.h"
#include "log/log_troubles.h"
#include "log/program_log.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/mounts.h"
#include "rules/exclusion_rules.h"

namespace kavrel {

/// What whoever starts runs may choose.
struct RunOptions {
  /// How compressed jobs are packed; not stored.
  CompressionLevel Compression = CompressionLevel::Fast;
  /// Small files may be copied ahead of their turn by a second thread.
  bool CopyAhead = true;
  /// Neither the mirror guard, nor whose a place is, nor the look at the free space stops a run.
  bool Force = false;
};

/// What a look at a job's disks has found.
struct DisksFound {
  /// Mounts and places alone: what is there now, where something is mounted in the job's folders or
  /// holds them.
  KnownPlaces There;
  /// What the next runs are to rely on once this one is whole, and all of that is there still.
  std::vector<KnownMount> ToRemember;
};

/// The dated folder that a run makes.
struct NewState {
  /// Where it lies until it is whole, with its final separator; empty for a run into a folder that
  /// bears its name from the beginning.
  std::u16string Place;
  /// An interrupted run has left something there.
  bool TakenUp = false;
  std::uint64_t Local = 0;              ///< LocalDevice of the source
  std::shared_ptr<FormerState> Former;  ///< null where everything is copied
  std::shared_ptr<StateRecordWriter> Record;
};

class ChangeWatch;

struct RunContext : RunOptions {
  const FileSystem& Files;
  Clock& Time;
  RunState& State;
  RunHost& Host;
  JobStore& Store;
  const Settings& Preferences;
  ExclusionSet& Exclusions;
  JobLog& Log;
  LogList& LogRows;
  ProgramLog& History;
  const SevenZipLibrary& Archiver;
  StagingJournal& Staged;
  const MountTable& Mounts;
  RunNotes& Notes;
  /// The destination as the run found it. A look ahead takes time, in which the path may have come
  /// to lead elsewhere; the walk then writes nothing.
  FolderIdentity DestRoot{};
  PlaceFound Place{};  ///< whose the run's place was when it began
  RunReport Report{};  ///< of the current or last run
  /// By the look at the disks before the run; empty where nobody has looked.
  MountedInside Mounted{};
  DisksFound Disks{};
  NewState Making{};  ///< of the current run
  /// Of a run that is only planned: RunPlan::Enough.
  std::uint64_t Enough = 0;
  /// Of the current run (engine/change_guard.h); null where nothing is looked at.
  std::shared_ptr<ChangeWatch> Changes{};

  /// The same with a report of its own, for somebody who only looks around.
  RunContext With(RunState& state, RunHost& host, JobLog& log, RunNotes& notes) const {
    return {*this,      Files,    Time,    state,   host,     Store,  Preferences,
            Exclusions, log,      LogRows, History, Archiver, Staged, Mounts,
            notes,      DestRoot, Place,   {},      Mounted,  {},     Making};
  }

  /// The user has cancelled the run, or it has stopped by itself.
  bool Stopped() const {
    return State.CancelRequested || Report.Refusal != RunRefusal::None ||
           (Enough > 0 && FilesOfState(Report.Counters) >= Enough);
  }

  /// Writes a timed line of the text and what it is about into the run's log.
  void LogTimed(std::u16string_view text, std::u16string_view what = {}) {
    Log.WriteTimed(what.empty() ? text : std::u16string(text) += what);
  }
  /// Counts and logs what failed, and why: in words, or as the system tells; empty or 0 where
  /// nothing is known.
  void Fail(std::u16string_view text, std::u16string_view what, std::u16string_view why = {}) {
    ++Report.Counters.FailedFiles;
    Tell(text, what, why);
  }
  void Fail(std::u16string_view text, std::u16string_view what, ErrorCode why) {
    Fail(text, what, why ? ApiErrorText(why) : std::u16string());
  }
  /// The same without counting it.
  void Tell(std::u16string_view text, std::u16string_view what, std::u16string_view why = {}) {
    LogFailure(Log, Report.Failures, text, what, why);
  }
  /// Counts and tells of a disk that could not take what was written to it.
  void FailSync(std::u16string_view path, ErrorCode error) {
    ++Report.Counters.FailedFiles;
    LogSyncFailure(Log, Report.Failures, path, error);
  }

  ArchiveContext Archiving() {
    return {Files,
            Time,
            Archiver,
            State,
            Host,
            Log,
            Report.Counters,
            Report.Failures,
            Staged,
            Notes,
            [this](std::u16string_view path, const Folder& folder) {
              return Mounted.IsGone(path, folder);
            },
            [this] { Report.NotMade = true; }};
  }
};

/// Where the destination of a run is for the time being.
inline std::u16string_view DestinationPlace(const RunContext& context, const BackupJob& job) {
  const std::u16string& place = context.Making.Place;
  return place.empty() ? std::u16string_view(job.Destination.WorkPath) : place;
}

/// Whether a second thread pays: on a network disk or with one processor it does not.
inline bool ProfitsFromThreads(const RunContext& context, const FolderPair& root) {
  return context.CopyAhead && std::thread::hardware_concurrency() > 1 && root.Source &&
         root.Source.OnLocalDisk() && root.Dest.OnLocalDisk();
}

}  // namespace kavrel
