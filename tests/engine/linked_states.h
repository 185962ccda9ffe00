// A job with dated folders, what a folder holds in every respect, and runs that are interrupted.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "base/text.h"
#include "files/owner_mark.h"
#include "files/path.h"
#include "support/test_program.h"

namespace kavrel {

inline constexpr const char* kAttribute = "user.test";

using Tree = std::map<std::string, std::string>;

inline struct stat StatusOf(const std::filesystem::path& path) {
  struct stat found {};
  EXPECT_EQ(lstat(path.c_str(), &found), 0) << path;
  return found;
}

inline ino_t NumberOf(const std::filesystem::path& path) {
  return StatusOf(path).st_ino;
}

/// All that a state keeps of each entry; of files with several names in the tree, the first one.
inline Tree Describe(const std::filesystem::path& root) {
  Tree tree;
  std::map<ino_t, std::vector<std::string>> names;
  std::vector<std::filesystem::path> paths{root};
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    if (entry.path() != root / ".kavrel-sums") paths.push_back(entry.path());
  }
  for (const std::filesystem::path& path : paths) {
    const struct stat found = StatusOf(path);
    std::string& text = tree[path.lexically_relative(root)];
    text = std::to_string(found.st_mode) + " " + std::to_string(found.st_uid) + " " +
           std::to_string(found.st_mtim.tv_sec) + "." + std::to_string(found.st_mtim.tv_nsec);
    if (S_ISLNK(found.st_mode)) text += " -> " + std::filesystem::read_symlink(path).string();
    if (!S_ISREG(found.st_mode)) continue;
    char value[64];
    const ssize_t length = getxattr(path.c_str(), kAttribute, value, sizeof value);
    if (length > 0) text += " [" + std::string(value, static_cast<std::size_t>(length)) + "]";
    text += " " + ReadTestFile(path);
    names[found.st_ino].push_back(path.lexically_relative(root));
  }
  for (auto& [number, same] : names) {
    std::sort(same.begin(), same.end());
    for (const std::string& name : same) tree[name] += " = " + same.front();
  }
  return tree;
}

inline std::string Differences(const Tree& is, const Tree& was) {
  std::string text;
  for (const auto& [name, entry] : was) {
    const auto found = is.find(name);
    if (found == is.end()) {
      text += name + ": missing\n";
    } else if (found->second != entry) {
      text += name + ": " + found->second + ", was: " + entry + "\n";
    }
  }
  for (const auto& [name, entry] : is) {
    if (!was.contains(name)) text += name + ": too many\n";
  }
  return text;
}

class LinkedStatesTest : public testing::Test, protected TestProgram {
 protected:
  LinkedStatesTest() {
    setenv("XDG_DATA_HOME", (Temp.Root() / "data").c_str(), 1);
    std::filesystem::create_directories(Source());
  }
  ~LinkedStatesTest() override { unsetenv("XDG_DATA_HOME"); }

  BackupJob& Job() { return Program.Store.Jobs[0]; }
  void Begin(BackupType type = BackupType::Differential) {
    AddJob(type).Destination.Path = u"D:\\dst\\<yyyy>-<mm>-<dd> <hh>\\";
  }
  const RunCounters& Run() {
    Program.RunJobNow(0);
    return Program.Context.Report.Counters;
  }
  const RunCounters& RunNextDay() {
    Clock.Advance(std::uint64_t{24} * 60 * 60 * 1000);
    return Run();
  }
  /// The folder of the present moment.
  std::filesystem::path State() const {
    const CivilTime now = ToCivil(const_cast<SetClock&>(Clock).Now());
    char name[32];
    snprintf(name, sizeof name, "%04d-%02d-%02d %02d", now.Year, now.Month, now.Day, now.Hour);
    return Dest() / name;
  }
  static std::filesystem::path Unfinished(const std::filesystem::path& state) {
    return state.string() + ".unfinished";
  }
  void Put(const std::string& name, const std::string& content,
           FileTime time = {1'000'000'000, 7}) {
    WriteTestFile(Source() / name, content);
    SetWritten(Source() / name, time);
  }
  /// Makes a whole state one that an interrupted run has left.
  void Interrupt(const std::filesystem::path& state) const {
    std::filesystem::rename(state, Unfinished(state));
    const Result<Folder> folder = Temp.Files().OpenFolder(TempFolder::Text(Unfinished(state)));
    OwnerMark mark = *ReadOwnerMark(*folder);
    EXPECT_EQ(ToUtf8(PathName(DropBackslash(mark.Place))), state.filename());
    mark.Figures.reset();
    EXPECT_EQ(WriteOwnerMark(*folder, mark), 0);
  }
  /// Whatever is there may be used by an ordinary user, too.
  void OpenToAll() const {
    for (const std::filesystem::path& path :
         {Temp.Root(), Temp.Home(), Temp.Home() / "Log", Temp.DriveD(), Dest()}) {
      std::filesystem::create_directories(path);
      std::filesystem::permissions(path, std::filesystem::perms::all);
    }
  }
  /// Runs in a process that dies at that pump; false when the run ended before it.
  bool RunAndDie(int pump) {
    const pid_t child = fork();
    if (child == 0) {
      Host.AtPump = [&] {
        if (--pump <= 0) _exit(9);
      };
      Run();
      _exit(0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    return WEXITSTATUS(status) == 9;
  }
};

}  // namespace kavrel
