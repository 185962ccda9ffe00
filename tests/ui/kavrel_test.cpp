// The real program on a real desktop: an X server in memory, a window manager, a tray.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include <QTest>
#include <memory>

#include "base/text.h"
#include "core/job_store.h"
#include "support/command.h"
#include "support/temp_folder.h"
#include "ui/window_driver.h"

namespace kavrel {
namespace {

namespace fs = std::filesystem;

bool Installed(const std::string& program) {
  return RunCommand({"/bin/sh", "-c", "command -v " + program}).ExitCode == 0;
}

/// What a shell command prints, without the last line's end.
std::string Shell(const std::string& command) {
  std::string output = RunCommand({"/bin/sh", "-c", command}).Output;
  while (output.ends_with('\n')) output.pop_back();
  return output;
}

class DesktopTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* program : {"Xvfb", "openbox", "trayer", "xdotool", "xprop"}) {
      if (!Installed(program)) GTEST_SKIP() << program << " is not installed";
    }
    server_ = std::make_unique<BackgroundCommand>(std::vector<std::string>{
        "/bin/sh", "-c",
        "exec Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp -noreset 3>" +
            display_file_.string() + " >/dev/null 2>&1"});
    ASSERT_TRUE(Becomes([&] { return ReadTestFile(display_file_).ends_with('\n'); }));
    display_ = ReadTestFile(display_file_);
    display_.pop_back();
    setenv("DISPLAY", (":" + display_).c_str(), 1);
    old_platform_ = qgetenv("QT_QPA_PLATFORM");
    qputenv("QT_QPA_PLATFORM", "xcb");
    manager_ = Background("openbox");
    ASSERT_TRUE(Becomes([] {
      return Shell("xprop -root _NET_SUPPORTING_WM_CHECK").find("0x") != std::string::npos;
    }));
    tray_ = Background("trayer --edge top --align left --widthtype request --height 32");
    ASSERT_TRUE(Becomes([] { return !Shell("xdotool search --class trayer").empty(); }));
  }

  void TearDown() override {
    if (!old_platform_.isNull()) qputenv("QT_QPA_PLATFORM", old_platform_);
  }

  static std::unique_ptr<BackgroundCommand> Background(const std::string& command) {
    return std::make_unique<BackgroundCommand>(
        std::vector<std::string>{"/bin/sh", "-c", "exec " + command + " >/dev/null 2>&1"});
  }

  /// Looks again and again, for a while.
  static bool Becomes(const std::function<bool()>& condition) {
    return QTest::qWaitFor(condition, 20000);
  }

  std::unique_ptr<BackgroundCommand> StartKavrel(const std::string& jobs = {}) {
    return Background(std::string(KAVREL) + " --home '" + temp_.Home().string() + "' " + jobs);
  }

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

  /// The main window's X id while it is in sight; empty while it is not.
  static std::string Window() {
    return Shell("xdotool search --onlyvisible --name '^Kavrel Ver 2.05 專業版' | head -1");
  }
  static bool InSight() { return !Window().empty(); }
  /// A click on the close box, which this window manager puts above the window's right corner.
  static void CloseWindow() {
    Shell("window=" + Window() +
          "; eval $(xdotool getwindowgeometry --shell $window)"
          " && xdotool mousemove --window $window -- $((WIDTH - 11)) -10 click 1");
  }
  static void ClickTray(int button = 1) {
    const std::string tray = Shell("xdotool search --onlyvisible --class trayer | head -1");
    Shell("xdotool mousemove --window " + tray + " 16 16 click " + std::to_string(button));
  }

  const TempFolder temp_;
  const fs::path display_file_ = temp_.Root() / "display";
  std::string display_;
  QByteArray old_platform_;
  std::unique_ptr<BackgroundCommand> server_, manager_, tray_;
};

TEST_F(DesktopTest, RunsHidesComesBackAndEnds) {
  StoreJob(SystemClock().Now() + std::chrono::seconds(2));
  const auto kavrel = StartKavrel();
  ASSERT_TRUE(Becomes(InSight));
  EXPECT_TRUE(Becomes([&] { return fs::exists(temp_.DriveD() / "dst/檔案.txt"); }));
  EXPECT_EQ(RunCommand({KAVREL, "--home", temp_.Home().string()}).ExitCode, 0)
      << "a second one ends at once";

  CloseWindow();
  ASSERT_TRUE(Becomes([] { return !InSight(); }));
  EXPECT_EQ(kill(kavrel->Process(), 0), 0) << "it is only hidden";
  ClickTray();
  ASSERT_TRUE(Becomes(InSight));
  ClickTray(3);
  ASSERT_TRUE(Becomes([] { return !InSight(); }));
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

TEST_F(DesktopTest, StartsHiddenWhenAskedToAndEndsCalmlyByASignal) {
  StoreJob(SystemClock().Now() + std::chrono::hours(2));
  WriteTestFile(temp_.Home() / "Settings.ini", "[Settings]\nStartMin=True\n");
  const auto kavrel = StartKavrel();
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

TEST_F(DesktopTest, NamedJobsRunAndTheProgramEnds) {
  StoreJob(SystemClock().Now() + std::chrono::hours(2));
  EXPECT_EQ(StartKavrel("'沒有' '照片'")->Wait(), 0);
  EXPECT_TRUE(fs::exists(temp_.DriveD() / "dst/檔案.txt"));
}

}  // namespace
}  // namespace kavrel
