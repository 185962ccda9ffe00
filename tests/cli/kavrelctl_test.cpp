// Drives the real kavrelctl on real folders.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <thread>

#include "platform/process.h"
#include "support/command.h"
#include "support/temp_folder.h"
#include "support/tree.h"
#include "support/variable.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class KavrelctlTest : public testing::Test {
 protected:
  TempFolder temp_;
  fs::path source_ = temp_.Root() / "來源", dest_ = temp_.Root() / "dest";
  fs::path store_ = temp_.Home() / "Backup.rtm";
  std::string said_;  ///< by all commands
  const EnvironmentVariable data_{"XDG_DATA_HOME",
                                  (temp_.Root() / "data").string()};  ///< holds the bin

  std::vector<std::string> Command(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {KAVRELCTL, "--home", temp_.Home().string()});
    return arguments;
  }
  CommandResult Ctl(std::vector<std::string> arguments, const std::string& input = {}) {
    CommandResult result = RunCommand(Command(std::move(arguments)), input);
    said_ += result.Output + result.Errors;
    return result;
  }
  CommandResult Add(std::vector<std::string> more = {}) {
    std::vector<std::string> arguments{"add",
                                       "--name",
                                       "文件 A",
                                       "--source",
                                       source_.string(),
                                       "--dest",
                                       dest_.string(),
                                       "--no-source-folder"};
    // What comes later takes the place of these.
    if (std::find(more.begin(), more.end(), "--dest") != more.end()) {
      arguments.erase(arguments.begin() + 5, arguments.begin() + 7);
    }
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Ctl(arguments);
  }
};

TEST_F(KavrelctlTest, AJobIsMadeShownChangedAndRemoved) {
  fs::create_directories(source_);
  ASSERT_EQ(Add({"--type",
                 "sync",
                 "--every",
                 "2h",
                 "--start",
                 "2126/11/24 01:00",
                 "--refuse",
                 "sun,sat",
                 "--types",
                 "*.doc",
                 "--exclude-types",
                 "--recycle",
                 "--max-size-kb",
                 "100",
                 "--enable",
                 "--guard",
                 "30",
                 "--dest",
                 (dest_ / "<dd>").string(),
                 "--keep",
                 "7"})
                .ExitCode,
            0);
  const std::string line = "1\t\xA4\xE5\xA5\xF3 A\t1\t0\t";  // 文件 in code page 950
  EXPECT_TRUE(ReadTestFile(store_).starts_with(line)) << ReadTestFile(store_);
  CommandResult result = Ctl({"list"});
  EXPECT_EQ(result.ExitCode, 0);
  EXPECT_NE(result.Output.find("文件 A    啟動  同步備份"), std::string::npos) << result.Output;

  EXPECT_EQ(Ctl({"edit", "文件 a", "--name", "照片", "--every", "1mo", "--disable", "--refuse", "",
                 "--type", "compressed", "--no-limit"})
                .ExitCode,
            0);
  EXPECT_EQ(Ctl({"edit", "照片", "--password-stdin"}, "s3cret\n").ExitCode, 0);
  EXPECT_EQ(Ctl({"edit", "照片", "--guard-min", "5", "--verify-after", "--no-space-check",
                 "--no-hard-links"})
                .ExitCode,
            0);
  result = Ctl({"show", "照片", "--json"});
  for (const char* part :
       {"\"enabled\": false", "\"months\": 1", "\"hours\": 0", "\"type\": \"compressed\"",
        "\"use_recycle_bin\": false", "\"max_file_size_kb\": null", "\"has_password\": true",
        "\"exclude_file_types\": true", "\"refused_days\": []", "\"percent\": 30", "\"fewest\": 5",
        "\"keep_newest\": 7", "\"verify_after_run\": true", "\"check_space\": false",
        "\"keep_hard_links\": false", "\"next_run\": \"2126-11-25T01:00:00"}) {
    EXPECT_NE(result.Output.find(part), std::string::npos) << part << " in " << result.Output;
  }
  EXPECT_EQ(result.Output.find("s3cret"), std::string::npos);
  EXPECT_EQ(Ctl({"edit", "照片", "--name", "照\"片\""}).ExitCode, 0);
  EXPECT_EQ(Ctl({"remove", "照\"片\""}).ExitCode, 0);
  EXPECT_EQ(ReadTestFile(store_), "");
}

