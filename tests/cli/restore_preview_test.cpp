// Drives the real kavrelctl: what a restore would do is told before it does it.
#include <gtest/gtest.h>

#include "support/command.h"
#include "support/temp_folder.h"
#include "support/variable.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

TEST(RestorePreview, TellsWhatTheRestoreThenDoes) {
  const TempFolder temp;
  const EnvironmentVariable data("XDG_DATA_HOME", (temp.Root() / "data").string());
  const fs::path source = temp.Root() / "source", dest = temp.Root() / "dest";
  const auto ctl = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {KAVRELCTL, "--home", temp.Home().string()});
    return RunCommand(arguments);
  };
  WriteTestFile(source / "changed", "abc");
  WriteTestFile(source / "lost", "x");
  WriteTestFile(source / "same", "1");
  ASSERT_EQ(ctl({"add", "--name", "A", "--source", source.string(), "--dest", dest.string(),
                 "--no-source-folder"})
                .ExitCode,
            0);
  EXPECT_EQ(ctl({"restore", "A", "--dry-run"}).ExitCode, 5) << "there is no backup yet";
  ASSERT_EQ(ctl({"run", "A"}).ExitCode, 0);
  WriteTestFile(source / "changed", "changed since");
  fs::remove(source / "lost");

  CommandResult result = ctl({"restore", "A", "--mode", "incremental", "--dry-run"});
  EXPECT_EQ(result.ExitCode, 0) << result.Errors;
  EXPECT_NE(result.Output.find("取代              3 位元  大小不同            changed\n"),
            std::string::npos)
      << result.Output;
  EXPECT_NE(result.Output.find("還原              1 位元  目標沒有            lost\n"),
            std::string::npos)
      << result.Output;
  EXPECT_EQ(result.Output.find("same"), std::string::npos) << result.Output;
  EXPECT_EQ(ReadTestFile(source / "changed"), "changed since");
  EXPECT_FALSE(fs::exists(source / "lost"));

  const fs::path other = temp.Root() / "other";
  result = ctl(
      {"restore", "A", "--only", "lost", "none", "--to", other.string(), "--dry-run", "--json"});
  EXPECT_EQ(result.ExitCode, 1) << "one of them is not in the backup";
  for (const std::string& part :
       {std::string("\"path\": \"lost\""), std::string("\"not_in_source\""),
        "\"destination\": \"" + other.string() + "\"", "\"source\": \"" + dest.string()}) {
    EXPECT_NE(result.Output.find(part), std::string::npos) << part << " in " << result.Output;
  }
  EXPECT_FALSE(fs::exists(other));
  EXPECT_EQ(ReadTestFile(source / "changed"), "changed since");
}

}  // namespace
}  // namespace kavrel
