// How it stands with the jobs as scripts and monitors ask for it: a word for each, and why.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/program.h"
#include "app/run_health.h"

namespace kavrel {

struct JobStatus {
  JobWord Word = JobWord::Ok;
  std::string_view Cause;  ///< "source-missing" and the like: for programs; empty when all is well
  std::u16string Reason;   ///< the same in words, with what the log tells of it
  DateTime LastGood = kZeroDate;  ///< when the last backup ended that went well; zero = none known
  std::u16string LogPath;         ///< of what went badly; empty when there is none
};

/// Of each job of the store, in its order, those of another program's runs included. One whose last
/// good backup is older than `oldest` is overdue, unless it is switched off or at work.
std::vector<JobStatus> StatusOfJobs(Program& program, DateTime now,
                                    std::optional<std::chrono::minutes> oldest = {});

/// The first of what failed in words; empty when nothing did.
std::u16string FirstFailure(const std::vector<RunFailure>& failures);
/// What the text of a log tells first of a run that went badly; empty when it tells nothing.
std::u16string FirstTroubleIn(std::u16string_view log);

/// "ok", "running", "waiting", "overdue", "failed", "never" or "off".
std::string_view StatusWord(JobWord word);

}  // namespace kavrel
