// What a run carries over beside the content, with new copies and with those that it leaves alone.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <tuple>

#include "base/text.h"
#include "engine/run_planner.h"
#include "support/command.h"
#include "support/test_program.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

constexpr uid_t kSomebody = 1234;
constexpr const char *kAccess = "system.posix_acl_access", *kDefault = "system.posix_acl_default";

/// An access list that lets one user read and write, as the system keeps it.
std::string AccessList(std::uint32_t user) {
  struct Entry {
    std::uint16_t Tag, Rights;
    std::uint32_t Id;
  } entries[] = {{1, 7, ~0U}, {2, 6, user}, {4, 5, ~0U}, {16, 7, ~0U}, {32, 5, ~0U}};
  std::string bytes("\2\0\0\0", 4);
  return bytes.append(reinterpret_cast<const char*>(entries), sizeof entries);
}

/// Permissions, owner and attributes as a text.
std::string MetadataOf(const fs::path& path) {
  struct stat found {};
  if (lstat(path.c_str(), &found) != 0) return "missing";
  char text[64];
  snprintf(text, sizeof text, "%o %u:%u", found.st_mode, found.st_uid, found.st_gid);
  std::string result = text;
  char names[4096];
  const ssize_t length = llistxattr(path.c_str(), names, sizeof names);
  std::map<std::string, std::string> attributes;
  for (ssize_t at = 0; at < length; at += static_cast<ssize_t>(strlen(names + at)) + 1) {
    char value[4096];
    const ssize_t size = lgetxattr(path.c_str(), names + at, value, sizeof value);
    attributes[names + at].assign(value, size > 0 ? static_cast<std::size_t>(size) : 0);
  }
  for (const auto& [name, value] : attributes) result += " " + name + "=" + value;
  return result;
}

class MetadataTest : public testing::Test, protected TestProgram {
 protected:
  void SetUp() override {
    WriteTestFile(Source() / "probe", "");
    if (geteuid() != 0 || !Set(Source() / "probe", "trusted.a", "x") ||
        !Set(Source() / "probe", kAccess, AccessList(7))) {
      GTEST_SKIP() << "needs root, and extended attributes in the temporary folder";
    }
    fs::remove(Source() / "probe");
  }

  static bool Set(const fs::path& path, const char* name, const std::string& value) {
    return lsetxattr(path.c_str(), name, value.data(), value.size(), 0) == 0;
  }

  const RunCounters& Run(BackupType type = BackupType::Differential) {
    if (Program.Store.Jobs.empty()) AddJob(type);
    Program.RunJobNow(0);
    return Program.Context.Report.Counters;
  }

  /// Fails unless the copy has what its source has.
  void ExpectSame() {
    for (const auto& entry : fs::recursive_directory_iterator(Source())) {
      const fs::path name = entry.path().lexically_relative(Source());
      EXPECT_EQ(MetadataOf(entry.path()), MetadataOf(Dest() / name)) << name;
    }
  }
};

