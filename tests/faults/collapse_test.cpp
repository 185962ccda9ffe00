// Sources that collapse before a run which would let old backups go.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "faults/world.h"
#include "support/variable.h"

namespace fs = std::filesystem;

namespace kavrel::faults {
namespace {

class CollapseTest : public testing::TestWithParam<const char*> {
 protected:
  void Fill(int files) const {
    fs::remove_all(job_.Source);
    fs::create_directories(job_.Source);
    for (int i = 0; i < files; ++i) {
      WriteTestFile(job_.Source / ("sub" + std::to_string(i % 3)) / std::to_string(i), "x");
    }
  }
  CommandResult RunOn(int day) const {
    const EnvironmentVariable clock("KAVREL_CLOCK", std::to_string(1'800'000'000 + day * 86'400));
    return RunToItsEnd({KAVRELCTL, "--home", job_.Home, "run", "J"});
  }
  RealJob job_;
};

TEST_P(CollapseTest, NothingOldGoesForASourceThatHasLostItsFiles) {
  const bool packs = GetParam() == std::string("compressed");
  if (packs && access("/usr/bin/7zz", X_OK) != 0) GTEST_SKIP() << "no archive program";
  const struct {
    const char* What;
    int Files;  ///< that are left; -1: not even the folder
    int ExitCode;
  } collapses[] = {{"emptied", 0, 6}, {"half gone", 19, 6}, {"a stray", 1, 6}, {"vanished", -1, 5}};
  setenv("XDG_DATA_HOME", (job_.Temp.Root() / "data").c_str(), 1);
  for (int keep = 1; keep <= 3; ++keep) {
    fs::remove_all(job_.Dest);
    Fill(40);
    job_.Command({"remove", "J"});
    const std::string dest = job_.Dest.string() + (packs ? "/" : "/<yyyy><mm><dd>/");
    ASSERT_EQ(job_.Command({"add", "--name", "J", "--type", GetParam(), "--source", job_.Source,
                            "--dest", dest, "--no-source-folder", "--keep", std::to_string(keep)})
                  .ExitCode,
              0);
    int day = 0;
    for (; day <= keep; ++day) ASSERT_EQ(RunOn(day).ExitCode, 0);
    const Tree kept = ReadTree(job_.Dest);
    EXPECT_EQ(std::count_if(kept.begin(), kept.end(),
                            [&](const auto& item) {
                              return item.first.find('/') == std::string::npos &&
                                     (!packs || item.first.ends_with(".7z"));
                            }),
              keep);
    for (const auto& [what, files, exit_code] : collapses) {
      SCOPED_TRACE(std::string(what) + ", keep " + std::to_string(keep));
      Fill(std::max(files, 0));
      if (files < 0) fs::remove_all(job_.Source);
      for (int again = 0; again <= keep; ++again) {
        const CommandResult result = RunOn(day++);
        EXPECT_EQ(result.ExitCode, exit_code) << result.Output << result.Errors;
        EXPECT_NE(result.Errors, "");
      }
      EXPECT_TRUE(ReadTree(job_.Dest) == kept);
    }
    Fill(40);
    EXPECT_EQ(RunOn(day).ExitCode, 0) << "it is all there again";
  }
}

INSTANTIATE_TEST_SUITE_P(, CollapseTest,
                         testing::Values("full", "differential", "sync", "compressed"),
                         [](const auto& test) { return std::string(test.param); });

}  // namespace
}  // namespace kavrel::faults
