// How the extras of one job stand in Backup.ext: a section of "Name=value" lines.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "core/backup_job.h"

namespace kavrel {

inline constexpr std::u16string_view kExtrasSection = u"[job]";

/// Name, source and destination of a job, as its section has them.
using ExtrasKey = std::array<std::u16string, 3>;
ExtrasKey ExtrasKeyOf(const BackupJob& job);

/// Tells jobs of one key apart: a checksum of what else their lines hold, but for what runs and
/// timers change, and the password.
std::u16string LikenessOf(const BackupJob& job);

struct ExtrasSection {
  ExtrasKey Key;
  std::u16string Like;  ///< LikenessOf the job; empty in those of former versions
  bool Before = false;  ///< out of date as soon as the store is saved
  JobExtras Extras;
  std::vector<std::u16string> Seen;  ///< names that come once
};

/// Appends "NAME=VALUE" with a line end.
void AddExtrasLine(std::u16string& text, std::u16string_view name, std::u16string_view value);
/// A line by which a section is known to be one that the store to come does without.
void AddBeforeLine(std::u16string& text);

/// The job's section with its first line, in which only what is not a default has a line.
std::u16string FormatExtrasSection(const BackupJob& job);

enum class ExtrasLine {
  Taken,
  Odd,     ///< with a value that this name cannot have: the default stays
  Broken,  ///< no line of a section, or one of another: what follows may be anything, too
};
/// Takes a line of a section; of a name that is not known as one of OtherLines.
ExtrasLine ParseExtrasLine(std::u16string_view line, ExtrasSection& section);

/// Whether a line tells what a job's runs have left, which is not that of a job elsewhere.
bool IsOfRuns(std::u16string_view line);

}  // namespace kavrel
