// A source in which somebody else works during the run. The injector stops the run at one of its
// calls, the shell makes a change, and the run goes on; the call is each in turn.
#include <gtest/gtest.h>
#include <unistd.h>

#include "faults/world.h"
#include "files/owner_mark.h"
#include "support/variable.h"

namespace fs = std::filesystem;

namespace kavrel::faults {
namespace {

constexpr std::size_t kSize = 400'000;
constexpr const char* kArchiver = "7zz";

/// What somebody does: lines for the shell, in the source. "../aside" holds what may take a place:
/// a file "new" that is nobody else's business, a folder "dir", a link and a pipe.
struct Change {
  const char* Name;
  std::vector<std::string> Steps;
};

std::vector<Change> Changes() {
  std::vector<Change> changes{
      {"ChangedFolderToLink", {"mv sub ../aside/was; ln -s ../aside/dir sub"}},
      {"ChangedFolderToFile", {"mv sub ../aside/was; mv ../aside/new sub"}},
      {"ChangedFolderToPipe", {"mv sub ../aside/was; mv ../aside/pipe sub"}},
      {"SwappedFolders", {"mv sub ../aside/was; mv ../aside/dir sub"}},
      {"RenamedFolder", {"mv sub sub2"}},
      {"ChangedLinkToFile", {"mv -T ../aside/new link"}},
  };
  for (const std::string file : {"big", "small"}) {
    const auto add = [&](const char* name, const std::vector<std::string>& steps) {
      changes.push_back({name, steps});
      for (std::string& step : changes.back().Steps) {
        while (step.find('@') != step.npos) step.replace(step.find('@'), 1, file);
      }
    };
    add("Truncated", {": > @"});
    add("Appended", {"printf more >> @"});
    add("WrittenOver", {"chmod 600 @", ": > @", "cat ../aside/new >> @"});
    // Of the same size, and within the second that a run allows between a file and its copy; at
    // once, since the other thread of the run goes on meanwhile.
    add("SavedAgain",
        {"tr o p < @ > ../aside/again; touch -d 2024-03-09T16:00:00.9Z ../aside/again; "
         "mv -T ../aside/again @"});
    add("Replaced", {"mv -T ../aside/new @"});
    add("ReplacedWithItsTimeKept", {"touch -r @ ../aside/new; mv -T ../aside/new @"});
    add("Renamed", {"mv @ renamed"});
    add("ChangedToFolder", {"mv @ ../aside/was; mv ../aside/dir @"});
    add("ChangedToLink", {"mv -T ../aside/link @"});
    add("ChangedToPipe", {"mv -T ../aside/pipe @"});
  }
  return changes;
}

struct Kind {
  const char *Name, *Type;
  bool Dated = false;
  const char* Program = "kavrelctl";  ///< in which the change is made
};

class RaceTest : public testing::TestWithParam<Kind> {
 protected:
  bool Packs() const { return GetParam().Type == std::string("compressed"); }
  bool Mirrors() const { return GetParam().Type == std::string("sync"); }

