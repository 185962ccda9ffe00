#include "platform/desktop.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include "base/text.h"
#include "platform/clock.h"
#include "platform/folders.h"
#include "platform/posix/desktop_entry.h"
#include "platform/priority.h"
#include "support/temp_folder.h"
#include "support/unprivileged.h"
#include "support/variable.h"

namespace kavrel {
namespace {

class DesktopTest : public testing::Test {
 protected:
  /// A program of that name, first on the search path, made of these shell lines.
  void MakeProgram(const std::string& name, const std::string& lines) {
    const auto path = Temp.Root() / "bin" / name;
    WriteTestFile(path, "#!/bin/sh\n" + lines + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::all);
  }
  /// The content of a file that another process is about to write; empty when it never does.
  std::string Awaited(const std::filesystem::path& path) {
    SystemClock clock;
    for (int tries = 0; tries < 500 && !std::filesystem::exists(path); ++tries) clock.Sleep(10);
    clock.Sleep(10);
    return ReadTestFile(path);
  }

  TempFolder Temp;
  EnvironmentVariable Path{"PATH", (Temp.Root() / "bin").string() + ":" + getenv("PATH")};
  EnvironmentVariable Config{"XDG_CONFIG_HOME", (Temp.Root() / "config").string()};
};

TEST_F(DesktopTest, TheAutostartEntryStartsExactlyThisProgram) {
  const auto entry = Temp.Root() / "config/autostart/kavrel.desktop";
  const std::u16string usual = *ProgramFolder();
  EXPECT_TRUE(SetAutostartEntry(false, u"/opt/kavrel", usual));
  EXPECT_TRUE(SetAutostartEntry(true, u"/opt/a \"b\" 100% $HOME \\n/kavrel", usual));
  const std::string text = ReadTestFile(entry);
  EXPECT_NE(text.find("\nExec=\"/opt/a \\\\\"b\\\\\" 100%% \\\\$HOME \\\\\\\\n/kavrel\"\n"),
            text.npos)
      << text;
  // Other folders have entries of their own, which come and go by themselves.
  EXPECT_TRUE(SetAutostartEntry(true, u"/opt/kavrel", u"/home of/a"));
  EXPECT_TRUE(SetAutostartEntry(true, u"/opt/kavrel", u"/home of/b"));
  EXPECT_TRUE(SetAutostartEntry(false, u"/opt/kavrel", u"/home of/a"));
  EXPECT_EQ(ReadTestFile(entry), text);
  EXPECT_TRUE(SetAutostartEntry(false, u"/opt/kavrel", usual));
  EXPECT_FALSE(std::filesystem::exists(entry));
  std::string left;
  for (const auto& file : std::filesystem::directory_iterator(entry.parent_path())) {
    left += ReadTestFile(file.path());
  }
  EXPECT_NE(left.find("\nExec=\"/opt/kavrel\" \"--home=/home of/b\"\n"), left.npos) << left;
  EXPECT_EQ(left.find("of/a"), left.npos);
}

TEST_F(DesktopTest, OpensAndPlaysByTheProgramsThatAreThere) {
  const auto said = Temp.Root() / "said";
  MakeProgram("pw-play", "printf 'play %s' \"$1\" > '" + said.string() + "'");
  const EnvironmentVariable server("PULSE_SERVER", "elsewhere");
  EXPECT_TRUE(HasSoundDevice());
  EXPECT_TRUE(PlaySoundFile(u"/a b/完成.wav"));
  EXPECT_EQ(Awaited(said), "play /a b/完成.wav");
  std::filesystem::remove(said);
  MakeProgram("xdg-open", "printf 'open %s' \"$1\" > '" + said.string() + "'");
  EXPECT_TRUE(OpenWithDesktop(u"/x; touch $(y)"));
  EXPECT_EQ(Awaited(said), "open /x; touch $(y)");
}

TEST_F(DesktopTest, TheSystemIsKeptAwakeForAsLongAsARunTakes) {
  const auto said = Temp.Root() / "said";
  MakeProgram("systemd-inhibit", "echo \"$$ $*\" > '" + said.string() + ".new'; mv '" +
                                     said.string() + ".new' '" + said.string() +
                                     "'; exec sleep 1000");
  const EnvironmentVariable bus("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere");
  pid_t holder = 0;
  {
    const SleepInhibitor awake;
    const std::string text = Awaited(said);
    holder = std::stoi(text);
    EXPECT_NE(text.find("--what=sleep"), text.npos) << text;
    EXPECT_EQ(kill(holder, 0), 0);
  }
  EXPECT_NE(kill(holder, 0), 0);
}

TEST(Priority, IsAppliedAndRestoredWhereItCanBe) {
  // In a process of its own: what is tried here would stay.
  const pid_t child = fork();
  if (child == 0) {
    const PriorityControl control;
    const auto io = [] { return syscall(SYS_ioprio_get, 1, 0) >> 13; };
    const int before = getpriority(PRIO_PROCESS, 0);
    const auto io_before = io();
    control.ApplyProcessPriority(5);
    bool good = io() == 3 && (geteuid() != 0 || getpriority(PRIO_PROCESS, 0) == 19);
    control.ApplyProcessPriority(6);
    good = good && io() == 3;
    control.ApplyProcessPriority(3);
    good = good && io() == io_before && getpriority(PRIO_PROCESS, 0) == before;
    // Whoever could not come back keeps the nice value.
    rlimit none{};
    setrlimit(RLIMIT_NICE, &none);
    const Unprivileged user;
    control.ApplyProcessPriority(5);
    good = good && getpriority(PRIO_PROCESS, 0) == before;
    _exit(good ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace kavrel