TEST_F(KavrelctlTest, BadInputIsNamedAndChangesNothing) {
  fs::create_directories(source_);
  ASSERT_EQ(Add().ExitCode, 0);
  const std::string before = ReadTestFile(store_);
  const struct {
    std::vector<std::string> Arguments;
    int ExitCode;
    const char* Message;
  } cases[] = {
      {{"edit", "文件 A", "--every", "61m"}, 2, "--every takes 1 to 60"},
      {{"edit", "文件 A", "--every", "5x"}, 2, "--every"},
      {{"edit", "文件 A", "--every", "99999999999m"}, 2, "--every"},
      {{"edit", "文件 A", "--start", "2009/2/30"}, 2, "--start"},
      {{"edit", "文件 A", "--refuse", "sun,monday"}, 2, "--refuse"},
      {{"edit", "文件 A", "--refuse", "sun,mon,tue,wed,thu,fri,sat"},
       2,
       "您所指定的星期無法辨識，備份排程將會無法正常進行！"},
      {{"edit", "文件 A", "--every", "1w", "--start", "2026/11/28 01:00", "--refuse", "sat"},
       2,
       "您的指定的 星期六 時間並無法讓備份排程正常進行！"},
      {{"edit", "文件 A", "--type", "weekly"}, 2, "--type"},
      {{"edit", "文件 A", "--recycle"}, 2, "--recycle"},
      {{"edit", "文件 A", "--guard", "0"}, 2, "--guard"},
      {{"edit", "文件 A", "--keep", "-1"}, 2, "--keep"},
      {{"edit", "文件 A", "--max-size-kb", "0"}, 2, "--max-size-kb"},
      {{"edit", "文件 A", "--name", " "}, 2, "--name"},
      {{"edit", "文件 A", "--dest", ""}, 2, "請先指定要備份的目標資料夾。"},
      {{"edit", "文件 A", "--source", "/no/such/folder"},
       2,
       "來源資料夾無法偵測到它的存在，請重新指定資源資料夾。"},
      {{"edit", "文件 A", "--types", "a\tb"}, 2, "「檔案類型」"},
      {{"edit", "文件 A", "--password-stdin"}, 2, "--password-stdin"},
      {{"add", "--name", "文件 a", "--source", source_.string()},
       2,
       "備份排程名稱重複，請另外指定一個新的備份排程名稱。"},
      {{"add", "--source", source_.string()}, 2, "--name"},
      {{"edit", "nobody", "--every", "1d"}, 3, "no such job: nobody"},
      {{"remove", "nobody"}, 3, "nobody"},
      {{"run", "文件 A", "nobody"}, 3, "nobody"},
      {{"log", "--show", "1"}, 2, "--show"},
      {{"frobnicate"}, 2, ""},
      {{}, 2, ""},
  };
  for (const auto& c : cases) {
    const CommandResult result = Ctl(c.Arguments);
    EXPECT_EQ(result.ExitCode, c.ExitCode) << c.Message;
    EXPECT_NE(result.Errors.find(c.Message), std::string::npos) << c.Message << "\n"
                                                                << result.Errors;
    EXPECT_EQ(ReadTestFile(store_), before) << c.Message;
  }
  EXPECT_FALSE(fs::exists(dest_));
}

TEST_F(KavrelctlTest, RunsAFullThenADifferentialBackupAndLogsBoth) {
  WriteTestFile(source_ / "碁.txt", "content");
  WriteTestFile(source_ / "bad\xff\n\"name\x1b[31m", "x");
  fs::create_symlink("nowhere", source_ / "link");
  ASSERT_EQ(Add({"--type", "full"}).ExitCode, 0);
  CommandResult result = Ctl({"run", "文件 A"});
  EXPECT_EQ(result.ExitCode, 0) << result.Errors;
  EXPECT_NE(result.Output.find("文件 A：備份完成"), std::string::npos);
  EXPECT_NE(result.Output.find("已完成檔案總計　　：3\n"), std::string::npos) << result.Output;
  EXPECT_EQ(TreeDifferences(source_, dest_), "");

  ASSERT_EQ(Ctl({"edit", "文件 A", "--type", "differential"}).ExitCode, 0);
  result = Ctl({"run", "文件 A"});
  EXPECT_NE(result.Output.find("已完成檔案總計　　：0\n"), std::string::npos);
  EXPECT_NE(result.Output.find("Nothing had to be copied."), std::string::npos);

  result = Ctl({"log", "--show", "2"});
  EXPECT_NE(result.Output.find("已完成檔案總計　　：3\n"), std::string::npos) << result.Output;
  result = Ctl({"log", "--last", "1", "--json"});
  EXPECT_NE(result.Output.find("\"unchanged\": 3"), std::string::npos) << result.Output;
  EXPECT_EQ(result.Output.find("\"copied\": 3"), std::string::npos);
}

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
  EXPECT_EQ(Ctl({"log", "--job", "文件", "--json"}).Output, "[]\n");

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

