#include "ui/frm_drives.h"

#include <gtest/gtest.h>

#include <QPushButton>

#include "platform/drives.h"
#include "ui/fake_picker.h"
#include "ui/main_window.h"
#include "ui/qt_text.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

QString Cell(QWidget& dialog, int row, int column) {
  return ViewOf(*Find<QWidget>(dialog, "lstDrives")).model()->index(row, column).data().toString();
}

TEST(Drives, AreAskedForAtTheFirstStartAndRunsWait) {
  MainWindow main;
  BackupJob& job = main.AddJob(u"帳冊");
  job.Source.Path = u"E:\\帳冊\\";
  job.NextRun = main.Clock.Now() + std::chrono::seconds(1);
  fs::create_directories(main.Temp.Root() / "disk/帳冊");
  WriteTestFile(main.Temp.Root() / "disk/帳冊/一.ods", "1");
  FakePicker picker;
  picker.Answer = QString::fromStdString((main.Temp.Root() / "disk").string());
  bool ticking = true;
  WhenDialog([&](QWidget& dialog) {
    ticking = main.Program.Schedule.TimerOn();
    main.Clock.Advance(2000);
    dynamic_cast<frmDrives&>(dialog).SetPicker(picker);
    EXPECT_EQ(Cell(dialog, 0, 0), "E:");
    EXPECT_EQ(Cell(dialog, 0, 1), "（沒有對應）");
    EXPECT_EQ(Cell(dialog, 0, 2), "帳冊");
    EXPECT_FALSE(Find<QPushButton>(dialog, "btnClear")->isEnabled());
    Find<QPushButton>(dialog, "btnFolder")->click();
    EXPECT_EQ(Cell(dialog, 0, 1), picker.Answer);
    Find<QPushButton>(dialog, "btnOK")->click();
  });
  main.Start();
  EXPECT_FALSE(ticking);
  EXPECT_EQ(DriveFolder(main.Program.Files, u"E:"), FromQString(picker.Answer));
  EXPECT_TRUE(WaitUntil([&] { return fs::exists(main.Backup("帳冊/一.ods")); }));
}

TEST(Drives, LeftAloneAreNotAskedForAgainButCanBeSetLater) {
  MainWindow main;
  main.AddJob(u"甲").Destination.Path = u"\\\\nas\\備份\\";
  int asked = 0;
  WhenDialog([&](QWidget& dialog) {
    ++asked;
    Press(dialog, Qt::Key_Escape);
  });
  main.Start();
  EXPECT_EQ(asked, 1);
  EXPECT_TRUE(DrivesToAskAbout(main.Program).empty());
  FakePicker picker;
  picker.Answer = QString::fromStdString(main.Temp.DriveD().string());
  WhenDialog([&](QWidget& dialog) {
    dynamic_cast<frmDrives&>(dialog).SetPicker(picker);
    const auto click = [&](const char* button) { Find<QPushButton>(dialog, button)->click(); };
    QWidget& list = *Find<QWidget>(dialog, "lstDrives");
    EXPECT_EQ(Cell(dialog, 1, 0), "\\\\nas\\備份");
    Click(*ViewOf(list).viewport(), CellCentre(list, 1));
    EXPECT_NE(MessageOf([&] { click("btnFolder"); }), "") << "inside drives/";
    picker.Answer = QString::fromStdString(main.Temp.Root().string());
    click("btnFolder");
    click("btnOK");
  });
  main.Action("mnuDrives")->trigger();
  EXPECT_EQ(DriveFolder(main.Program.Files, u"\\\\nas\\備份"), FromQString(picker.Answer));
  EXPECT_TRUE(main.Program.Schedule.TimerOn());
}

}  // namespace
}  // namespace kavrel
