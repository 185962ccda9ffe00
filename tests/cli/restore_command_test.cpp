// What brings backups back, looks into them and verifies them.
#include "kavrelctl_job.h"
#include "support/tree.h"

namespace kavrel {
namespace {

TEST_F(KavrelctlTest, ABackupIsVerifiedAndSingleFilesComeBack) {
  WriteTestFile(source_ / "docs/報告.txt", "report");
  WriteTestFile(source_ / "docs/old/notes", "notes");
  WriteTestFile(source_ / "other", "x");
  ASSERT_EQ(Add().ExitCode, 0);
  EXPECT_EQ(Ctl({"verify", "文件 A"}).ExitCode, 5) << "there is no backup yet";
  ASSERT_EQ(Ctl({"run", "文件 A"}).ExitCode, 0);
  CommandResult result = Ctl({"verify", "文件 A"});
  EXPECT_EQ(result.ExitCode, 0) << result.Output;
  EXPECT_NE(result.Output.find("內容相同檔案總計　：3\n"), std::string::npos) << result.Output;
  ASSERT_EQ(Ctl({"edit", "文件 A", "--verify-after"}).ExitCode, 0);
  fs::remove(source_ / "docs/報告.txt");
  WriteTestFile(dest_ / "other", "y");
  SetWritten(dest_ / "other", temp_.Files().Status(TempFolder::Text(source_ / "other"))->Written);
  result = Ctl({"verify", "文件 A"});
  EXPECT_EQ(result.ExitCode, 1);
  EXPECT_NE(result.Output.find("內容損壞檔案總計　：1\n"), std::string::npos) << result.Output;
  EXPECT_NE(Ctl({"log", "--show", "1"})
                .Output.find(": 驗證檔案 (內容損壞)：" + (source_ / "other").string() + "\n"),
            std::string::npos);
  result = Ctl({"run", "文件 A"});
  EXPECT_EQ(result.ExitCode, 1) << "the run leaves the file alone, the verification after it not";
  EXPECT_NE(result.Output.find("備份已存在檔案總計：2\n"), std::string::npos) << result.Output;
  EXPECT_NE(result.Output.find("內容損壞檔案總計　：1\n"), std::string::npos) << result.Output;
  const std::string bad = Ctl({"log", "--job", "文件 a", "--failed"}).Output;
  EXPECT_NE(bad.find("1  文件 A        驗證完成"), std::string::npos) << bad;
  EXPECT_EQ(bad.find("備份完成"), std::string::npos) << bad;
  EXPECT_NE(Ctl({"log", "--text", "備份完成", "--json"}).Output.find("\"copied\": 3"),
            std::string::npos);
  EXPECT_EQ(Code({"log", "--job", "文件", "--json"}), 3) << "the whole name is meant";

  const fs::path to = temp_.Root() / "to";
  const std::string full = (source_ / "docs/報告.txt").string();
  EXPECT_EQ(Ctl({"restore", "文件 A", "--only", full, "docs/old/", "--to", to.string()}).ExitCode,
            0);
  EXPECT_EQ(ReadTestFile(to / "docs/報告.txt"), "report");
  EXPECT_EQ(ReadTestFile(to / "docs/old/notes"), "notes");
  EXPECT_FALSE(fs::exists(to / "other"));
  EXPECT_FALSE(fs::exists(full));
  result = Ctl({"restore", "文件 A", "--only", "docs/報告.txt", "nothing"});
  EXPECT_EQ(result.ExitCode, 1) << result.Output;
  EXPECT_EQ(ReadTestFile(full), "report");
  WriteTestFile(full, "written later");
  SetWritten(full, {4000000000, 0});
  result = Ctl({"restore", "文件 A", "--only", "docs"});
  EXPECT_NE(result.Output.find("保留較新檔案總計　：1\n"), std::string::npos) << result.Output;
  EXPECT_EQ(ReadTestFile(full), "written later");
  EXPECT_EQ(Ctl({"restore", "文件 A", "--only", "docs", "--replace-newer"}).ExitCode, 0);
  EXPECT_EQ(ReadTestFile(full), "report");
  EXPECT_EQ(Ctl({"restore", "文件 A", "--only", "../other"}).ExitCode, 2);
  EXPECT_EQ(Ctl({"restore", "文件 A", "--only", "x", "--mode", "full"}).ExitCode, 2);
}

TEST_F(KavrelctlTest, ARestoreBringsALostFolderBack) {
  WriteTestFile(source_ / "深" / "a", "x");
  ASSERT_EQ(Add().ExitCode, 0);
  ASSERT_EQ(Ctl({"edit", "文件 A", "--dest", dest_.string() + "/<yyyy>/"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"restore", "文件 A"}).ExitCode, 5);
  EXPECT_EQ(Ctl({"run", "文件 A"}).ExitCode, 0);
  const std::string expanded = Ctl({"expand", dest_.string() + "/<yyyy>/"}).Output;
  const fs::path backup = expanded.substr(0, expanded.size() - 1);
  EXPECT_EQ(ReadTestFile(backup / "深" / "a"), "x");
  fs::remove_all(source_ / "深");
  const CommandResult result = Ctl({"restore", "文件 A", "--mode", "incremental"});
  EXPECT_EQ(result.ExitCode, 0) << result.Errors;
  EXPECT_NE(result.Output.find("已完成還原檔案總計：1\n"), std::string::npos) << result.Output;
  EXPECT_EQ(TreeDifferences(backup, source_), "");
  EXPECT_EQ(Ctl({"restore", "nobody"}).ExitCode, 3);
}

TEST_F(KavrelctlTest, ArchivesAreMadeListedAndRestoredAndTheirPasswordIsInTheStoreAlone) {
  const fs::path trace = temp_.Root() / "trace";
  const EnvironmentVariable debug("KAVREL_DEBUG", trace.string());
  WriteTestFile(source_ / "深" / "碁.txt", "x");
  ASSERT_EQ(Add({"--type", "compressed", "--password-stdin"}).ExitCode, 2) << "no password given";
  ASSERT_EQ(Add({"--type", "compressed"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"edit", "文件 A", "--password-stdin"}, "秘 密Canary\n").ExitCode, 0);
  EXPECT_EQ(Ctl({"restore", "文件 A"}).ExitCode, 5);
  EXPECT_EQ(Ctl({"run", "文件 A", "--compression", "best"}).ExitCode, 2);
  CommandResult result = Ctl({"run", "文件 A", "--compression", "store"});
  EXPECT_EQ(result.ExitCode, 0) << result.Errors;
  std::string archive;
  for (const auto& entry : fs::directory_iterator(dest_)) {
    if (entry.path().extension() == ".7z") archive = entry.path().filename().string();
  }
  EXPECT_NE(Ctl({"archives", "文件 A"}).Output.find(archive), std::string::npos);
  EXPECT_NE(Ctl({"archives", "文件 A", "--json"}).Output.find("\"size\": "), std::string::npos);
  EXPECT_NE(Ctl({"archives", "文件 A", "--list", archive}).Output.find("深/碁.txt"),
            std::string::npos);
  EXPECT_EQ(Ctl({"archives", "文件 A", "--list", "none.7z"}).ExitCode, 5);
  fs::remove_all(source_ / "深");
  EXPECT_EQ(Ctl({"restore", "文件 A", "--archive", "none.7z"}).ExitCode, 5);
  EXPECT_EQ(Ctl({"restore", "文件 A", "--latest"}).ExitCode, 0);
  EXPECT_EQ(ReadTestFile(source_ / "深" / "碁.txt"), "x");
  const fs::path to = temp_.Root() / "to";
  EXPECT_EQ(Ctl({"restore", "文件 A", "--only", "深/碁.txt", "--to", to.string()}).ExitCode, 0);
  EXPECT_EQ(ReadTestFile(to / "深" / "碁.txt"), "x");
  EXPECT_EQ(Ctl({"verify", "文件 A"}).ExitCode, 0);

  WriteTestFile(dest_ / archive, "no archive");
  EXPECT_EQ(Ctl({"verify", "文件 A"}).ExitCode, 1);
  EXPECT_EQ(Ctl({"run", "文件 A"}).ExitCode, 1);
  EXPECT_EQ(Ctl({"restore", "文件 A"}).ExitCode, 1);
  for (const char* json : {"", "--json"}) Ctl({"show", "文件 A", json});
  EXPECT_EQ(Ctl({"log", "--show", "1"}).ExitCode, 0);
  for (const auto& entry : fs::recursive_directory_iterator(temp_.Root())) {
    if (entry.is_regular_file() && entry.path() != store_) said_ += ReadTestFile(entry.path());
  }
  std::erase(said_, '\0');  // also as UTF-16
  EXPECT_EQ(said_.find("Canary"), said_.npos);
  const std::string traced = ReadTestFile(trace);
  EXPECT_NE(traced.find("child: started "), traced.npos) << traced;
  EXPECT_NE(traced.find("child: ended with 0"), traced.npos);
  EXPECT_NE(ReadTestFile(store_).find("Canary"), std::string::npos);
}

}  // namespace
}  // namespace kavrel
