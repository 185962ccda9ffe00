// The real program on a real desktop: an X server in memory, a window manager, a tray.
#include <gtest/gtest.h>
#include <signal.h>

#include "core/job_store.h"
#include "support/command.h"
#include "ui/desktop.h"

namespace kavrel {
namespace {

namespace fs = std::filesystem;

class KavrelTest : public DesktopTest {
 protected:
  void StoreJob(DateTime next_run) {
    WriteTestFile(temp_.DriveC() / "src/檔案.txt", "content");
    JobStore store(temp_.Files());
    BackupJob job;
    NewJobDefaults(job, next_run, u"");
    job.Name = u"照片";
    job.Source.Path = u"C:\\src\\";
    job.Destination.Path = u"D:\\dst\\";
    job.AddSourceFolder = false;
    job.Enabled = true;
    job.NextRun = next_run;
    store.Jobs.push_back(job);
    ASSERT_TRUE(store.SaveJobs());
  }

  static bool InSight() { return !Window().empty(); }
  /// A click on the close box, which this window manager puts above the window's right corner.
  static void CloseWindow() {
    Shell("window=" + Window() +
          "; eval $(xdotool getwindowgeometry --shell $window)"
          " && xdotool mousemove --window $window -- $((WIDTH - 11)) -10 click 1");
  }
  /// The message that this tray shows beside its icon; empty while there is none.
  static std::string Balloon() {
    return Shell(
        "for w in $(xdotool search --onlyvisible --class kavrel); do "
        "eval $(xdotool getwindowgeometry --shell $w); "
        "if [ $WIDTH -gt 100 ]; then echo $w; fi; done | head -1");
  }
  static void ClickTray(int button = 1) {
    const std::string tray = Shell("xdotool search --onlyvisible --class trayer | head -1");
    Shell("xdotool mousemove --window " + tray + " 16 16 click " + std::to_string(button));
  }
};

TEST_F(KavrelTest, RunsHidesComesBackAndEnds) {
  StoreJob(SystemClock().Now() + std::chrono::seconds(2));
  const auto kavrel = StartKavrel(temp_.Home());
  ASSERT_TRUE(Becomes(InSight));
  EXPECT_TRUE(Becomes([&] { return fs::exists(temp_.DriveD() / "dst/檔案.txt"); }));
  const auto second = [&](const std::string& job) {
    std::vector<std::string> command{KAVREL, "--home", temp_.Home().string()};
    if (!job.empty()) command.push_back(job);
    return RunCommand(command).ExitCode;
  };
  fs::remove(temp_.DriveD() / "dst/檔案.txt");
  EXPECT_EQ(second("照片"), 0);
  EXPECT_TRUE(Becomes([&] { return fs::exists(temp_.DriveD() / "dst/檔案.txt"); }))
      << "handed over to the one that runs";
  EXPECT_EQ(second("沒有"), 3);

  CloseWindow();
  ASSERT_TRUE(Becomes([] { return !InSight(); }));
  EXPECT_EQ(kill(kavrel->Process(), 0), 0) << "it is only hidden";
  EXPECT_TRUE(Becomes([] { return !Balloon().empty(); })) << "which is told the first time";
  Shell("xdotool mousemove --window " + Balloon() + " 40 30 click 1");
  EXPECT_TRUE(Becomes(InSight)) << "a click there brings it back";
  CloseWindow();
  ASSERT_TRUE(Becomes([] { return !InSight(); }));
  EXPECT_EQ(second({}), 0) << "a second one ends at once";
  EXPECT_TRUE(Becomes(InSight)) << "and brings the first one back";
  CloseWindow();
  ASSERT_TRUE(Becomes([] { return !InSight(); }));
  EXPECT_EQ(Balloon(), "") << "it was told once";
  ClickTray();
  ASSERT_TRUE(Becomes(InSight));
  ClickTray(3);
  // Its menu is up when it takes the keys; the first line hides the window.
  ASSERT_TRUE(Becomes([] {
    Press("Down Return");
    return !InSight();
  }));
  // A click so soon after the last one may count as a double click, which does nothing.
  ASSERT_TRUE(Becomes([] {
    ClickTray();
    return InSight();
  }));

  Shell("xdotool windowactivate --sync " + Window() + " key --clearmodifiers ctrl+q");
  EXPECT_EQ(kavrel->Wait(), 0);
  JobStore store(temp_.Files());
  ASSERT_TRUE(store.LoadJobs());
  EXPECT_NE(store.Jobs[0].LastRun, kZeroDate);
  EXPECT_NE(ReadTestFile(temp_.Home() / "Log/QVDlog.log"), "");
}

TEST_F(KavrelTest, AFileWhoseVersionsAreWantedIsHandedOver) {
  StoreJob(SystemClock().Now() + std::chrono::hours(2));
  const auto kavrel = StartKavrel(temp_.Home());
  ASSERT_TRUE(Becomes(InSight));
  const std::string main = Window();
  // Of a job without states, named from where it is.
  EXPECT_EQ(Shell("cd '" + (temp_.DriveC() / "src").string() + "' && " + KAVREL + " --home '" +
                  temp_.Home().string() + "' --versions 檔案.txt; echo $?"),
            "0");
  const auto box = [&] {
    return Shell("xdotool search --onlyvisible --name '^Kavrel Ver 2.05 ' | grep -vx " + main);
  };
  ASSERT_TRUE(Becomes([&] { return !box().empty(); })) << "it says that no job keeps any";
  Shell("xdotool windowactivate --sync " + box() + " key Return");
  EXPECT_TRUE(Becomes([&] { return box().empty(); }));
  EXPECT_EQ(StartKavrel(temp_.Home(), "--versions /x 照片")->Wait(), 2) << "one or the other";
}

TEST_F(KavrelTest, StartsHiddenWhenAskedToAndEndsCalmlyByASignal) {
  StoreJob(SystemClock().Now() + std::chrono::hours(2));
  WriteTestFile(temp_.Home() / "Settings.ini", "[Settings]\nStartMin=True\n");
  const auto kavrel = StartKavrel(temp_.Home());
  ASSERT_TRUE(Becomes([&] { return fs::exists(temp_.Home() / "Log/QVDlog.log"); }));
  EXPECT_FALSE(InSight());
  ASSERT_TRUE(Becomes([] {
    ClickTray();
    return InSight();
  }));
  fs::remove(temp_.Home() / "Backup.rtm");
  kill(kavrel->Process(), SIGTERM);
  EXPECT_EQ(kavrel->Wait(), 0);
  EXPECT_TRUE(fs::exists(temp_.Home() / "Backup.rtm")) << "saved on the way out";
}

TEST_F(KavrelTest, NamedJobsRunAndTheProgramEnds) {
  StoreJob(SystemClock().Now() + std::chrono::hours(2));
  EXPECT_EQ(StartKavrel(temp_.Home(), "'沒有' '照片'")->Wait(), 3);
  EXPECT_TRUE(fs::exists(temp_.DriveD() / "dst/檔案.txt"));
  JobStore store(temp_.Files());
  ASSERT_TRUE(store.LoadJobs());
  store.Jobs[0].Name = u"-style";
  ASSERT_TRUE(store.SaveJobs());
  fs::remove(temp_.DriveD() / "dst/檔案.txt");
  EXPECT_EQ(StartKavrel(temp_.Home(), "-- -style")->Wait(), 0);
  EXPECT_TRUE(fs::exists(temp_.DriveD() / "dst/檔案.txt"));
  ASSERT_TRUE(fs::remove_all(temp_.DriveC() / "src") > 0);
  EXPECT_EQ(StartKavrel(temp_.Home(), "-- -style")->Wait(), 5);
}

TEST_F(KavrelTest, TellsThatItsFolderCannotBeUsed) {
  fs::create_directories(temp_.Home() / "Kavrel.lock");
  WriteTestFile(temp_.Root() / "file", "");
  for (const fs::path& folder : {temp_.Home(), temp_.Root() / "file/below"}) {
    const auto kavrel = StartKavrel(folder);
    ASSERT_TRUE(Becomes(InSight)) << folder;
    Shell("xdotool windowactivate --sync " + Window() + " key Return");
    EXPECT_EQ(kavrel->Wait(), 2);
    EXPECT_EQ(StartKavrel(folder, "'照片'")->Wait(), 2) << "without a box that waits for somebody";
  }
}

}  // namespace
}  // namespace kavrel
