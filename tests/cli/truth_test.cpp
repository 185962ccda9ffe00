// What the commands say is so, and each kind of trouble has an exit code of its own.
#include "cli/ctl.h"
#include "platform/clock.h"
#include "platform/process.h"
#include "support/unprivileged.h"

namespace kavrel {
namespace {

class TruthTest : public CtlTest {};

TEST_F(TruthTest, APreviewTellsThatTheRunWouldFailBeRefusedOrFindNoPlace) {
  WriteTestFile(source_ / "a.txt", "a");
  Add("A");
  EXPECT_EQ(Code({"preview", "A"}), 0);
  EXPECT_EQ(Json({"preview", "A"})["result"], "done");
  struct Case {
    std::string Destination, Reason, ForScripts;
  };
  WriteTestFile(temp_.Root() / "file", "in the way");
  for (const Case& c :
       {Case{"X:\\backup", "X:\\backup", "X:\\backup"},
        Case{(temp_.Root() / "file/below").string(), "無法建立", "cannot be created"}}) {
    ASSERT_EQ(Code({"edit", "A", "--dest", c.Destination}), 0);
    const CommandResult text = Ctl({"preview", "A"});
    EXPECT_EQ(text.ExitCode, 1) << c.Destination;
    EXPECT_TRUE(Holds(text.Errors, c.Reason)) << text.Errors;
    const json told = Json({"preview", "A"});
    EXPECT_EQ(told["result"], "refused");
    EXPECT_TRUE(Holds(told["warnings"][0], c.ForScripts)) << told["warnings"];
    EXPECT_EQ(told["reason"], told["warnings"][0]);
    const CommandResult run = Ctl({"run", "A"});
    EXPECT_EQ(run.ExitCode, 10);
    EXPECT_FALSE(Holds(run.Output, "備份完成")) << run.Output;
    EXPECT_EQ(Json({"run", "A"})["runs"][0]["result"], "no-place");
  }
  // A guard's refusal is one, too: the mirror knows nothing of what lies there.
  WriteTestFile(dest_ / "precious", "old");
  ASSERT_EQ(Code({"edit", "A", "--dest", dest_.string(), "--type", "sync"}), 0);
  EXPECT_EQ(Code({"preview", "A"}), 1);
  EXPECT_EQ(Code({"run", "A"}), 6);
  fs::remove_all(source_);
  EXPECT_EQ(Code({"preview", "A"}), 5);
  const json gone = Json({"preview", "A"});
  EXPECT_EQ(gone["result"], "source-missing");
  EXPECT_TRUE(Holds(gone["reason"], source_.string())) << gone["reason"];
}

TEST_F(TruthTest, APreviewTellsWhatThisUserCannotWrite) {
  if (geteuid() != 0) GTEST_SKIP() << "a folder of somebody else's takes two users";
  const fs::path folders[] = {"", "theirs", "ours"};
  for (const fs::path& folder : folders) {
    WriteTestFile(source_ / folder / "a.txt", "a");
    WriteTestFile(source_ / folder / "gone.txt", "b");
  }
  Add("A", {"--type", "sync", "--guard", "off"});
  ASSERT_EQ(Code({"run", "A"}), 0);
  for (const fs::path& folder : folders) {
    fs::remove(source_ / folder / "gone.txt");
    WriteTestFile(source_ / folder / "a.txt", "another");
  }
  Add("Z", {"--type", "compressed"});
  for (const auto& entry : fs::recursive_directory_iterator(temp_.Root())) {
    fs::permissions(entry, fs::perms(entry.is_directory() ? 0777 : 0666));
  }
  fs::permissions(temp_.Root(), fs::perms(0777));
  fs::permissions(dest_, fs::perms(0755));
  fs::permissions(dest_ / "theirs", fs::perms(0755));
  // Where it was built may be closed to others.
  fs::copy_file(program_, temp_.Root() / "program");
  program_ = (temp_.Root() / "program").string();
  const Unprivileged nobody;
  const json told = Json({"preview", "A"});
  EXPECT_EQ(told["result"], "some-failed") << told;
  EXPECT_EQ(told["totals"]["fail"]["files"], 4) << told;
  EXPECT_EQ(told["totals"]["replace"]["files"], 1) << told;
  EXPECT_EQ(told["totals"]["delete"]["files"], 1) << told;
  EXPECT_EQ(told["steps"][0]["reason"], "not_writable") << told;
  EXPECT_EQ(Code({"preview", "A"}), 1);
  EXPECT_EQ(Code({"run", "A"}), 1);
  const json packed = Json({"preview", "Z"});
  EXPECT_EQ(packed["result"], "refused") << packed;
  EXPECT_TRUE(Holds(packed["reason"], "cannot be written")) << packed;
}

TEST_F(TruthTest, WhatDoesNotApplyIsRefusedBeforeAnythingIsDone) {
  WriteTestFile(source_ / "a.txt", "a");
  Add("A");
  ASSERT_EQ(Code({"run", "A"}), 0);
  const std::string store = ReadTestFile(temp_.Home() / "Backup.rtm");
  const std::string archive = (dest_ / "x.7z").string();
  for (const auto& [words, part] : std::vector<std::pair<Words, std::string>>{
           {{"edit", "A"}, "要變更的項目"},
           {{"edit", "A", "--keep", "3"}, "日期標籤"},
           {{"edit", "A", "--password-stdin"}, "--type compressed"},
           {{"edit", "A", "--guard", "off"}, "--type sync"},
           {{"edit", "A", "--link-states", "hard"}, "日期標籤"},
           {{"edit", "A", "--delete-old"}, "日期標籤"},
           {{"edit", "A", "--type", "compressed", "--no-hard-links"}, "--type compressed"},
           {{"edit", "A", "--enable", "--disable"}, "--disable"},
           {{"keep", "A"}, "同一個資料夾"},
           {{"log", "--show", "1", "--json"}, "--show"},
           {{"restore", "A", "--archive", "x.7z"}, "壓縮備份"},
           {{"restore", "A", "--latest"}, "壓縮備份"},
           {{"restore", "A", "--replace-newer"}, "--only 或 --to"},
           {{"verify", "A", "--archive", archive}, "壓縮備份"},
           {{"archives", "A"}, "壓縮備份"},
           {{"run", "A", "--compression", "full"}, "壓縮備份"},
           {{"run", "--all", "--due"}, "其中之一"},
           {{"run", "A", "--all"}, "其中之一"},
           {{"edit", "A", "--types", "@none"}, "找不到檔案類型"},
           {{"rules", "enable", "none"}, "找不到規則 none"}}) {
    const CommandResult result = Ctl(words, "secret\n");
    EXPECT_EQ(result.ExitCode, 2) << words[0] << part;
    EXPECT_TRUE(Holds(result.Errors, part)) << result.Errors;
  }
  EXPECT_EQ(ReadTestFile(temp_.Home() / "Backup.rtm"), store);
  const fs::path none = temp_.Root() / "none";
  for (const Words& words : {Words{"list"}, Words{"settings", "set", "PlaySound", "True"}}) {
    Words whole{KAVRELCTL, "--home", none.string()};
    whole.insert(whole.end(), words.begin(), words.end());
    EXPECT_EQ(RunCommand(whole).ExitCode, 2);
    EXPECT_FALSE(fs::exists(none)) << "add alone makes a program folder";
  }
  EXPECT_EQ(RunCommand({KAVRELCTL, "--home", none.string(), "add", "--name", "B", "--source",
                        source_.string()})
                .ExitCode,
            0);
  EXPECT_TRUE(fs::exists(none / "Backup.rtm"));
}

TEST_F(TruthTest, ARestoreNamesWhatIsNotInTheBackupAndHasARowOfItsOwnTime) {
  WriteTestFile(source_ / "a.txt", "a");
  Add("A");
  ASSERT_EQ(Code({"run", "A"}), 0);
  const CommandResult restored =
      Ctl({"restore", "A", "--only", "none.txt", "--to", (temp_.Root() / "to").string()});
  EXPECT_EQ(restored.ExitCode, 1);
  EXPECT_TRUE(Holds(restored.Errors, "none.txt")) << restored.Errors;
  EXPECT_FALSE(Holds(restored.Errors, "目標")) << restored.Errors;
  SystemClock clock;
  const DateTime ran = clock.Now();
  while (clock.Now() == ran) clock.Sleep(20);
  ASSERT_EQ(Code({"restore", "A"}), 0);
  const json log = Json({"log"});
  EXPECT_EQ(log[2]["kind"], "restore");
  EXPECT_GT(log[2]["started"], log[0]["started"]) << "not that of the backup before it";
}

TEST_F(TruthTest, ARestoreThatFindsNoPlaceOrNoBackupEndsAsEveryCommandDoes) {
  WriteTestFile(source_ / "a.txt", "a");
  WriteTestFile(temp_.Root() / "file", "in the way");
  const std::string target = (temp_.Root() / "file/below").string();
  for (const std::string type : {"differential", "compressed"}) {
    Add(type, {"--type", type});
    ASSERT_EQ(Code({"edit", type, "--dest", (dest_ / type).string()}), 0);
    const int ran = Code({"run", type});
    if (ran == 9) return;
    ASSERT_EQ(ran, 0);
    const CommandResult none = Ctl({"restore", type, "--to", target});
    EXPECT_EQ(none.ExitCode, 10) << type << none.Errors;
    EXPECT_TRUE(Holds(none.Errors, target)) << none.Errors;
    EXPECT_EQ(Json({"restore", type, "--to", target})["runs"][0]["result"], "no-place");
  }
  for (const Words& words : {Words{"restore", "compressed", "--archive", "none.7z"},
                             {"verify", "compressed", "--archive", "none.7z"},
                             {"archives", "compressed", "--list", "none.7z"},
                             {"restore", "compressed", "--state", "1999"}}) {
    EXPECT_EQ(Code(words), 5) << words[0] << words[2];
  }
  WriteTestFile(dest_ / "compressed/broken.7z", "no archive");
  EXPECT_EQ(Code({"archives", "compressed", "--list", "broken.7z"}), 1);
  EXPECT_EQ(Code({"archives", "compressed", "--list", "broken.7z", "--names"}), 2);
  EXPECT_EQ(Code({"log", "--show", "1", "--json"}), 2);
}

TEST_F(TruthTest, AWrongPasswordIsToldOnceAndIsNoDamage) {
  WriteTestFile(source_ / "a.txt", "secret");
  Add("A", {"--type", "compressed"});
  ASSERT_EQ(Ctl({"edit", "A", "--password-stdin"}, "right\n").ExitCode, 0);
  const CommandResult ran = Ctl({"run", "A"});
  if (ran.ExitCode == 9) GTEST_SKIP() << "no archive program";
  ASSERT_EQ(ran.ExitCode, 0) << ran.Errors;
  const std::string name = Json({"archives", "A"})[0]["name"];
  EXPECT_EQ(Code({"verify", "A", "--archive", (dest_ / name).string()}), 0) << "by its path";
  EXPECT_EQ(Code({"verify", "A", "--archive", (temp_.Root() / name).string()}), 2);
  EXPECT_TRUE(
      Holds(Ctl({"verify", "A", "-v"}).Output, "驗證  " + (dest_ / name / "a.txt").string()));
  ASSERT_EQ(Ctl({"edit", "A", "--password-stdin"}, "wrong\n").ExitCode, 0);
  for (const Words& words : {Words{"verify", "A"}, Words{"restore", "A"}}) {
    const CommandResult wrong = Ctl(words);
    EXPECT_EQ(wrong.ExitCode, 1);
    const std::size_t at = wrong.Errors.find("密碼無法開啟壓縮檔");
    ASSERT_NE(at, std::string::npos) << wrong.Errors;
    EXPECT_EQ(wrong.Errors.find("密碼無法開啟壓縮檔", at + 1), std::string::npos);
    EXPECT_FALSE(Holds(wrong.Errors, "無法讀取")) << "it is not told as damage, either";
  }
  EXPECT_TRUE(Holds(Ctl({"--lang", "en", "log"}).Output, "(wrong password)"));
  const json verified = Json({"verify", "A"})["runs"][0];
  EXPECT_EQ(verified["result"], "wrong-password");
  EXPECT_EQ(Json({"log"}).back()["result"], "wrong-password");
  EXPECT_EQ(Json({"status"})["jobs"][0]["cause"], "wrong-password");
  EXPECT_EQ(verified["damaged"], 0);
  EXPECT_EQ(verified["bytes"], 0) << "nothing of it was verified";
  EXPECT_EQ(Json({"states", "A"})[0]["verified"]["damaged"], 0) << "that with the right one";
}

TEST_F(TruthTest, TroublesHaveTheirOwnCodesAndALockCanBeWaitedFor) {
  WriteTestFile(source_ / "a.txt", "a");
  Add("Known");
  EXPECT_EQ(Code({"log", "--job", "known"}), 0) << "it has not run yet";
  EXPECT_EQ(Code({"log", "--job", "nobody"}), 3);
  ASSERT_EQ(Code({"remove", "Known"}), 0);
  Add("A");
  ProcessLock lock;
  ASSERT_TRUE(lock.TryAcquire(TempFolder::Text(temp_.Home()), u"another"));
  EXPECT_EQ(Code({"run", "A", "--wait", "0"}), 8);
  EXPECT_EQ(Code({"list", "--wait", "0"}), 0) << "whoever only reads never waits";
  BackgroundCommand waiting(Command({"run", "A", "--wait", "60"}));
  lock.Release();
  EXPECT_EQ(waiting.Wait(), 0);
  Add("B", {"--type", "compressed"});
  const EnvironmentVariable nothing("PATH", temp_.Root().string());
  EXPECT_EQ(Code({"run", "B"}), 9);
  EXPECT_EQ(Json({"status", "B"})["jobs"][0]["cause"], "no-archive-program");
  EXPECT_EQ(Json({"log", "--job", "B"})[0]["result"], "no-archive-program");
  EXPECT_EQ(Code({"run", "B"}), 9);
  EXPECT_EQ(Json({"log", "--job", "B"}).size(), 1u) << "tried again within the hour";
}

/// A script's variable that nobody has set must not stand for the whole backup or the source.
TEST_F(TruthTest, AnEmptyValueIsRefused) {
  WriteTestFile(source_ / "a", "old");
  Add("A");
  ASSERT_EQ(Code({"run", "A"}), 0);
  WriteTestFile(source_ / "a", "newer");
  for (const Words& words : {Words{"restore", "A", "--to", ""},
                             {"restore", "A", "--only", ""},
                             {"restore", "A", "--only", "a", ""},
                             {"restore", "A", "--state", ""},
                             {"verify", "A", "--state", ""},
                             {"export", ""},
                             {"run", "A", ""}}) {
    const CommandResult result = Ctl(words);
    EXPECT_EQ(result.ExitCode, 2) << words.back();
    EXPECT_TRUE(Holds(result.Errors, "不能是空白")) << result.Errors;
  }
  EXPECT_EQ(ReadTestFile(source_ / "a"), "newer");
}

}  // namespace
}  // namespace kavrel
