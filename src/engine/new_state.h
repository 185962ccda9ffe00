// A new dated folder from its first name to its last: what an interrupted run has left of one is
// taken up, the former state is found, and when the run is whole the folder gets its dated name.
#pragma once

#include <string>
#include <string_view>

#include "engine/run_context.h"

namespace kavrel {

/// Prepares the context for a run that makes the unit (SetRunPaths): where it lies until it is
/// whole, what an interrupted run has left for it, and the former state. Nothing is prepared for a
/// unit that is there already, nor for a job without units.
/// `changes`: what is left is given its place; else it is only looked at, for a plan.
void BeginState(RunContext& context, const BackupJob& job, std::u16string_view unit, bool changes);

/// The job as its walk and its plan take it: into what an interrupted run has left goes nothing
/// that is there, and what the source does not have goes from it.
BackupJob WalkedJob(const RunContext& context, const BackupJob& job);

/// The run has come to its end, and its mark tells so: gives the unit its name, on the disk. False,
/// counted and told, where that cannot be.
bool NameState(RunContext& context, std::u16string_view unit);

/// After that: what the next run has to know of its entries is kept.
void KeepRecord(RunContext& context, const BackupJob& job, std::u16string_view unit);

/// Removes the dated folders above a unit that are empty now, never the fixed part of the path.
void RemoveEmptyAbove(const RunContext& context, const BackupJob& job, std::u16string_view unit);

/// How a job's new states get what did not change.
SharedContent::Ways WaysOf(const BackupJob& job);

/// What MarkWhole and this write is for the run alone; its context forgets it.
class NewStateScope {
 public:
  explicit NewStateScope(RunContext& context) : context_(context) {}
  ~NewStateScope() { context_.Making = {}; }
  NewStateScope(const NewStateScope&) = delete;
  NewStateScope& operator=(const NewStateScope&) = delete;

 private:
  RunContext& context_;
};

}  // namespace kavrel