TEST_F(KavrelctlTest, NamesInBracketsAreNamesAndNoLists) {
  for (const char* name : {"[x]", "x", "[a,b]", "{}"}) WriteTestFile(source_ / name, name);
  ASSERT_EQ(Ctl({"add", "--name", "[J]", "--source", source_.string(), "--dest", dest_.string(),
                 "--no-source-folder", "--adopt"})
                .ExitCode,
            0);
  EXPECT_NE(Ctl({"run", "J"}).ExitCode, 0);
  ASSERT_EQ(Ctl({"run", "[J]"}).ExitCode, 0);
  const fs::path to = temp_.Root() / "to";
  EXPECT_EQ(Ctl({"restore", "[J]", "--only", "[x]", "[a,b]", "{}", "--to", to.string()}).ExitCode,
            0);
  EXPECT_EQ(ReadTestFile(to / "[x]") + ReadTestFile(to / "[a,b]") + ReadTestFile(to / "{}"),
            "[x][a,b]{}");
  EXPECT_EQ(Ctl({"restore", "[J]", "--only=[x]", "--to", to.string()}).ExitCode, 0);
  EXPECT_FALSE(fs::exists(to / "x"));
}

TEST_F(KavrelctlTest, FailedFilesAndMissingSourcesShowInTheExitCode) {
  WriteTestFile(source_ / "bad\xff\x1b[31m\n", "a file");
  WriteTestFile(source_ / "good", "x");
  WriteTestFile(dest_ / "bad\xff\x1b[31m\n" / "kept", "a folder in its place");
  ASSERT_EQ(Add().ExitCode, 0);
  CommandResult result = Ctl({"run", "文件 A"});
  EXPECT_EQ(result.ExitCode, 1);
  EXPECT_EQ(ReadTestFile(dest_ / "good"), "x");
  result = Ctl({"log", "--show", "1"});
  EXPECT_NE(result.Output.find("備份檔案 (失敗)："), std::string::npos);
  EXPECT_NE(result.Output.find("bad\\xFF\\x1B[31m"), std::string::npos) << "not safe to print";

  const std::string below_a_file = (source_ / "good/backup").string();
  result = Ctl({"edit", "文件 A", "--dest", below_a_file});
  EXPECT_NE(result.Errors.find("目標資料夾位於來源資料夾之內"), std::string::npos) << result.Errors;
  result = Ctl({"run", "文件 A"});
  EXPECT_EQ(result.ExitCode, 10);
  EXPECT_NE(result.Errors.find("cannot be made: " + below_a_file), std::string::npos)
      << result.Errors;

  fs::rename(source_, temp_.Root() / "gone");
  result = Ctl({"run", "文件 A", "文件 A"});
  EXPECT_EQ(result.ExitCode, 5);
  EXPECT_NE(result.Errors.find("來源"), std::string::npos) << result.Errors;
}

TEST_F(KavrelctlTest, AnInterruptEndsTheRunWithItsBookkeepingDone) {
  constexpr int kFiles = 10000;
  for (int i = 0; i < kFiles; ++i) WriteTestFile(source_ / std::to_string(i), "new");
  WriteTestFile(dest_ / "0", "old");
  ASSERT_EQ(Add({"--type", "full"}).ExitCode, 0);
  BackgroundCommand run(Command({"run", "文件 A"}));
  // Beside the first file and the mark, another one tells that the copying has begun.
  const auto copied = [&] {
    return std::distance(fs::directory_iterator(dest_), fs::directory_iterator());
  };
  while (copied() < 3) std::this_thread::yield();
  kill(run.Process(), SIGINT);
  EXPECT_EQ(run.Wait(), 4);
  EXPECT_LT(copied(), kFiles);
  for (const auto& entry : fs::directory_iterator(dest_)) {
    EXPECT_FALSE(entry.path().filename().string().starts_with("pt")) << entry.path();
    if (entry.path().filename() == ".kavrel-owner") continue;
    const std::string content = ReadTestFile(entry.path());
    EXPECT_TRUE(content == "new" || (content == "old" && entry.path().filename() == "0"))
        << entry.path();
  }
  const CommandResult log = Ctl({"log"});
  EXPECT_NE(log.Output.find("備份中斷"), std::string::npos) << log.Output;
}