TEST_F(MetadataTest, WhatChangedAloneIsSetRightWithoutACopyAndOnlyOnce) {
  for (const char* name :
       {"mode", "setuid", "owner", "attribute", "list", "link", "same", "folder/x"}) {
    if (name == std::string_view("link")) {
      fs::create_symlink("mode", Source() / name);
    } else {
      WriteTestFile(Source() / name, "content");
    }
  }
  ASSERT_EQ(chmod((Source() / "setuid").c_str(), 04755), 0);
  ASSERT_TRUE(Set(Source() / "list", kAccess, AccessList(7)));
  ASSERT_TRUE(Set(Source() / "folder", kAccess, AccessList(7)));
  ASSERT_TRUE(Set(Source() / "folder", kDefault, AccessList(7)));
  ASSERT_TRUE(Set(Source() / "folder", "user.gone", "1"));
  ASSERT_TRUE(Set(Source() / "attribute", "user.gone", "1"));
  Run();
  ExpectSame();
  std::map<fs::path, ino_t> before;
  for (const auto& entry : fs::recursive_directory_iterator(Dest())) {
    struct stat found {};
    lstat(entry.path().c_str(), &found);
    before[entry.path()] = found.st_ino;
  }

  ASSERT_EQ(chmod((Source() / "mode").c_str(), 0600), 0);
  ASSERT_EQ(chmod((Source() / "setuid").c_str(), 0755), 0);
  ASSERT_EQ(chown((Source() / "owner").c_str(), kSomebody, 4321), 0);
  ASSERT_EQ(lchown((Source() / "link").c_str(), kSomebody, 4321), 0);
  ASSERT_EQ(removexattr((Source() / "attribute").c_str(), "user.gone"), 0);
  ASSERT_TRUE(Set(Source() / "attribute", "user.new", std::string(2000, 'n')));
  ASSERT_EQ(removexattr((Source() / "list").c_str(), kAccess), 0);
  for (const char* name : {kAccess, kDefault, "user.gone"}) {
    ASSERT_EQ(removexattr((Source() / "folder").c_str(), name), 0);
  }
  RunPlan plan;
  RunCounters counters;
  EXPECT_EQ(
      PlanBackupJob(Program.Context, Host, Program.State, Program.Store.Jobs[0], plan, counters),
      RunOutcome::Ran);
  EXPECT_EQ(counters.UpdatedAttributes, 7U);
  std::size_t planned = 0;
  for (const PlanStep& step : plan.Steps) {
    if (step.Action == PlanAction::Update) ++planned;
  }
  EXPECT_EQ(planned, 7U);
  EXPECT_EQ(plan.Steps.size(), 7U);

  EXPECT_EQ(Run().UpdatedAttributes, 7U);
  EXPECT_EQ(Program.Context.Report.Counters.CopiedFiles, 0U);
  EXPECT_EQ(Program.Context.Report.Counters.UnchangedFiles, 8U);
  EXPECT_EQ(Program.Context.Report.Counters.WarningFiles, 0U);
  EXPECT_NE(LogLines().find(": 更新屬性 (成功)：D:\\dst\\mode\n"), std::string::npos) << LogLines();
  EXPECT_NE(LogLines().find(": 更新屬性 (成功)：D:\\dst\\folder\\\n"), std::string::npos);
  ExpectSame();
  for (const auto& [path, number] : before) {
    struct stat found {};
    lstat(path.c_str(), &found);
    EXPECT_EQ(found.st_ino, number) << path;
  }
  EXPECT_EQ(Run().UpdatedAttributes, 0U);
  EXPECT_EQ(LogLines(), "");
}

TEST_F(MetadataTest, ASnapshotOfTheBackupKeepsWhatItHas) {
  WriteTestFile(Source() / "file", "x");
  ASSERT_EQ(chmod((Source() / "file").c_str(), 0644), 0);
  Run();
  fs::create_hard_link(Dest() / "file", Temp.Root() / "snapshot");
  ASSERT_EQ(chmod((Source() / "file").c_str(), 0600), 0);
  // A link of several names is told apart from one that leads elsewhere now.
  fs::create_symlink("file", Source() / "link");
  Run();
  fs::create_hard_link(Dest() / "link", Temp.Root() / "snapshot of the link");
  ASSERT_EQ(chmod((Source() / "file").c_str(), 0640), 0);
  ASSERT_EQ(lchown((Source() / "link").c_str(), kSomebody, kSomebody), 0);
  fs::remove(Temp.Root() / "snapshot");
  fs::create_hard_link(Dest() / "file", Temp.Root() / "snapshot");
  const std::string before = MetadataOf(Temp.Root() / "snapshot");
  const RunPlan plan = Foresee(Program.Store.Jobs[0]).Plan;
  ASSERT_EQ(plan.Steps.size(), 2U);
  for (const PlanStep& step : plan.Steps) {
    EXPECT_TRUE(step.Action == PlanAction::Replace && step.Reason == PlanReason::OwnCopy)
        << ToUtf8(step.Path);
  }
  EXPECT_EQ(Run().CopiedFiles, 2U);
  ExpectSame();
  EXPECT_EQ(MetadataOf(Temp.Root() / "snapshot"), before);
}

