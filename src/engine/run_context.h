// Everything that a run works with, handed down by reference.
#pragma once

#include "archive/compressed_backup.h"
#include "core/job_store.h"
#include "core/run_counters.h"
#include "core/run_host.h"
#include "core/settings.h"
#include "files/aside_journal.h"
#include "files/run_state.h"
#include "log/job_log.h"
#include "log/program_log.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "rules/exclusion_rules.h"

namespace kavrel {

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
  AsideJournal& Asides;
  RunCounters Counters;  ///< of the current or last run
  /// How compressed jobs are packed; not stored.
  CompressionLevel Compression = CompressionLevel::Fast;
  /// Small files may be copied ahead of their turn by a second thread.
  bool CopyAhead = true;

  ArchiveContext Archiving() {
    return {Files, Clock, Archiver, State, Host, Log, Counters, Asides};
  }
};

}  // namespace kavrel