TEST_F(KavrelctlTest, AMirrorIsLookedThroughBeforeItIsTrusted) {
  WriteTestFile(source_ / "new", "12345");
  WriteTestFile(source_ / "same", "x");
  WriteTestFile(dest_ / "same", "x");
  WriteTestFile(dest_ / "precious", "old");
  for (const fs::path& side : {source_, dest_}) SetWritten(side / "same", {1000000000, 0});
  ASSERT_EQ(Add({"--type", "sync", "--recycle", "--enable"}).ExitCode, 0);
  CommandResult result = Ctl({"preview", "文件 A"});
  EXPECT_EQ(result.ExitCode, 1) << "the guard would stop it";
  EXPECT_NE(result.Output.find("複製              5 位元  目標沒有            new\n"),
            std::string::npos)
      << result.Output;
  EXPECT_NE(result.Output.find("移到回收筒  1 個檔案"), std::string::npos) << result.Output;
  EXPECT_NE(result.Errors.find("不是這個排程所備份的檔案"), std::string::npos);
  result = Ctl({"preview", "文件 A", "--json"});
  EXPECT_NE(result.Output.find("\"path\": \"precious\""), std::string::npos) << result.Output;
  EXPECT_FALSE(fs::exists(dest_ / "new"));

  result = Ctl({"run", "--all"});
  EXPECT_EQ(result.ExitCode, 6);
  EXPECT_NE(result.Errors.find("--force"), std::string::npos) << result.Errors;
  EXPECT_EQ(ReadTestFile(dest_ / "precious"), "old");
  EXPECT_EQ(Ctl({"edit", "文件 A", "--adopt"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"run", "--all"}).ExitCode, 0);
  EXPECT_EQ(TreeDifferences(source_, dest_), "");
}

