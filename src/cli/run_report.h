// What came of runs, restores and verifications, as text or as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "cli/commands.h"
#include "cli/message.h"

namespace kavrel {

/// Which disk is away, in brackets; empty where none is known.
Message WithAway(const Message& message, const RunReport& report);

/// The word for what a run ended with: "ok", "some-failed", "interrupted" and the like.
std::string_view ResultWord(ExitCode code);

inline constexpr std::string_view kVerification = "verification";

/// The runs of one command. As text each is told when it ends, standard error having what went
/// wrong; as JSON all of them at the end.
class RunReports {
 public:
  /// The session outlives this.
  RunReports(Session& session, OutputChoice output);

  /// Of a backup or a restore that just ended. `missing` says what a missing folder is.
  ExitCode Run(RunOutcome outcome, const BackupJob& job, bool restore, const Message& missing);
  /// `what`: what the record is called; a verification, or "scrub" or "drill".
  ExitCode Verification(const VerifyReport& report, const BackupJob& job,
                        std::string_view what = kVerification);
  /// To be called last.
  void Print(ExitCode code) const;

 private:
  /// Says it on standard error, and in JSON.
  void Trouble(nlohmann::json& run, const BackupJob& job, const Message& why);
  void TellFailures(nlohmann::json& run, const BackupJob& job);
  /// That the change guard's alarm stands.
  void TellAlarm(nlohmann::json& run, const BackupJob& job);
  /// Of an archive that was to have recovery data.
  void TellRecovery(nlohmann::json& run, const BackupJob& job);
  void TellDifferences(nlohmann::json& run, const VerifyReport& report, const BackupJob& job);
  nlohmann::json Begin(const BackupJob& job, std::string_view kind, ExitCode code);
  bool AsText() const { return !output_.Json && !output_.Quiet; }

  Session& session_;
  const OutputChoice output_;
  std::uint64_t ended_;  ///< ticks at the end of the run before
  nlohmann::json runs_ = nlohmann::json::array();
};

}  // namespace kavrel
