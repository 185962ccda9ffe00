// The options of add and edit, and what they make of a job's form.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/job_form.h"

namespace CLI {
class App;
}

namespace kavrel {

struct JobOptions {
  std::optional<std::string> Name, Source, Dest, Type, Every, Start, Refuse, Types, Guard,
      StateLinks, UnfinishedName, KeepPlan, Sums, Scrub, Drill, ChangeGuard, Recovery;
  std::optional<bool> ExcludeTypes, Subfolders, SourceFolder, Recycle, Enable, SpaceCheck,
      VerifyAfter, HardLinks, DeleteOld;
  std::optional<std::int32_t> MaxSizeKB, GuardMin, Keep;
  bool NoLimit = false, PasswordStdin = false, NoPassword = false, Adopt = false;

  void AddTo(CLI::App& command);
  /// Whether any of them was given.
  bool Any() const;
};

/// Writes the given options into the form. An empty text on success, else what is wrong with which
/// option. `now` completes a start that names no day or no time.
std::string ApplyOptions(const JobOptions& options, DateTime now, JobForm& form);

/// The option that a refused check is about.
std::string_view OptionOf(FormCheck check);

/// How long "10m", "2h", "1d", "1w" or "1mo" is.
struct Span {
  std::int32_t Count;
  IntervalKind Kind;
};
std::optional<Span> ParseSpan(const std::string& text);
/// "90m", "26h", "2d", "1w"; nothing for other texts, and for counts above 1000 or none.
std::optional<std::chrono::minutes> ParseAge(const std::string& text);

/// "full", "differential", "sync" or "compressed"; and the three-letter names sun … sat.
std::string_view TypeWord(BackupType type);
std::string_view WeekdayWord(int weekday);

}  // namespace kavrel