TEST_F(KavrelctlTest, RulesFiltersAndSettingsAreKeptCheckedAndUsed) {
  WriteTestFile(source_ / "Temp" / "x", "x");
  WriteTestFile(source_ / "keep.doc", "x");
  WriteTestFile(source_ / "a1.log", "x");
  ASSERT_EQ(Add({"--type", "sync"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"rules", "add", "--name", "日誌", "--file", "*#.LOG"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"settings", "set", "excenabled", "True"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"settings", "get", "ExcEnabled"}).Output, "True\n");
  EXPECT_EQ(Ctl({"run", "文件 A"}).ExitCode, 0);
  EXPECT_TRUE(fs::exists(dest_ / "keep.doc"));
  EXPECT_FALSE(fs::exists(dest_ / "Temp"));
  EXPECT_FALSE(fs::exists(dest_ / "a1.log"));
  EXPECT_EQ(Ctl({"rules", "disable", "15", "13"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"run", "文件 A"}).ExitCode, 0);
  EXPECT_TRUE(fs::exists(dest_ / "Temp" / "x"));
  EXPECT_EQ(Ctl({"rules", "remove", "15"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"rules", "list"}).Output.find("日誌"), std::string::npos);
  EXPECT_EQ(Ctl({"rules", "reset"}).ExitCode, 0);
  EXPECT_EQ(ReadTestFile(temp_.Home() / "Exc.txt").size(), 536U);
  EXPECT_EQ(Ctl({"filters", "add", "我的", "*.a;*.b"}).ExitCode, 0);
  EXPECT_NE(Ctl({"filters", "list"}).Output.find("我的"), std::string::npos);
  EXPECT_EQ(Ctl({"filters", "remove", "我的"}).ExitCode, 0);
  EXPECT_EQ(ReadTestFile(temp_.Home() / "FileType.txt").find("*.a;*.b"), std::string::npos);

  const struct {
    std::vector<std::string> Arguments;
    const char* Message;
  } refused[] = {
      {{"rules", "add", "--name", "all"}, "磁碟機設定錯誤"},
      {{"rules", "add", "--name", "x", "--file", "a\\b"}, "檔案名稱無效：Invalid Character - \\"},
      {{"rules", "add", "--name", "x", "--folder", "a\\\\b"}, "請勿使用「\\\\」"},
      {{"rules", "add", "--name", "x", "--folder", " "}, "資料夾名稱無效：檔案或資料夾並未設定"},
      {{"rules", "add", "--name", "#x", "--folder", "a"}, "「#」"},
      {{"rules", "remove", "99"}, "no rule 99"},
      {{"filters", "add", "網頁檔案", "*.x"}, "already"},
      {{"filters", "add", "x", "*.a;;*.b"}, "檔案或資料夾並未設定"},
      {{"filters", "remove", "所有檔案 (*.*)"}, "no such filter"},
      {{"settings", "set", "LogRestrictions", "5"}, "0 to 4"},
      {{"settings", "set", "PlaySound", "loud"}, "True or False"},
      {{"settings", "get", "Nonsense"}, "no such setting"},
      {{"restore", "文件 A", "--mode", "half"}, "--mode"},
  };
  for (const auto& c : refused) {
    const CommandResult result = Ctl(c.Arguments);
    EXPECT_EQ(result.ExitCode, 2) << c.Message;
    EXPECT_NE(result.Errors.find(c.Message), std::string::npos) << c.Message << "\n"
                                                                << result.Errors;
  }
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

TEST_F(KavrelctlTest, TheBackupOfAnotherJobIsNeitherEnteredNorRestoredUnasked) {
  const fs::path other = temp_.Root() / "other" / source_.filename();
  WriteTestFile(other / "theirs", "x");
  WriteTestFile(source_ / "mine", "x");
  ASSERT_EQ(Add({"--type", "full"}).ExitCode, 0);
  ASSERT_EQ(Ctl({"run", "文件 A"}).ExitCode, 0);
  const CommandResult added = Ctl({"add", "--name", "B", "--source", other.string(), "--dest",
                                   dest_.string(), "--no-source-folder"});
  EXPECT_NE(added.Errors.find("排程「文件 A」也備份到這個資料夾"), std::string::npos);
  EXPECT_NE(Ctl({"preview", "B"}).Errors.find("是排程「文件 A」的備份"), std::string::npos);
  EXPECT_EQ(Ctl({"run", "B", "文件 A"}).ExitCode, 6);
  EXPECT_EQ(Ctl({"restore", "B"}).ExitCode, 6);
  EXPECT_FALSE(fs::exists(dest_ / "theirs"));
  EXPECT_EQ(Ctl({"run", "B", "--force"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"restore", "B"}).ExitCode, 6) << "it holds the files of both now";
  EXPECT_EQ(Ctl({"restore", "B", "--force"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"edit", "B", "--adopt"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"run", "B"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"run", "文件 A"}).ExitCode, 6);
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
  EXPECT_EQ(Ctl({"archives", "文件 A", "--list", "none.7z"}).ExitCode, 2);
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

TEST_F(KavrelctlTest, ATraceTellsWhatStaysOutWhatIsChangedAndWhatFails) {
  WriteTestFile(source_ / "deep" / "line\nbreak.txt", "new");
  WriteTestFile(source_ / "old.txt", "newer");
  WriteTestFile(source_ / "left.bak", "x");
  WriteTestFile(dest_ / "old.txt", "old");
  WriteTestFile(dest_ / "gone.txt", "x");
  ASSERT_EQ(mkfifo((source_ / "pipe.txt").c_str(), 0600), 0);
  WriteTestFile(dest_ / "blocked.txt" / "in", "a folder in a file's place");
  WriteTestFile(source_ / "blocked.txt", "x");
  ASSERT_EQ(Add({"--type", "sync", "--types", "*.txt"}).ExitCode, 0);
  const fs::path file = temp_.Root() / "trace";
  const auto tells = [&](const std::string& what) {
    const std::string text = ReadTestFile(file);
    EXPECT_NE(text.find(what), text.npos) << what << "\n" << text;
  };
  EXPECT_EQ(Ctl({"--debug", file.string(), "run", "文件 A"}).ExitCode, 6);
  tells("guard: 文件 A: ");
  EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
  EXPECT_TRUE(fs::exists(dest_ / "gone.txt"));
  Ctl({"run", "文件 A", "--force", "--debug=" + file.string()});
  const std::string from = "left out " + source_.string() + "/", to = dest_.string() + "/";
  tells("schedule: 文件 A: runs, next ");
  tells(from + "left.bak: not among the job's files");
  tells(from + "pipe.txt: no file, folder or link");
  tells("effect: replaced " + to + "old.txt\n");
  tells("effect: removed " + to + "gone.txt\n");
  tells("line\\nbreak.txt");
  tells("effect: synced a group of ");
  tells("run: 文件 A: ran, copied ");
  EXPECT_EQ(Ctl({"list", "--debug", (source_ / "none" / "x").string()}).ExitCode, 2);
}

TEST_F(KavrelctlTest, OnlyTheNewestOfItsOwnDatedBackupsIsKept) {
  WriteTestFile(source_ / "a", "x");
  WriteTestFile(dest_ / "mine/a", "from before");
  ASSERT_EQ(Add({"--keep", "1"}).ExitCode, 2) << "there is one backup alone";
  ASSERT_EQ(Add({"--dest", dest_.string() + "/<nn><ss>/", "--keep", "1"}).ExitCode, 0);
  const auto folders = [](const fs::path& in) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(in))
      names.insert(entry.path().filename().string());
    return names;
  };
  // The same folder until the second is over.
  std::set<std::string> made;
  while (made.size() < 3 && Ctl({"run", "文件 A"}).ExitCode == 0) made.merge(folders(dest_));
  made.erase("mine");
  ASSERT_EQ(made.size(), 2U);
  std::set<std::string> kept = folders(dest_);
  EXPECT_EQ(kept.erase("mine"), 1U) << "none of the job's own";
  ASSERT_EQ(kept.size(), 1U);
  made.erase(*kept.begin());
  EXPECT_EQ(ReadTestFile(dest_ / *kept.begin() / "a"), "x");
  EXPECT_EQ(folders(temp_.Root() / "data/Trash/files"), made);
}

