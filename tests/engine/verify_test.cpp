#include "engine/verify.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

#include "base/text.h"
#include "support/command.h"
#include "support/test_program.h"
#include "support/tree.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class VerifyTest : public testing::Test, protected TestProgram {
 protected:
  VerifyReport Verify() { return Program.VerifyJobNow(0); }
  void RunAJob(BackupType type) {
    AddJob(type);
    ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  }
};

TEST_F(VerifyTest, RulesThatCannotBeReadAreNamedAsTheReason) {
  WriteTestFile(Source() / "a.bak", "x");
  WriteTestFile(Source() / "b", "y");
  const fs::path rules = Temp.Home() / "Exc.txt";
  WriteTestFile(rules, "R\tTrue\t*\t*\t*.bak\r\n");
  SetRules(true);
  Program.Exclusions.LoadExclusions();
  RunAJob(BackupType::Full);
  fs::rename(rules, Temp.Home() / "aside");
  fs::create_directory(rules);
  Program.Exclusions.LoadExclusions();
  const VerifyReport without = Verify();
  EXPECT_EQ(without.Counters.Unreadable, 1U);
  EXPECT_EQ(without.Counters.Missing, 1U);
  EXPECT_NE(LogLines().find("讀取排除規則 (失敗)"), std::string::npos) << LogLines();
  fs::remove(rules);
  fs::rename(Temp.Home() / "aside", rules);
  EXPECT_EQ(Verify().Counters.Differences(), 0U) << "read again as soon as they can be";
}

TEST_F(VerifyTest, EveryDifferenceOfAMirrorIsFoundAndNothingChanged) {
  for (const char* name : {"same", "missing", "changed", "rotten", "grown", "kind", "sub/deep",
                           "gone/a", "gone/b/c", "left.tmp", "big"}) {
    WriteTestFile(Source() / name, std::string("content of ") + name);
  }
  WriteTestFile(Source() / "large", std::string(3 << 20, 'x'));
  fs::create_symlink("same", Source() / "link");
  fs::create_symlink("same", Source() / "bent");
  ASSERT_EQ(mkfifo((Source() / "pipe").c_str(), 0600), 0);
  RunAJob(BackupType::Synchronise);
  const VerifyReport good = Verify();
  EXPECT_EQ(good.Outcome, RunOutcome::Ran);
  EXPECT_EQ(good.Counters.Equal, 14U) << LogLines();
  EXPECT_EQ(good.Counters.Differences(), 0U) << LogLines();

  Program.Store.Jobs[0].FileTypes = u"*.tmp";
  Program.Store.Jobs[0].ExcludeFileTypes = true;
  Program.Store.Jobs[0].LimitFileSize = true;
  Program.Store.Jobs[0].MaxFileSizeKB = 4096;
  WriteTestFile(Source() / "too big", std::string((4 << 20) + 1, 'x'));
  fs::remove(Dest() / "left.tmp");
  fs::remove(Dest() / "missing");
  WriteTestFile(Source() / "changed", "content of CHANGED");
  SetWritten(Source() / "changed", {1700000000, 0});
  WriteTestFile(Source() / "grown", "content of what has grown");
  const FileTime written = Temp.Files().Status(u"C:\\src\\rotten")->Written;
  std::string large(3 << 20, 'x');
  large.back() = 'y';
  WriteTestFile(Dest() / "large", large);
  SetWritten(Dest() / "large", Temp.Files().Status(u"C:\\src\\large")->Written);
  WriteTestFile(Dest() / "rotten", "content of r0tten");
  SetWritten(Dest() / "rotten", written);
  fs::remove(Dest() / "kind");
  fs::create_directory(Dest() / "kind");
  fs::remove_all(Dest() / "gone");
  fs::remove(Dest() / "bent");
  fs::create_symlink("elsewhere", Dest() / "bent");
  WriteTestFile(Dest() / "sub" / "stray", "x");
  WriteTestFile(Dest() / "strays" / "x", "x");
  const fs::path before = Temp.Root() / "before";
  ASSERT_EQ(RunCommand({"/bin/cp", "-a", Dest(), before}).ExitCode, 0);
  const std::string store = ReadTestFile(Temp.Home() / "Backup.rtm");

  const VerifyReport bad = Verify();
  std::vector<std::string> lines;
  const std::string text = LogLines();
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text.find('\n', at);
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  std::sort(lines.begin(), lines.end());
  EXPECT_EQ(lines,
            (std::vector<std::string>{
                ": 驗證檔案 (內容不同)：C:\\src\\bent", ": 驗證檔案 (內容不同)：C:\\src\\changed",
                ": 驗證檔案 (內容損壞)：C:\\src\\large", ": 驗證檔案 (內容損壞)：C:\\src\\rotten",
                ": 驗證檔案 (多出)：D:\\dst\\sub\\stray", ": 驗證檔案 (大小不同)：C:\\src\\grown",
                ": 驗證檔案 (種類不同)：C:\\src\\kind", ": 驗證檔案 (缺少)：C:\\src\\missing",
                ": 驗證資料夾 (多出)：D:\\dst\\kind", ": 驗證資料夾 (多出)：D:\\dst\\strays",
                ": 驗證資料夾 (缺少)：C:\\src\\gone\\"}));
  EXPECT_EQ(bad.Counters.Equal, 4U);
  EXPECT_EQ(bad.Counters.Missing, 4U) << "a file, a folder and the files in it";
  EXPECT_EQ(bad.Counters.Changed, 4U);
  EXPECT_EQ(bad.Counters.Damaged, 2U);
  EXPECT_EQ(bad.Counters.Extra, 3U);
  EXPECT_EQ(StatusText(Program.LogRows.Rows().back()), u"驗證完成");
  EXPECT_EQ(Program.LogRows.Rows().back().Failed, 13U);
  EXPECT_EQ(RunVerifyJob(Program.Context, Program.Store.Jobs[0], u"D:\\none\\").Outcome,
            RunOutcome::SourceMissing);
  EXPECT_EQ(ReadTestFile(Temp.Home() / "Backup.rtm"), store);
  EXPECT_EQ(TreeDifferences(before, Dest()), "");
}

