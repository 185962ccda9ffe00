// A small world in which one command of the real kavrelctl runs while something fails: a program
// folder with a job, what the job reads, what it writes, and a judge of what is left afterwards.
#pragma once

#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "support/command.h"
#include "support/temp_folder.h"

namespace kavrel::faults {

struct Entry {
  char Kind = 'F';           ///< file, link or folder; 'S' for what has no content
  std::string Bytes;         ///< of a link its target
  std::int64_t Written = 0;  ///< nanoseconds
  unsigned Mode = 0;
  std::string Owner;                  ///< user, group and the user's own attributes
  std::uint64_t File = 0, Names = 1;  ///< which file it is, and how many names that has
  bool operator==(const Entry& other) const {
    return SameContent(other) && Written == other.Written && Mode == other.Mode &&
           Owner == other.Owner;
  }
  bool SameContent(const Entry& other) const { return Kind == other.Kind && Bytes == other.Bytes; }
};
using Tree = std::map<std::string, Entry>;

Entry ReadEntry(const std::filesystem::path& path);
/// Everything below a folder, by relative path, as far as this user may look.
Tree ReadTree(const std::filesystem::path& root);

/// The files and links of an archive, which keeps no owners; unpacked into `place` for a while.
Tree ReadArchive(const std::filesystem::path& archive, const std::filesystem::path& place,
                 const std::string& password, std::string& wrongs);

/// What is done in the world, and how it ends well.
struct Scenario {
  const char* Name;
  std::vector<std::string> Job;      ///< options of the job
  std::vector<std::string> Command;  ///< the command under test
  bool Restore = false;              ///< the job's destination is read, its source written
};
inline void PrintTo(const Scenario& scenario, std::ostream* out) {
  *out << scenario.Name;
}
extern const Scenario kScenarios[];
extern const std::size_t kScenarioCount;

/// One call that fails: of which kind, the how many-th, and how ("kill", "short", "gone", an
/// errno), or before which something happens ("change").
struct Fault {
  std::string Kind;
  unsigned long At = 1;
  std::string What;
  std::string Under = {};  ///< the folder whose calls count; empty: all
  std::string Program = "kavrelctl";
  std::string Text() const { return Kind + ":" + std::to_string(At) + ":" + What; }
};

/// Whether it is, or lies in, something of a temporary name.
bool IsStaged(const std::string& path);

/// Runs a command, with the object loaded that makes calls fail, and waits for all it has started.
CommandResult RunToItsEnd(const std::vector<std::string>& command, const std::string& input = {});
/// With a fault. False when it came to its end before the fault's call. `state` is a file to use.
bool RunWithFault(const std::vector<std::string>& command, const Fault& fault,
                  const std::filesystem::path& state, CommandResult& result);

class World {
 public:
  explicit World(const Scenario& scenario, int more_files = 0);

  const std::filesystem::path& Root() const { return temp_.Root(); }
  /// What the command reads, and what it writes.
  const std::filesystem::path& Origin() const { return origin_; }
  const std::filesystem::path& Target() const { return target_; }
  /// Everything as before the first run.
  void Reset();
  /// Runs the command. False when it came to its end before the fault's call.
  bool Run(const Fault& fault);
  /// Runs it undisturbed.
  void Run();
  /// Removes the files that a run would copy, so that what is in the target has to stand alone.
  void EmptyOrigin();

  /// What is wrong after a command that ended by itself, a line each; empty when nothing is.
  std::string Wrongs();
  /// What is wrong after a command that was killed.
  std::string WrongsAfterKill();
  /// What is wrong after the next, undisturbed run: it must have healed everything.
  std::string WrongsAfterHealing(bool origin_emptied);

  CommandResult Result;
  std::vector<std::string> StartedBy;  ///< a program that starts the command, with its arguments

 private:
  std::vector<std::string> Command() const;
  void BuildTrees() const;
  void CheckTarget(bool killed, std::string& wrongs, bool origin_emptied = false) const;
  void CheckKeptFiles(bool killed, std::string& wrongs) const;
  void CheckTruth(std::string& wrongs) const;
  void CheckLinks(std::string& wrongs) const;
  bool InBin(const Entry& entry) const;

  const Scenario& scenario_;
  const int more_files_;
  TempFolder temp_;
  std::filesystem::path origin_, target_, state_;
  std::map<std::string, std::string> kept_;  ///< the program folder's files before the run
  std::string new_rules_, new_filters_;      ///< after the undisturbed command
  Tree origin_before_, target_before_, target_after_;
};

/// A job of the real kavrelctl, from one folder to another.
struct RealJob {
  TempFolder Temp;
  std::filesystem::path Source = Temp.DriveC() / "src", Dest = Temp.DriveD() / "dst",
                        Home = Temp.Home();
  std::vector<std::string> StartedBy;  ///< a program that starts it, with its arguments

  CommandResult Command(std::vector<std::string> arguments) const;
  /// Makes it the job "J", which copies into Dest itself.
  void Make(const std::string& type) const;
  /// Runs it whatever its looks at the destination find.
  CommandResult Run() const { return Command({"run", "J", "--force"}); }
  /// All job logs, as UTF-8.
  std::string Log() const;
};

/// The number behind a label of a summary; -1 without one.
long Figure(const std::string& text, const std::string& label);
inline constexpr const char *kCopied = "已完成檔案總計　　：", *kFailed = "備份失敗檔案總計　：",
                            *kUnchanged = "備份已存在檔案總計：";

/// Adds to the counts that the whole harness prints at its end.
void Count(const std::string& what, std::size_t number);
/// Every how many-th fault the sweeps take: 1 for all of them.
unsigned long SweepStep(unsigned long quick);

}  // namespace kavrel::faults