TEST_F(KavrelctlTest, AProgramFolderFromWindowsIsTakenOverByMappingItsDrives) {
  fs::remove_all(temp_.Home() / "drives");
  // 文件 and a path below C: in code page 950, as a Windows machine wrote them.
  WriteTestFile(
      store_,
      "1\t\xA4\xE5\xA5\xF3\t1\t0\tC:\\Users\\Mei\\\xA4\xE5\xA5\xF3\\\t\\\\NAS\\Backup\\\t0\t"
      "*.*\t2030/1/1\t0\t0\t1\t0\t0\t0\t0\t1899/12/30\t0\t0\t0\t0\t0\t\t0\t\r\n");
  WriteTestFile(temp_.Root() / "win/Users/Mei/文件/a.txt", "x");
  fs::create_directories(temp_.Root() / "nas");
  EXPECT_EQ(Ctl({"run", "文件"}).ExitCode, 5);
  EXPECT_NE(Ctl({"drives", "list"}).Output.find("C:"), std::string::npos);
  EXPECT_EQ(Ctl({"drives", "set", "c:\\", (temp_.Root() / "win").string() + "/"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"drives", "set", "\\\\NAS\\Backup", (temp_.Root() / "nas").string()}).ExitCode, 0);
  const CommandResult list = Ctl({"drives", "list", "--json"});
  EXPECT_NE(list.Output.find("\"folder\": \"" + (temp_.Root() / "win").string() + "\""),
            std::string::npos)
      << list.Output;
  EXPECT_EQ(list.Output.find("unmapped"), std::string::npos);
  EXPECT_EQ(Ctl({"run", "文件"}).ExitCode, 0);
  EXPECT_EQ(ReadTestFile(temp_.Root() / "nas/a.txt"), "x");

  EXPECT_EQ(Ctl({"drives", "set", "C:\\Users", "/"}).ExitCode, 2) << "no drive";
  EXPECT_EQ(Ctl({"drives", "set", "C:", (temp_.Root() / "nowhere").string()}).ExitCode, 2);
  EXPECT_EQ(Ctl({"drives", "set", "C:", (temp_.Home() / "drives/c").string()}).ExitCode, 2)
      << "itself";
  EXPECT_EQ(Ctl({"drives", "remove", "C:"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"drives", "remove", "C:"}).ExitCode, 2) << "it is gone";
  EXPECT_EQ(Ctl({"run", "文件"}).ExitCode, 5);
  EXPECT_EQ(Ctl({"list", "--names"}).Output, "文件\n");
  EXPECT_TRUE(fs::exists(temp_.Root() / "win/Users"));
}