TEST_F(MetadataTest, AReadOnlyFolderIsUnlockedOnlyForAChangeAndLockedWhereThatFails) {
  for (const char* name : {"fixed/a", "fixed/inner/b"}) WriteTestFile(Source() / name, "x");
  Run(BackupType::Synchronise);
  const fs::path fixed = Dest() / "fixed", gone = fixed / "gone";
  WriteTestFile(gone / "stuck" / "c", "another user's");
  for (int i = 0; i < 30; ++i) WriteTestFile(gone / std::to_string(i), "x");
  ASSERT_EQ(RunCommand({"/bin/chown", "-R", "65534:65534", Temp.Root()}).ExitCode, 0);
  ASSERT_EQ(chown((gone / "stuck").c_str(), 0, 0), 0);
  for (const fs::path& path :
       {Source() / "fixed", Source() / "fixed" / "inner", gone, fixed / "inner", fixed}) {
    ASSERT_EQ(chmod(path.c_str(), 0555), 0);
  }
  const auto state_of = [](const fs::path& path) {
    struct stat found {};
    EXPECT_EQ(stat(path.c_str(), &found), 0);
    return std::tuple(found.st_mode, found.st_ctim.tv_sec, found.st_ctim.tv_nsec);
  };
  const auto stays = [&](RunOutcome outcome, bool forced = false) {
    const auto fixed_before = state_of(fixed), inner_before = state_of(fixed / "inner");
    const auto gone_before = fs::exists(gone) ? state_of(gone) : fixed_before;
    Program.Context.Force = forced;
    {
      const Unprivileged user;
      EXPECT_EQ(Program.RunJobNow(0), outcome);
    }
    EXPECT_EQ(std::get<0>(state_of(fixed)), std::get<0>(fixed_before));
    if (fs::exists(gone)) {
      EXPECT_EQ(std::get<0>(state_of(gone)), std::get<0>(gone_before));
    }
    EXPECT_EQ(state_of(fixed / "inner"), inner_before);
    EXPECT_TRUE(forced || state_of(fixed) == fixed_before) << "changed for nothing";
  };
  Host.GoOn = false;
  stays(RunOutcome::Guarded);
  stays(RunOutcome::Ran, true);
  EXPECT_FALSE(fs::exists(gone / "0"));
  EXPECT_TRUE(fs::exists(gone / "stuck" / "c"));
  fs::remove_all(gone);
  SetWritten(fixed, {1'000'000'000, 0});
  SetWritten(Source() / "fixed", {1'000'000'000, 0});
  stays(RunOutcome::Ran);
}

TEST_F(MetadataTest, ACopyInheritsNothingFromItsDestination) {
  WriteTestFile(Source() / "file", "x");
  WriteTestFile(Source() / "sub" / "file", "x");
  ASSERT_EQ(chmod((Source() / "file").c_str(), 0640), 0);
  fs::create_directories(Dest());
  ASSERT_TRUE(Set(Dest(), kDefault, AccessList(7)));
  Run(BackupType::Full);
  ExpectSame();
  EXPECT_EQ(getxattr(Dest().c_str(), kDefault, nullptr, 0), -1);
  // Nor from its source's own folder, whose list a new root has from the start.
  ASSERT_TRUE(Set(Source(), kDefault, AccessList(7)));
  fs::remove_all(Dest());
  Run(BackupType::Full);
  ExpectSame();
  EXPECT_EQ(getxattr((Dest() / ".kavrel-sums").c_str(), kAccess, nullptr, 0), -1);
}

TEST_F(MetadataTest, WhatAUserMayNotGiveIsNotTriedAgainOnEachRun) {
  const auto give = [&](const fs::path& path, uid_t owner) {
    ASSERT_EQ(lchown(path.c_str(), owner, owner), 0);
  };
  WriteTestFile(Source() / "foreign", "x");
  WriteTestFile(Source() / "own", "x");
  ASSERT_EQ(chmod((Source() / "foreign").c_str(), 06755), 0);
  fs::create_directories(Dest());
  for (const fs::path& path :
       {Source(), Source() / "own", Dest(), Temp.Home(), Temp.Home() / "Log"}) {
    give(path, 65534);
  }
  fs::permissions(Temp.Root(), fs::perms::all);
  {
    const Unprivileged user;
    Run();
    EXPECT_EQ(Run().UpdatedAttributes, 0U);
    // A file of one's own that nobody may read any more; one to whose copy others may do nothing.
    chmod((Source() / "own").c_str(), 0);
    EXPECT_EQ(Run().UpdatedAttributes, 1U);
    EXPECT_EQ(Run().UpdatedAttributes, 0U);
  }
  struct stat found {};
  ASSERT_EQ(stat((Dest() / "foreign").c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 07777U, 0755U);
  give(Dest() / "foreign", 0);
  ASSERT_EQ(chmod((Dest() / "foreign").c_str(), 0700), 0);
  const Unprivileged user;
  EXPECT_EQ(Run().WarningFiles, 1U);
  EXPECT_NE(LogLines().find("Could Not Set Destination File Attributes"), std::string::npos);
}

}  // namespace
}  // namespace kavrel
