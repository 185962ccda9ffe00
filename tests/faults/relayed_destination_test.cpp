// Destinations inside their source that are reached through another program, by other numbers.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "faults/world.h"
#include "support/variable.h"

namespace fs = std::filesystem;

namespace kavrel::faults {
namespace {

/// A job whose source, or a folder of it, is mounted elsewhere by the program of that name.
class RelayedDestinationTest : public testing::TestWithParam<const char*> {
 protected:
  struct Job : RealJob {
    /// `shown`: what of the source the view shows.
    Job(const std::string& program, const std::string& shown) {
      Source = Temp.Root() / "s";
      for (const char* name : {"a", "b", "sub/c"}) WriteTestFile(Source / name, name);
      fs::create_directories(Source / shown);
      fs::create_directories(View);
      // A run that copies into itself has no end.
      StartedBy = {"/usr/bin/timeout", "-s", "INT", "60"};
      const std::string path = "/usr/bin/" + program;
      std::vector<std::string> command{path, Source / shown, View};
      if (program == "sshfs") {
        const fs::path server = Temp.Root() / "server";
        WriteTestFile(server, "#!/bin/sh\nexec /usr/lib/openssh/sftp-server\n");
        fs::permissions(server, fs::perms::owner_all);
        command = {path, "-o", "ssh_command=" + server.string(), "x:" + command[1], View};
      }
      IsSeen = access(path.c_str(), X_OK) == 0 && RunCommand(command).ExitCode == 0;
    }
    ~Job() {
      if (IsSeen) RunCommand({"/bin/umount", "-l", View});
    }

    std::string Add(const std::string& type, const fs::path& dest) const {
      std::vector<std::string> words{
          "add",      "--name", "J",      "--type", type,
          "--source", Source,   "--dest", dest,     "--no-source-folder"};
      if (type == "sync") words.insert(words.end(), {"--guard", "off"});
      return Command(words).Errors;
    }
    CommandResult RunOn(int day) const {
      const EnvironmentVariable clock("KAVREL_CLOCK", std::to_string(1'800'000'000 + day * 86'400));
      const EnvironmentVariable preload("LD_PRELOAD", FAULT_INJECTOR);
      return Command({"run", "J"});
    }
    /// What lies in the source, but for a folder and for marks.
    Tree Without(const std::string& folder) const {
      Tree tree = ReadTree(Source);
      std::erase_if(tree, [&](const auto& entry) {
        return entry.first == folder || entry.first.starts_with(folder + "/");
      });
      return tree;
    }
    /// How many files below the source have that name.
    long Copies(const std::string& name) const {
      const Tree tree = ReadTree(Source);
      return std::count_if(tree.begin(), tree.end(), [&](const auto& entry) {
        return fs::path(entry.first).filename() == name;
      });
    }