TEST_F(KavrelctlTest, AFolderInUseIsNamedAndReadingNeverWaits) {
  fs::create_directories(source_);
  ASSERT_EQ(Add().ExitCode, 0);
  ProcessLock lock;
  ASSERT_TRUE(lock.TryAcquire(TempFolder::Text(temp_.Home()), u"another kavrelctl"));
  const CommandResult result = Ctl({"remove", "文件 A"});
  EXPECT_EQ(result.ExitCode, 8);
  EXPECT_NE(result.Errors.find("another kavrelctl"), std::string::npos) << result.Errors;
  EXPECT_EQ(Ctl({"list"}).ExitCode, 0);
}

TEST_F(KavrelctlTest, ARunWhoseResultsCannotBeStoredIsNotDone) {
  WriteTestFile(source_ / "a", "x");
  ASSERT_EQ(Add().ExitCode, 0);
  ASSERT_EQ(chmod(store_.c_str(), 0444), 0);
  const CommandResult result = Ctl({"run", "文件 A"});
  EXPECT_EQ(result.ExitCode, 1);
  EXPECT_NE(result.Errors.find("Backup.rtm: Permission denied"), std::string::npos);
  EXPECT_EQ(ReadTestFile(dest_ / "a"), "x") << "the backup itself is made";
}

TEST_F(KavrelctlTest, AnUnreadableStoreIsReportedAndNotWrittenOver) {
  fs::create_directories(store_);
  fs::create_directories(source_);
  for (const CommandResult& result : {Ctl({"list"}), Add()}) {
    EXPECT_EQ(result.ExitCode, 2);
    EXPECT_NE(result.Errors.find("Backup.rtm: Is a directory"), std::string::npos) << result.Errors;
  }
  EXPECT_TRUE(fs::is_directory(store_));
}

/// A command line of the shell's before kavrelctl, which gets `then` behind its own.
CommandResult InShell(const std::vector<std::string>& command, const std::string& before,
                      const std::string& then) {
  std::vector<std::string> words{"/bin/sh", "-c", before + "\"$@\" " + then, "sh"};
  words.insert(words.end(), command.begin(), command.end());
  return RunCommand(words);
}

TEST_F(KavrelctlTest, AnOutputThatIsClosedFullOrBrokenHarmsNoFileAndEndsNoBatch) {
  WriteTestFile(source_ / "a", std::string(1 << 20, 'x'));
  WriteTestFile(source_ / "b", "small");
  ASSERT_EQ(Add().ExitCode, 0);
  ASSERT_EQ(Ctl({"add", "--name", "B", "--source", source_.string(), "--dest",
                 (temp_.Root() / "second").string(), "--no-source-folder"})
                .ExitCode,
            0);
  const auto both = Command({"run", "文件 A", "B"});
  EXPECT_EQ(InShell(both, "", ">&-").ExitCode, 0);
  EXPECT_TRUE(ReadTestFile(temp_.Home() / "Kavrel.lock").starts_with("kavrelctl run (process"));
  for (const std::string then : {">&-", ">/dev/full", "| true"}) {
    fs::remove_all(dest_);
    fs::remove_all(temp_.Root() / "second");
    InShell(both, "", then);
    EXPECT_EQ(TreeDifferences(source_, dest_), "") << then;
    EXPECT_EQ(TreeDifferences(source_, temp_.Root() / "second"), "") << then;
  }
  EXPECT_EQ(InShell(both, "", ">/dev/full").ExitCode, 1);
  EXPECT_EQ(InShell(Command({"list", "--json"}), "", ">/dev/full").ExitCode, 1);

  // A file beyond the size that the system allows is a failed one; the rest is copied.
  fs::remove_all(dest_);
  EXPECT_EQ(InShell(Command({"run", "文件 A"}), "ulimit -f 512; ", "").ExitCode, 1);
  EXPECT_FALSE(fs::exists(dest_ / "a"));
  EXPECT_TRUE(fs::exists(dest_ / "b"));
}

