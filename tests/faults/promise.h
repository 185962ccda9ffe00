// What the options of a job promise: a plain model of runs and restores over listings of both
// sides. It shares no code with the program.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "faults/world.h"

namespace kavrel::faults {

struct Promise {
  std::string Type = "full";  ///< as --type takes it
  bool Recycle = false, Subfolders = true, ExcludeTypes = false;
  bool Rules = false;                ///< folders "skip" and files "*.bak" are excluded
  std::vector<std::string> Endings;  ///< file types, as ".txt"; none: all
  std::size_t MostKB = 0;            ///< 0: of any size
  std::string Inner;                 ///< where the destination lies in the source; empty: outside
  bool Restores = false;             ///< it leaves files that it need not copy as they are
  bool KeepNewer = false;            ///< what is more than two seconds newer stays
};

/// What must be there afterwards, and what must be told.
struct Outlook {
  Tree Wanted;
  std::set<std::string> Loose = {};       ///< of these the content alone is promised
  std::vector<std::string> Removed = {};  ///< files that were there and go
  std::set<std::string> Left = {};        ///< files that are left alone, whatever they hold
  long Copied = 0, Failed = 0;
  /// Files that the job takes, by name, and which file of the source each is: those are linked
  /// afterwards that are linked there, and no others. Empty: nothing is promised of links.
  std::map<std::string, std::uint64_t> Taken = {};
  /// What a name may hold as well, since it is one of several: which of them comes first is not
  /// foreseen. Of an unreadable file nothing is.
  std::map<std::string, std::vector<Entry>> Else = {};
  std::set<std::string> Vague = {};
  long MayCopy = 0;  ///< of those that are left alone, how many may be copied anew all the same
};

/// A run or a restore between folders. Listings hold the folders themselves, too, as "".
Outlook Foresee(const Promise& job, const Tree& from, const Tree& to);
/// The part of a backup that was picked, with the folders that lead there, which are loose where
/// the target has them already.
Outlook ForeseePicked(const Promise& job, const Tree& from, const Tree& to,
                      const std::vector<std::string>& picked);
/// What an archive holds after a run: files and links, of which it keeps no owner.
Outlook ForeseePacked(const Promise& job, const Tree& from, const Tree& packed);
/// What comes of an archive in a folder.
Outlook ForeseeUnpacked(const Tree& packed, const Tree& to);

/// How what is there differs from what must be, a line each.
std::string Differences(const Outlook& outlook, const Tree& found);
/// What is neither as before nor as foreseen after a command that did not come to a good end.
std::string Losses(const Tree& before, const Outlook& outlook, const Tree& found);
/// A listing with the folder itself.
Tree ReadWhole(const std::filesystem::path& root);
/// The part of a listing below a folder, which becomes "".
Tree Below(const Tree& tree, const std::string& folder);
std::string ParentOf(const std::string& path);

}  // namespace kavrel::faults