TEST_F(VerifyTest, AJobThatIsNoMirrorMayHaveMoreAndACancelIsTold) {
  WriteTestFile(Source() / "a", std::string(5 << 20, 'x'));
  RunAJob(BackupType::Differential);
  WriteTestFile(Dest() / "older", "x");
  EXPECT_EQ(Verify().Counters.Differences(), 0U);
  Host.AtProgress = [&](std::uint64_t, std::uint64_t) { Program.State.CancelRequested = true; };
  const VerifyReport report = Verify();
  EXPECT_TRUE(report.Stopped);
  EXPECT_EQ(report.Counters.Equal + report.Counters.Differences(), 0U);
  EXPECT_EQ(StatusText(Program.LogRows.Rows().back()), u"驗證中斷");
  EXPECT_FALSE(Program.State.CancelRequested);
  // So is one that came between the run and the verification that belongs to it.
  Host.AtProgress = {};
  BackupJob& job = Program.Store.Jobs[0];
  job.Extras.VerifyAfterRun = true;
  Program.LogRows.Changed = [&] { Program.State.CancelRequested = true; };
  Program.RunJobNow(0);
  EXPECT_TRUE(Program.LastVerification() && Program.LastVerification()->Stopped);
  EXPECT_EQ(StatusText(Program.LogRows.Rows().back()), u"驗證中斷");
}

TEST_F(VerifyTest, ArchivesAreTested) {
  for (const char* name : {"a", "b", "sub/c"}) {
    WriteTestFile(Source() / name, std::string(100000, name[0]) + name);
  }
  BackupJob& job = AddJob(BackupType::Compressed);
  EXPECT_EQ(Verify().Outcome, RunOutcome::SourceMissing);
  fs::create_directories(Dest());
  EXPECT_EQ(Verify().Outcome, RunOutcome::NothingPicked);
  Program.Context.Compression = CompressionLevel::Store;
  for (const char16_t* password : {u"", u"密碼"}) {
    job.UsePassword = *password;
    job.Password = password;
    fs::remove_all(Dest());
    ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
    const VerifyReport good = Verify();
    EXPECT_EQ(good.Counters.Equal, 3U) << LogLines();
    EXPECT_EQ(good.Counters.Differences(), 0U) << LogLines();
  }
  job.Password = u"wrong";
  const VerifyReport wrong = Verify();
  EXPECT_EQ(wrong.Counters.Unreadable, 1U) << LogLines();
  EXPECT_TRUE(wrong.WrongPassword);
  EXPECT_EQ(wrong.Bytes, 0U);
  EXPECT_EQ(LogLines().find("內容損壞)："), std::string::npos) << LogLines();

  job.UsePassword = false;
  fs::remove_all(Dest());
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  const fs::path archive = Dest() / "2009年09月23日15時.7z";
  std::string bytes = ReadTestFile(archive);
  bytes[150000] = static_cast<char>(bytes[150000] ^ 1);
  WriteTestFile(archive, bytes);
  const VerifyReport bad = Verify();
  EXPECT_EQ(bad.Counters.Equal, 2U) << LogLines();
  EXPECT_EQ(bad.Counters.Damaged, 1U) << LogLines();
  EXPECT_NE(LogLines().find(": 驗證檔案 (內容損壞)："), std::string::npos) << LogLines();
  WriteTestFile(archive, bytes.substr(0, 1000));
  EXPECT_EQ(Verify().Counters.Damaged, 1U) << LogLines();
  // Without its sum it may be anything.
  fs::remove(Dest() / ".kavrel-sums");
  EXPECT_EQ(Verify().Counters.Unreadable, 1U) << LogLines();
}

}  // namespace
}  // namespace kavrel