  void MakeTrees() const {
    for (const fs::path& folder : {job_.Source, job_.Dest, Aside(), seen_}) fs::remove_all(folder);
    for (const bool is_new : {false, true}) {
      const fs::path root = is_new ? job_.Source : job_.Dest;
      if (!is_new && (Packs() || GetParam().Dated)) continue;
      for (const char* name : {"big", "small", "sub/c", "sub/deep/d", "sub/e", "zlast"}) {
        const std::string text = is_new ? "now " : "was ";
        WriteTestFile(root / name,
                      name == std::string("big") ? text + std::string(kSize, 'o') : text + name);
        SetWritten(root / name, {is_new ? 1'710'000'000 : 1'700'000'000, 7'000'000});
      }
      fs::create_symlink(is_new ? "small" : "big", root / "link");
    }
    WriteTestFile(Aside() / "new", std::string(kSize + 99, 'S'));
    fs::permissions(Aside() / "new", fs::perms(0600));
    SetWritten(Aside() / "new", {1'720'000'000, 9'000'000});
    WriteTestFile(Aside() / "dir/c", "another");
    WriteTestFile(Aside() / "dir/x", "another");
    fs::create_symlink("zlast", Aside() / "link");
    EXPECT_EQ(RunCommand({"/usr/bin/mkfifo", Aside() / "pipe"}).ExitCode, 0);
  }
  fs::path Aside() const { return job_.Source.parent_path() / "aside"; }

  /// A script that makes the change and keeps each version that the source passes.
  void WriteScript(const Change& change) const {
    std::string script = "cd " + job_.Source.string() + "\n";
    int version = 0;
    for (const std::string& step : change.Steps) {
      script += step + "\ncp -a . " + (seen_ / std::to_string(version++)).string() + "\n";
    }
    WriteTestFile(script_, script);
    fs::create_directories(seen_);
  }

  /// What the run has made.
  Tree Made(std::string& wrongs) const {
    Tree tree;
    if (!GetParam().Dated && !Packs()) return ReadTree(job_.Dest);
    if (!fs::exists(job_.Dest)) return tree;
    for (const auto& item : fs::directory_iterator(job_.Dest)) {
      if (!Packs()) {
        tree = ReadTree(item.path());
      } else if (item.path().extension() == ".7z") {
        tree = ReadArchive(item.path(), job_.Temp.Root() / "unpacked", "", wrongs);
      } else if (item.path().extension() != ".txt" &&
                 !IsBackupsOwn(item.path().filename().u16string())) {
        wrongs += item.path().string() + " is a stray\n";
      }
    }
    return tree;
  }

  /// As the destination can keep it.
  Entry Kept(Entry entry) const {
    if (!Packs()) return entry;
    entry.Owner.clear();
    entry.Written -= entry.Written % 100;
    return entry;
  }

  /// A system empties a file first and sets its time then: who looks between the two sees nothing
  /// of the one under the time of the other. The time that comes tells the next run.
  bool IsEmptiedBeforeItsTime(Entry emptied, const Tree& before, const std::string& path,
                              const Entry& copy) const {
    const auto was = before.find(path);
    if (!emptied.Bytes.empty() || was == before.end()) return false;
    emptied.Written = was->second.Written;
    return Kept(emptied) == copy;
  }

  /// Whether the log names an entry, or a folder that holds it, as failed or doubtful.
  bool IsTold(const CommandResult& result, const fs::path& path) const {
    if (result.ExitCode == 0 && Figure(result.Output, "警告檔案總計　　　：") <= 0) return false;
    const std::string log = job_.Log();
    for (fs::path named = path; !named.empty(); named = named.parent_path()) {
      if (log.find((job_.Source / named).string()) != log.npos) return true;
    }
    return log.find("\nWARNING: ") != log.npos;  // The archiver's own words.
  }

  std::string Judge(const CommandResult& result, const Tree& dest_before,
                    const std::vector<Tree>& versions) const {
    std::string wrongs;
    if (result.ExitCode != 0 && result.ExitCode != 1) {
      wrongs += "exit code " + std::to_string(result.ExitCode) + "\n";
    }
    const auto has = [](const Tree& tree, const std::string& path, char kind) {
      const auto there = tree.find(path);
      return there != tree.end() && there->second.Kind == kind;
    };
    const Tree made = Made(wrongs);
    for (const auto& [path, entry] : made) {
      if (IsStaged(path)) wrongs += path + " is a stray\n";
      bool known = false, always = true, may_be_open = false;
      for (const Tree& version : versions) {
        if (!has(version, path, entry.Kind)) {
          always = false;
          continue;
        }
        const Entry& there = version.at(path);
        known = known || entry.Kind == 'D' || Kept(there) == entry ||
                IsEmptiedBeforeItsTime(there, versions.front(), path, entry);
        may_be_open =
            may_be_open || (there.Mode == entry.Mode && there.Bytes.find('S') != there.Bytes.npos);
      }
      // The archive program looks at a file long before it reads it.
      if (entry.Bytes.find('S') != entry.Bytes.npos && !may_be_open &&
          !(Packs() && IsTold(result, path))) {
        wrongs += path + " has new content under old permissions\n";
      }
      // What was not there all the while may stay as it was before the run.
      const auto old = dest_before.find(path);
      const bool stayed = old != dest_before.end() && (entry.Kind == 'D' || old->second == entry);
      if (!known && !(stayed && !always) && !IsTold(result, path)) {
        wrongs += path + (stayed ? " stayed" : " is no version that there was") +
                  ", untold: " + std::to_string(entry.Bytes.size()) + " bytes, mode " +
                  std::to_string(entry.Mode) + "\n";
      }
    }
    const bool nothing_made = Packs() && made.empty() && result.ExitCode == 1;
    for (const auto& [path, entry] : versions.front()) {
      if (nothing_made) break;
      bool always = entry.Kind != 'S' && !(Packs() && entry.Kind == 'D');
      for (const Tree& version : versions) always = always && has(version, path, entry.Kind);
      if (always && !made.contains(path) && (dest_before.contains(path) || !IsTold(result, path))) {
        wrongs += path + " is missing\n";
      }
    }
    return wrongs;
  }

  /// When nobody changes anything any more, all is equal.
  std::string JudgeQuiet() const {
    std::string wrongs;
    const EnvironmentVariable clock("KAVREL_CLOCK", "1800100000");
    if (Packs() || GetParam().Dated) fs::remove_all(job_.Dest);
    const CommandResult result =
        RunToItsEnd({KAVRELCTL, "--home", job_.Home, "run", "J", "--force"});
    const Tree made = Made(wrongs);
    bool blocked = false;  // By what another kind of entry has left; only a mirror makes way.
    for (const auto& [path, entry] : ReadTree(job_.Source)) {
      if (entry.Kind == 'S' || (Packs() && entry.Kind == 'D')) continue;
      const auto copy = made.find(path);
      const bool other = copy != made.end() && copy->second.Kind != entry.Kind;
      blocked = blocked || (other && !Mirrors());
      if (copy != made.end() && (copy->second == Kept(entry) || (other && !Mirrors()) ||
                                 (entry.Kind == 'D' && !Mirrors()))) {
        continue;
      }
      if (!blocked) wrongs += path + " is not as in the source after a quiet run\n";
    }
    for (const auto& [path, entry] : made) {
      if (Mirrors() && !fs::exists(fs::symlink_status(job_.Source / path))) {
        wrongs += path + " is left over after a quiet run\n";
      }
    }
    if (result.ExitCode != 0 && !blocked) wrongs += "the quiet run failed\n";
    if (!wrongs.empty()) wrongs += result.Output + result.Errors + job_.Log();
    return wrongs;
  }

  /// False when the run ended before the call.
  bool Race(const Change& change, unsigned long at, const char* call = "any") {
    MakeTrees();
    fs::remove_all(job_.Home / "Log");
    WriteScript(change);
    const Tree dest_before = ReadTree(job_.Dest);
    std::vector<Tree> versions{ReadTree(job_.Source)};
    const EnvironmentVariable clock("KAVREL_CLOCK", "1800000000"),
        script("KAVREL_FAULT_CHANGE", script_);
    CommandResult result;
    const Fault fault{call, at, "change", job_.Source, GetParam().Program};
    const bool reached = RunWithFault({KAVRELCTL, "--home", job_.Home, "run", "J", "--force"},
                                      fault, job_.Temp.Root() / "state", result);
    if (!reached) return false;
    for (std::size_t i = 0; i < change.Steps.size(); ++i) {
      versions.push_back(ReadTree(seen_ / std::to_string(i)));
    }
    last_log_ = job_.Log();
    std::string wrongs = Judge(result, dest_before, versions);
    if (!wrongs.empty()) wrongs += result.Output + result.Errors + job_.Log();
    wrongs += JudgeQuiet();
    if (!wrongs.empty() && ++wrong_ < 10) {
      ADD_FAILURE() << change.Name << " (" << change.Steps[0] << ") at " << call << " " << at
                    << "\n"
                    << wrongs;
    }
    return true;
  }

  void MakeJob() const {
    MakeTrees();
    const std::string dest = job_.Dest.string() + (GetParam().Dated ? "/<yyyy><mm><dd>/" : "");
    EXPECT_EQ(job_.Command({"add", "--name", "J", "--type", GetParam().Type, "--source",
                            job_.Source, "--dest", dest, "--no-source-folder"})
                  .ExitCode,
              0);
  }

  RealJob job_;
  const fs::path script_ = job_.Temp.Root() / "change.sh", seen_ = job_.Temp.Root() / "seen";
  std::string last_log_;
  std::size_t wrong_ = 0;
};

TEST_P(RaceTest, ACopyIsAVersionThatThereWasOrIsTold) {
  if (Packs() && access("/usr/bin/7zz", X_OK) != 0) GTEST_SKIP() << "no archive program";
  setenv("TZ", "UTC0", 1);
  MakeJob();
  std::size_t changed = 0;
  for (const Change& change : Changes()) {
    // What a copy must not pass for lies between its reading and its getting its name.
    const bool close = change.Name == std::string("SavedAgain") && !Packs();
    const unsigned long step = SweepStep(0) == 1 ? 5 : close ? 3 : Packs() ? 37 : 29;
    for (unsigned long at = 1 + changed % step; Race(change, at); at += step) ++changed;
  }
  // A pipe in the place of a file that is about to be opened for packing.
  if (GetParam().Program == std::string(kArchiver)) {
    EXPECT_TRUE(Race({"APipeToWaitOn", {"mv -T ../aside/pipe big"}}, 1, "open"));
    EXPECT_NE(last_log_.find("已有數分鐘沒有任何動作"), last_log_.npos) << last_log_;
  }
  EXPECT_GT(changed, 0U);
  Count("changes in the midst of a run", changed);
  Count("losses and untruths", wrong_);
}

constexpr Kind kKinds[] = {{"Full", "full"},
                           {"Differential", "differential"},
                           {"Mirror", "sync"},
                           {"Dated", "full", true},
                           {"Compressed", "compressed"},
                           {"Packing", "compressed", false, kArchiver}};

INSTANTIATE_TEST_SUITE_P(, RaceTest, testing::ValuesIn(kKinds),
                         [](const auto& test) { return std::string(test.param.Name); });

}  // namespace
}  // namespace kavrel::faults