TEST_F(KavrelctlTest, ATreeTooDeepForTheStackIsAFailedFolderAndNothingGoesForIt) {
  fs::path deepest = source_;
  for (int level = 0; level < 150; ++level) deepest /= "d";
  WriteTestFile(deepest / "f", "x");
  WriteTestFile(source_ / "top", "x");
  ASSERT_EQ(Add({"--type", "sync"}).ExitCode, 0);
  const std::string small_stack = "ulimit -s 64; ";
  EXPECT_EQ(InShell(Command({"run", "文件 A"}), small_stack, "").ExitCode, 1);
  EXPECT_TRUE(fs::exists(dest_ / "top"));
  ASSERT_EQ(Ctl({"run", "文件 A"}).ExitCode, 0);
  EXPECT_EQ(InShell(Command({"run", "文件 A"}), small_stack, "").ExitCode, 1);
  EXPECT_EQ(TreeDifferences(source_, dest_), "");
  EXPECT_EQ(InShell(Command({"verify", "文件 A"}), small_stack, "").ExitCode, 1);
  fs::remove_all(source_ / "d");
  EXPECT_EQ(InShell(Command({"run", "--force", "文件 A"}), small_stack, "").ExitCode, 1);
  EXPECT_EQ(Ctl({"run", "--force", "文件 A"}).ExitCode, 0);
  EXPECT_FALSE(fs::exists(dest_ / "d"));
}

TEST_F(KavrelctlTest, JobsAndRulesGoToAnotherFolderAndComeBack) {
  const fs::path out = temp_.Root() / "out";
  EXPECT_EQ(Ctl({"export", out.string()}).ExitCode, 2) << "no such folder";
  fs::create_directory(out);
  EXPECT_EQ(Ctl({"export", out.string()}).ExitCode, 2) << "no job";
  fs::remove(out / "Exc.txt"), fs::remove(out / "FileType.txt");
  WriteTestFile(source_ / "a.txt", "a");
  ASSERT_EQ(Ctl({"add", "--name", "mine", "--source", source_.string(), "--type", "compressed",
                 "--keep", "3"})
                .ExitCode,
            0);
  ASSERT_EQ(Ctl({"rules", "add", "--name", "mine too", "--file", "*.bak"}).ExitCode, 0);
  const CommandResult exported = Ctl({"export", out.string()});
  EXPECT_EQ(exported.ExitCode, 0) << exported.Errors;
  for (const char* name : {"Backup.rtm", "Backup.ext", "Exc.txt", "FileType.txt"}) {
    EXPECT_EQ(ReadTestFile(out / name), ReadTestFile(temp_.Home() / name)) << name;
    EXPECT_NE(exported.Output.find((out / name).string()), std::string::npos) << exported.Output;
  }
  const CommandResult again = Ctl({"export", out.string()});
  EXPECT_EQ(again.ExitCode, 2);
  EXPECT_NE(again.Errors.find("--force"), std::string::npos) << again.Errors;
  EXPECT_EQ(Ctl({"export", out.string(), "--force"}).ExitCode, 0);

  ASSERT_EQ(Ctl({"edit", "mine", "--name", "other"}).ExitCode, 0);
  ASSERT_EQ(Ctl({"rules", "reset"}).ExitCode, 0);
  const std::string before = ReadTestFile(temp_.Home() / "Backup.rtm");
  const CommandResult refused = Ctl({"import", (out / "Exc.txt").string()});
  EXPECT_EQ(refused.ExitCode, 2);
  EXPECT_NE(refused.Errors.find("no job in it; nothing was changed"), std::string::npos);
  EXPECT_EQ(ReadTestFile(temp_.Home() / "Backup.rtm"), before);
  const CommandResult jobs = Ctl({"import", (out / "Backup.rtm").string()});
  EXPECT_EQ(jobs.ExitCode, 0) << jobs.Errors;
  EXPECT_NE(jobs.Output.find("old_Backup.rtm"), std::string::npos) << jobs.Output;
  EXPECT_EQ(ReadTestFile(temp_.Home() / "old_Backup.rtm"), before);
  EXPECT_NE(Ctl({"show", "mine"}).Output.find("最新 3 份"), std::string::npos);
  EXPECT_EQ(Ctl({"rules", "list"}).Output.find("mine too"), std::string::npos);
  const CommandResult all = Ctl({"import", out.string(), "--rules"});
  EXPECT_NE(all.Output.find("other_Backup.rtm"), std::string::npos) << all.Output;
  EXPECT_EQ(all.Errors, "") << "nobody else has changed anything";
  EXPECT_NE(Ctl({"rules", "list"}).Output.find("mine too"), std::string::npos);
  EXPECT_TRUE(fs::exists(temp_.Home() / "other_Exc.txt"));
}

}  // namespace
}  // namespace kavrel
