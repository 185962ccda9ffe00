// One user's whole story, played on the real program with the keyboard alone and checked on the
// disk, in the language of the source and in another one: four jobs made, run and looked up in the
// log, one restored, a launcher made and used.
#include <QString>

#include "core/job_store.h"
#include "log/program_log.h"
#include "support/tree.h"
#include "ui/desktop.h"
#include "ui/language.h"

namespace kavrel {
namespace {

namespace fs = std::filesystem;

/// A text of the source as the window shows it.
std::string Said(const char16_t* id, const QString& argument = {}) {
  const QString text = TrText(id);
  return (argument.isEmpty() ? text : text.arg(argument)).toStdString();
}

/// The keys that lead to the control whose label is this text of the source.
std::string Alt(const char16_t* id) {
  const QString text = TrText(id);
  return "alt+" + QString(text[text.indexOf('&') + 1]).toLower().toStdString();
}

/// As long as one of these lives the test knows the texts of another language.
struct Spoken {
  explicit Spoken(const char* code) { SpeakLanguage(code); }
  Spoken(const Spoken&) = delete;
  Spoken& operator=(const Spoken&) = delete;
  ~Spoken() { SpeakLanguage("zh_TW"); }
};

class StoryTest : public DesktopTest, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    DesktopTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    WriteTestFile(user_ / "Documents/報告.txt", "report");
    WriteTestFile(user_ / "Documents/sub/notes.txt", "notes");
    WriteTestFile(user_ / "pictures/one.jpg", "1");
    WriteTestFile(user_ / "pictures/two.jpg", "2");
    WriteTestFile(user_ / "music/song.ogg", "song");
    WriteTestFile(backup_ / "mirror/stray.ogg", "not in the source");
    WriteTestFile(user_ / "letters/古詩.txt", "moon");
    WriteTestFile(user_ / "letters/old/first.txt", "dear");
    fs::create_directories(user_ / "Desktop");
    // The desktop's program that opens files only notes which.
    WriteTestFile(temp_.Root() / "bin/xdg-open",
                  "#!/bin/sh\necho \"$1\" >'" + opened_.string() + "'\n");
    fs::permissions(temp_.Root() / "bin/xdg-open", fs::perms::owner_all);
  }

  JobStore Store() const {
    JobStore store(files_);
    store.LoadJobs();
    return store;
  }
  std::vector<LogRow> LogRows() const {
    LogList list;
    ProgramLog(files_, list).LoadProgramLog();
    return list.Rows();
  }
  static std::string Utf8(const std::u16string& text) {
    return QString::fromStdU16String(text).toStdString();
  }

  /// Answers the question that the main window asks with yes.
  void SayYes() const {
    ASSERT_TRUE(Becomes([&] { return Focused() != main_ && FocusedTitle().starts_with(title_); }))
        << FocusedTitle();
    Press(Alt(u"是(&Y)"));
  }
  /// Waits until the run is over, of which the program log keeps one more line, and the main window
  /// has the keys again.
  void WaitForRun(std::size_t rows) const {
    ASSERT_TRUE(Becomes([&] { return LogRows().size() == rows; })) << LogRows().size();
    ASSERT_TRUE(Becomes([&] { return Focused() == main_; })) << FocusedTitle();
  }
  /// Runs the job on that row of the job list.
  void RunJob(int row, std::size_t rows) const {
    Press("Home" + Repeat(" Down", row) + " Return");
    ASSERT_NO_FATAL_FAILURE(SayYes());
    ASSERT_NO_FATAL_FAILURE(WaitForRun(rows));
  }
  static std::string Repeat(const std::string& keys, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) all += keys;
    return all;
  }

  const fs::path folder_ = temp_.Root() / "program", backup_ = temp_.Root() / "backup",
                 opened_ = temp_.Root() / "opened";
  const FileSystem files_{TempFolder::Text(folder_)};
  const EnvironmentVariable path_{"PATH", (temp_.Root() / "bin:").string() + getenv("PATH")};
  const Spoken spoken_{GetParam()};
  const EnvironmentVariable language_{"LANGUAGE", GetParam()}, locale_{"LC_ALL", "en_US.UTF-8"};
  const std::string title_ = Said(u"Kavrel Ver 2.05 專業版"),
                    editor_ = Said(u"新增 / 編輯備份專案"), shortcut_ = Said(u"建立備份排程捷徑");
  std::string main_;
  std::unique_ptr<BackgroundCommand> kavrel_;
};