    const fs::path View = Temp.Root() / "view";
    bool IsSeen = false;
  };
};

TEST_P(RelayedDestinationTest, IsNoPartOfItsSource) {
  const struct {
    const char *Type, *Shown, *Dest, *Place;
    bool Filled;  ///< there is something in it before the first run
  } cases[] = {{"differential", "", "in", "in", false},  {"differential", "in", "", "in", true},
               {"full", "", "new", "new", false},        {"sync", "", "in", "in", true},
               {"sync", "deep/in", "", "deep/in", true}, {"sync", "", "new", "new", false}};
  for (const auto& [type, shown, dest, place, filled] : cases) {
    const std::string what = std::string(type) + " " + shown + ":" + dest;
    SCOPED_TRACE(what);
    const Job job(GetParam(), shown);
    if (!job.IsSeen) GTEST_SKIP() << "no " << GetParam() << ", or no FUSE";
    if (filled) WriteTestFile(job.Source / place / "stray", "left there by somebody");
    const std::string said = job.Add(type, job.View / dest);
    EXPECT_TRUE(*shown || said.find("目標資料夾位於來源資料夾之內。") != said.npos) << said;
    const Tree before = job.Without(place);
    for (int run = 0; run < 2; ++run) {
      const std::string plan = job.Command({"preview", "J"}).Output;
      // What writes nothing knows a place without a mark by its name.
      EXPECT_TRUE((*shown && run == 0) || plan.find(" " + std::string(place) + "/\n") == plan.npos)
          << plan;
      const CommandResult result = job.Command({"run", "J"});
      EXPECT_EQ(result.ExitCode, 0) << result.Errors;
      if (run > 0 && type != std::string("full")) {
        EXPECT_EQ(Figure(result.Output, kCopied), 0) << result.Output;
        EXPECT_EQ(Figure(result.Output, kUnchanged), 3) << result.Output;
      }
      EXPECT_EQ(job.Without(place), before);
      for (const char* name : {"a", "b", "c"}) EXPECT_EQ(job.Copies(name), 2) << name;
      EXPECT_EQ(job.Copies("stray"), filled && type != std::string("sync") ? 1 : 0);
    }
    EXPECT_EQ(job.Command({"verify", "J"}).ExitCode, 0);
    // What somebody has copied of it is a folder like others, even under its name.
    const std::string copy = "copies/" + fs::path(place).filename().string();
    fs::create_directories(job.Source / "copies");
    RunCommand({"/bin/cp", "-a", job.Source / place, job.Source / copy});
    EXPECT_EQ(job.Command({"run", "J"}).ExitCode, 0);
    EXPECT_TRUE(fs::exists(job.Source / place / copy / "sub" / "c"));
    EXPECT_EQ(job.Copies("c"), 4);
  }
}

TEST_P(RelayedDestinationTest, ItsFormerStatesAreNotEither) {
  for (const char* type : {"full", "differential", "sync"}) {
    SCOPED_TRACE(type);
    for (const char* shown : {"", "in"}) {
      const Job job(GetParam(), shown);
      if (!job.IsSeen) GTEST_SKIP() << "no " << GetParam() << ", or no FUSE";
      job.Add(type, job.View / "<yyyy>" / "<mm>-<dd>");
      for (int day = 0; day < 3; ++day) {
        const CommandResult result = job.RunOn(day);
        EXPECT_EQ(result.ExitCode, 0) << result.Output << result.Errors;
        for (const char* name : {"a", "b", "c"}) EXPECT_EQ(job.Copies(name), day + 2) << name;
      }
      RunCommand({"/bin/cp", "-a", job.Source / shown / "2027", job.Source / "copy"});
      EXPECT_EQ(job.RunOn(3).ExitCode, 0);
      EXPECT_EQ(job.Copies("a"), 4 + 3 + 1 + 3) << "without the copy that somebody made";
    }
  }
}

// What joins several folders makes new files in the first of them, and shows those of the others.
TEST(JoinedDestinationTest, WhichShowsTheSourceIsRefused) {
  for (const char* type : {"full", "differential", "sync"}) {
    for (const char* below : {"", "sub/deep/"}) {
      SCOPED_TRACE(std::string(type) + " " + below);
      RealJob job;
      const fs::path root = job.Temp.Root(), pool = root / "pool";
      job.Source = root / "second/data";
      for (const char* name : {"a", "b", "c"}) {
        WriteTestFile(job.Source / (std::string(below) + name), name);
      }
      fs::create_directories(root / "first");
      fs::create_directories(pool);
      const std::string joined = (root / "first").string() + ":" + (root / "second").string();
      const CommandResult mounted =
          RunCommand({"/usr/bin/mergerfs", "-o", "category.create=ff", joined, pool});
      if (mounted.ExitCode != 0) GTEST_SKIP() << "no mergerfs, or no FUSE";
      job.Command({"add", "--name", "J", "--type", type, "--source", job.Source, "--dest",
                   pool / "data", "--no-source-folder"});
      for (const char* content : {"a", "another"}) {
        WriteTestFile(job.Source / (std::string(below) + "a"), content);
        const Tree before = ReadTree(job.Source);
        const CommandResult result = job.Command({"run", "J"});
        EXPECT_EQ(result.ExitCode, 1) << result.Output << result.Errors;
        EXPECT_EQ(ReadTree(job.Source), before);
      }
      EXPECT_EQ(RunCommand({"/bin/umount", "-l", pool}).ExitCode, 0);
    }
  }
}

TEST(JoinedDestinationTest, WhichShowsASourceThatKeepsWholeSecondsIsRefused) {
  RealJob job;
  const fs::path root = job.Temp.Root(), image = root / "image", disk = root / "disk";
  const fs::path view = root / "view", pool = root / "pool", other = disk / "other";
  job.Source = disk / "source";
  for (const fs::path& folder : {disk, view, pool}) fs::create_directories(folder);
  WriteTestFile(image, "");
  fs::resize_file(image, 40 << 20);
  const auto runs = [](const std::vector<std::string>& command) {
    return access(command[0].c_str(), X_OK) == 0 && RunCommand(command).ExitCode == 0;
  };
  // Inodes of 128 bytes have no room for more.
  if (!runs({"/sbin/mkfs.ext4", "-q", "-F", "-I", "128", image}) ||
      !runs({"/bin/mount", "-o", "loop", image, disk})) {
    GTEST_SKIP() << "no right to mount a small disk";
  }
  for (const char* name : {"a", "b", "c"}) WriteTestFile(job.Source / name, name);
  fs::create_directories(other);
  const bool shown = runs({"/usr/bin/bindfs", job.Source, view}) &&
                     runs({"/usr/bin/mergerfs", "-o", "minfreespace=0",
                           view.string() + ":" + other.string(), pool});
  if (shown) {
    job.Command({"add", "--name", "J", "--type", "full", "--source", job.Source, "--dest", pool,
                 "--no-source-folder"});
    const Tree before = ReadTree(job.Source);
    EXPECT_EQ(job.Command({"run", "J"}).ExitCode, 1);
    EXPECT_EQ(ReadTree(job.Source), before);
  }
  for (const fs::path& mounted : {pool, view, disk}) RunCommand({"/bin/umount", "-l", mounted});
  if (!shown) GTEST_SKIP() << "no bindfs or mergerfs, or no FUSE";
}

INSTANTIATE_TEST_SUITE_P(, RelayedDestinationTest, testing::Values("bindfs", "sshfs"),
                         [](const auto& test) { return std::string(test.param); });

TEST(RelayedBackupTest, OneTimeOfChangeDoesNotMakeTwoFilesOne) {
  const RealJob job;
  const fs::path behind = job.Temp.Root() / "behind", view = job.Temp.Root() / "view";
  WriteTestFile(job.Source / "a", "a");
  fs::create_directories(behind);
  fs::create_directories(view);
  if (access("/usr/bin/bindfs", X_OK) != 0 ||
      RunCommand({"/usr/bin/bindfs", behind, view}).ExitCode != 0) {
    GTEST_SKIP() << "nothing can be mounted";
  }
  job.Command({"add", "--name", "J", "--type", "differential", "--source", job.Source, "--dest",
               view, "--no-source-folder"});
  EXPECT_EQ(job.Command({"run", "J"}).ExitCode, 0);
  const auto changed = [](const fs::path& path) {
    struct stat status {};
    stat(path.c_str(), &status);
    return std::pair(status.st_ctim.tv_sec, status.st_ctim.tv_nsec);
  };
  // A time that nobody has asked for may be that of the last change elsewhere.
  bool equal = false;
  for (int tries = 0; tries < 10'000 && !equal; ++tries) {
    for (const unsigned mode : {0600U, 0644U}) {
      for (const fs::path& file : {job.Source / "a", behind / "a"}) {
        fs::permissions(file, fs::perms(mode));
      }
    }
    equal = changed(job.Source / "a") == changed(behind / "a");
  }
  WriteTestFile(job.Source / "new", "new");
  EXPECT_EQ(job.Command({"run", "J"}).ExitCode, 0) << job.Log();
  EXPECT_TRUE(fs::exists(behind / "new"));
  RunCommand({"/bin/umount", "-l", view});
  if (!equal) GTEST_SKIP() << "the clock here gives no two entries one time";
}

}  // namespace
}  // namespace kavrel::faults
