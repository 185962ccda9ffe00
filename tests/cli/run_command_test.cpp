// Runs on real folders, as somebody at a shell starts them.
#include <signal.h>
#include <sys/stat.h>

#include <set>
#include <thread>

#include "kavrelctl_job.h"
#include "support/tree.h"

namespace kavrel {
namespace {

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
  EXPECT_NE(result.Output.find("沒有需要複製的檔案。"), std::string::npos);

  result = Ctl({"log", "--show", "2"});
  EXPECT_NE(result.Output.find("已完成檔案總計　　：3\n"), std::string::npos) << result.Output;
  result = Ctl({"log", "--last", "1", "--json"});
  EXPECT_NE(result.Output.find("\"unchanged\": 3"), std::string::npos) << result.Output;
  EXPECT_EQ(result.Output.find("\"copied\": 3"), std::string::npos);
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
    if (entry.path().filename().string().starts_with(".kavrel-")) continue;
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

}  // namespace
}  // namespace kavrel