TEST_P(StoryTest, FromAnEmptyFolderToALauncherByKeyboardAlone) {
  kavrel_ = StartKavrel(folder_);
  ASSERT_TRUE(FocusComesTo(title_));
  main_ = Focused();

  // ---- One job of each type ----
  Press("F2");
  ASSERT_TRUE(FocusComesTo(editor_));
  // A full one from the list of the usual jobs. (A button's own letter only counts a moment later;
  // where the window stays, the space bar or Enter is pressed, which count at once.)
  const std::string name = Alt(u"排 程 名 稱(&N) ："), source = Alt(u"來源資料夾(&S)："),
                    destination = Alt(u"目標資料夾(&D)："), type = Alt(u"備份模式(&M)："),
                    types = Alt(u"檔 案 類 型(&T) ：");
  Press("Tab space " + Alt(u"排 程 類 型(&P) ：") + " alt+Down Home Down Return " + destination);
  Type((backup_ / "full").string());
  Press(type + " Home Return");
  // A differential one, every two hours.
  Press("Tab space " + name);
  Type("Pictures");
  Press(source);
  Type((user_ / "pictures").string());
  Press(destination);
  Type((backup_ / "changes").string());
  Press(type + " Home Down " + Alt(u"備份時間(&H)") + " " + Alt(u"排程類型(&T)") + " Home Down " +
        Alt(u"我要在每(&N)") + " Home Down Down Return");
  // A synchronising one, without a folder of the source's name.
  Press("Tab space " + name);
  Type("Music");
  Press(source);
  Type((user_ / "music").string());
  Press(destination);
  Type((backup_ / "mirror").string());
  Press(type + " Home Down Down " + types + Repeat(" Tab", 4) + " space Return");
  // A compressed one with a password.
  Press("Tab space " + name);
  Type("Letters & more");
  Press(source);
  Type((user_ / "letters").string());
  Press(destination);
  Type((backup_ / "archives").string());
  Press(type + " End " + types + Repeat(" Tab", 7) + " space " + Alt(u"密碼(&K)："));
  Type("open sesame");
  Press("Return " + Alt(u"儲 存 變 更(&S)"));
  ASSERT_TRUE(Becomes([&] { return Focused() == main_; })) << FocusedTitle();

  const std::vector<BackupJob> jobs = Store().Jobs;
  ASSERT_EQ(jobs.size(), 4U);
  const char* const names[] = {"我的文件夾", "Pictures", "Music", "Letters & more"};
  const char* const sources[] = {"Documents", "pictures", "music", "letters"};
  const char* const destinations[] = {"full", "changes", "mirror", "archives"};
  for (std::size_t i = 0; i < 4; ++i) {
    SCOPED_TRACE(names[i]);
    EXPECT_EQ(Utf8(jobs[i].Name), names[i]);
    EXPECT_EQ(JobType(jobs[i]), static_cast<BackupType>(i));
    EXPECT_EQ(Utf8(jobs[i].Source.Path), (user_ / sources[i] / "").string());
    EXPECT_EQ(Utf8(jobs[i].Destination.Path), (backup_ / destinations[i] / "").string());
    EXPECT_EQ(jobs[i].AddSourceFolder, i != 2);
  }
  EXPECT_EQ(jobs[1].EveryHours, 2);
  EXPECT_TRUE(jobs[3].UsePassword);
  EXPECT_EQ(Utf8(jobs[3].Password), "open sesame");

  // ---- Each is run; the differential one again, after a change ----
  ASSERT_NO_FATAL_FAILURE(RunJob(0, 1));
  ASSERT_NO_FATAL_FAILURE(RunJob(1, 2));
  // The mirror's folder holds something already: it is looked at first, then the job may remove it.
  Press("Home Down Down Menu Down Down Down Return");
  ASSERT_TRUE(FocusComesTo(Said(u"預覽「%1」備份內容", "Music")));
  Press(Alt(u"執行備份(&R)"));
  ASSERT_TRUE(FocusComesTo(Said(u"同步刪除防護")));
  EXPECT_TRUE(fs::exists(backup_ / "mirror/stray.ogg"));
  Press(Alt(u"繼續執行(&Y)"));
  ASSERT_NO_FATAL_FAILURE(WaitForRun(3));
  ASSERT_NO_FATAL_FAILURE(RunJob(3, 4));
  WriteTestFile(user_ / "pictures/two.jpg", "two, retouched");
  ASSERT_NO_FATAL_FAILURE(RunJob(1, 5));

  EXPECT_EQ(TreeDifferences(user_ / "Documents", backup_ / "full/Documents"), "");
  EXPECT_EQ(TreeDifferences(user_ / "pictures", backup_ / "changes/pictures"), "");
  EXPECT_EQ(TreeDifferences(user_ / "music", backup_ / "mirror"), "");
  fs::path archive;
  for (const auto& entry : fs::directory_iterator(backup_ / "archives/letters")) {
    archive = entry.path();
  }
  const fs::path unpacked = temp_.Root() / "unpacked";
  EXPECT_EQ(RunCommand({"/bin/sh", "-c",
                        "exec 7zz x '-popen sesame' '-o" + unpacked.string() + "' '" +
                            archive.string() + "'"})
                .ExitCode,
            0);
  // An archive keeps times less exactly than a disk.
  EXPECT_EQ(RunCommand({"/usr/bin/diff", "-r", user_ / "letters", unpacked}).ExitCode, 0);
  for (const BackupJob& job : Store().Jobs) EXPECT_NE(job.LastRun, kZeroDate) << Utf8(job.Name);

  // ---- The log ----
  Press("ctrl+l");
  ASSERT_TRUE(FocusComesTo(title_ + Utf8(TrCount(u" [ 備份紀錄總計：%1 筆 ]", 5))))
      << FocusedTitle();
  Press("End Return");
  ASSERT_TRUE(Becomes([&] { return ReadTestFile(opened_).ends_with('\n'); }));
  EXPECT_EQ(ReadTestFile(opened_), Utf8(LogRows().back().LogPath) + "\n");
  Press("ctrl+l");
  ASSERT_TRUE(Becomes([&] { return FocusedTitle() == title_; })) << FocusedTitle();

  // ---- A lost file comes back ----
  fs::remove(user_ / "letters/古詩.txt");
  Press("Home Down Down Down Menu Down Down Return");
  ASSERT_NO_FATAL_FAILURE(SayYes());
  ASSERT_TRUE(FocusComesTo(Said(u"請選擇已存在的壓縮備份檔")));
  Press("Return");
  ASSERT_NO_FATAL_FAILURE(WaitForRun(6));
  EXPECT_EQ(ReadTestFile(user_ / "letters/古詩.txt"), "moon");

  // ---- A launcher ----
  Press("shift+Tab");
  Press("Left Left Left Left Return Up Up Return");
  ASSERT_TRUE(FocusComesTo(shortcut_));
  const std::string shortcuts = Focused();
  Press("space Down Down Down space " + Alt(u"建立捷徑(&S)"));
  ASSERT_TRUE(Becomes([&] { return Focused() != shortcuts && FocusedTitle() == shortcut_; }));
  Press("Return");
  const fs::path launcher = user_ / "Desktop" / (Said(u"資料備份排程捷徑") + ".desktop");
  ASSERT_TRUE(Becomes([&] { return fs::exists(launcher) && Focused() == shortcuts; }));
  Press("Escape");
  ASSERT_TRUE(Becomes([&] { return Focused() == main_; })) << FocusedTitle();

  // ---- The end, and what the launcher does by itself ----
  Press("Right Right Right Right Return");
  ASSERT_TRUE(Becomes([] { return Window().empty(); }));
  EXPECT_EQ(kavrel_->Wait(), 0);
  const std::string entry = ReadTestFile(launcher);
  const std::size_t exec = entry.find("\nExec=") + 6;
  for (const char* folder : {"full", "changes"}) fs::remove_all(backup_ / folder);
  fs::remove(archive);
  // What it is quoted for here, a shell understands as well.
  EXPECT_EQ(
      RunCommand({"/bin/sh", "-c", "exec " + entry.substr(exec, entry.find('\n', exec) - exec)})
          .ExitCode,
      0);
  EXPECT_EQ(TreeDifferences(user_ / "Documents", backup_ / "full/Documents"), "");
  EXPECT_FALSE(fs::exists(backup_ / "changes"));
  EXPECT_FALSE(fs::is_empty(backup_ / "archives/letters"));
  EXPECT_EQ(LogRows().size(), 8U);
}
INSTANTIATE_TEST_SUITE_P(, StoryTest, testing::Values("zh_TW", "en"), [](const auto& language) {
  return std::string(language.param).substr(0, 2);
});

}  // namespace
}  // namespace kavrel
