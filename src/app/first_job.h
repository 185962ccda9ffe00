// What a program folder without jobs offers for a first one: what there is to back up, where to,
// and how often.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/job_form.h"

namespace kavrel {

class Program;

struct SourceOffer {
  std::u16string Name;
  std::u16string Folder;  ///< with its trailing separator
  /// Nothing of the network lies in it, which might not answer.
  bool Countable = true;
};

/// The home folder as a whole, then the folders in it that are not hidden, by name.
std::vector<SourceOffer> SourceOffers(const Program& program);

struct PlaceOffer {
  std::u16string Name;
  std::u16string Folder;              ///< where backups go, with its trailing separator
  std::optional<std::uint64_t> Free;  ///< bytes; nothing where nobody may ask, as on the network
  bool Writable = true;

  bool operator==(const PlaceOffer&) const = default;
};

/// A folder on each of these disks, then the usual one in the home folder. The program's mounts are
/// fresh.
std::vector<PlaceOffer> PlaceOffers(const Program& program,
                                    const std::vector<std::u16string>& volumes);

/// How often a first job may run.
inline constexpr IntervalKind kFirstIntervals[] = {IntervalKind::Hours, IntervalKind::Days,
                                                   IntervalKind::Weeks, IntervalKind::Months};

/// A job that is switched on and runs from the full hour on: at a time when the machine is in use.
JobForm FirstJob(const Program& program, const SourceOffer& source, const PlaceOffer& place,
                 IntervalKind interval);

/// Stores it. Gives why that could not be, in words for the user; empty when it is stored.
std::u16string MakeFirstJob(Program& program, const JobForm& form);

}  // namespace kavrel
