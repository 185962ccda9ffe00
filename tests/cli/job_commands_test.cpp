// What makes, changes, keeps and moves jobs, rules, filters, settings and drives.
#include "kavrelctl_job.h"

namespace kavrel {
namespace {

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

  EXPECT_EQ(
      Ctl({"edit", "文件 a", "--guard-min", "5", "--verify-after", "--no-space-check",
           "--no-hard-links", "--link-states", "hard", "--unfinished-name", "off", "--sums", "off"})
          .ExitCode,
      0);
  EXPECT_EQ(Ctl({"edit", "文件 a", "--name", "照片", "--every", "1mo", "--disable", "--refuse", "",
                 "--type", "compressed", "--no-limit"})
                .ExitCode,
            0);
  EXPECT_EQ(Ctl({"edit", "照片", "--password-stdin"}, "s3cret\n").ExitCode, 0);
  result = Ctl({"show", "照片", "--json"});
  for (const char* part :
       {"\"enabled\": false", "\"months\": 1", "\"hours\": 0", "\"type\": \"compressed\"",
        "\"use_recycle_bin\": false", "\"max_file_size_kb\": null", "\"has_password\": true",
        "\"exclude_file_types\": true", "\"refused_days\": []", "\"percent\": 30", "\"fewest\": 5",
        "\"keep_newest\": 7", "\"verify_after_run\": true", "\"check_space\": false",
        "\"keep_hard_links\": false", "\"link_states\": \"hard\"", "\"unfinished_name\": false",
        "\"keep_sums\": false", "\"next_run\": \"2126-11-25T01:00:00"}) {
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
      {{"edit", "文件 A", "--every", "61m"}, 2, "--every 可以是 1 到 60"},
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
      {{"edit", "nobody", "--every", "1d"}, 3, "找不到排程：nobody"},
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
      {{"rules", "remove", "99"}, "找不到規則 99"},
      {{"filters", "add", "網頁檔案", "*.x"}, "已有同名的檔案類型"},
      {{"filters", "add", "x", "*.a;;*.b"}, "檔案或資料夾並未設定"},
      {{"filters", "remove", "所有檔案 (*.*)"}, "找不到檔案類型"},
      {{"settings", "set", "LogRestrictions", "5"}, "0 到 4"},
      {{"settings", "set", "PlaySound", "loud"}, "True 或 False"},
      {{"settings", "get", "Nonsense"}, "找不到設定"},
      {{"restore", "文件 A", "--mode", "half"}, "--mode"},
  };
  for (const auto& c : refused) {
    const CommandResult result = Ctl(c.Arguments);
    EXPECT_EQ(result.ExitCode, 2) << c.Message;
    EXPECT_NE(result.Errors.find(c.Message), std::string::npos) << c.Message << "\n"
                                                                << result.Errors;
  }
  // A value that is right, and no place for it.
  fs::remove(temp_.Home() / "Settings.ini");
  fs::create_directories(temp_.Home() / "Settings.ini/in the way");
  const CommandResult unwritten = Ctl({"settings", "set", "PlaySound", "True"});
  EXPECT_EQ(unwritten.ExitCode, 1) << unwritten.Errors;
  EXPECT_NE(unwritten.Errors.find("設定無法寫入"), std::string::npos) << unwritten.Errors;
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
  EXPECT_NE(refused.Errors.find("其中沒有任何備份排程；沒有任何變更"), std::string::npos);
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
