// The first hour: from an empty program folder to a backup, and a lost file back from it, without
// the job editor. Every click is counted.
#include "ui/welcome_page.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>

#include "base/text.h"
#include "support/tree.h"
#include "support/variable.h"
#include "ui/main_window.h"
#include "ui/qt_text.h"

namespace kavrel {
namespace {

namespace fs = std::filesystem;

class WelcomePageTest : public ::testing::Test {
 protected:
  WelcomePageTest() {
    WriteTestFile(user_ / "文件/報告.txt", std::string(2048, 'r'));
    WriteTestFile(user_ / "文件/子/甲.txt", "a");
    WriteTestFile(user_ / "Backup/old", "not to be backed up");
  }

  /// A click on the row of a list of the page that shows this text in its first column.
  void ClickRow(const char* list, const QString& text) {
    QWidget& view = *main_.Named(list);
    const QAbstractItemModel& rows = *ViewOf(view).model();
    for (int row = 0; row < rows.rowCount(); ++row) {
      if (rows.index(row, 0).data().toString() != text) continue;
      ++clicks_;
      return Click(*ViewOf(view).viewport(), CellCentre(view, row));
    }
    ADD_FAILURE() << "no row " << text.toStdString();
  }
  void ClickButton(const char* name) {
    ++clicks_;
    Click(*main_.Named(name));
  }
  QPushButton& Create() { return *main_.Window.findChild<QPushButton*>("cmdFirstJob"); }
  /// The next message box, which is to hold the text, gets this answer by one click.
  void Answer(const QString& text, const QString& button) {
    main_.Answer({{text, button}});
    ++clicks_;
  }

  MainWindow main_;
  const fs::path user_ = main_.Temp.Root() / "user";
  const EnvironmentVariable home_{"HOME", user_.string()};
  int clicks_ = 0;
};

TEST_F(WelcomePageTest, FourClicksToABackupAndThreeMoreToALostFile) {
  main_.Start();
  ASSERT_TRUE(main_.Shown("picWelcome"));
  EXPECT_FALSE(main_.Shown("PiclstJob"));
  EXPECT_FALSE(Create().isEnabled());
  ClickRow("lstSources", "文件");
  ClickRow("lstPlaces", "家目錄");
  EXPECT_TRUE(main_.Window.findChild<QLabel*>("lblChoice")->text().endsWith("/Backup/文件"));
  EXPECT_TRUE(main_.Window.findChild<QLabel*>("lblFirstWarning")->text().contains("同一個磁碟"));
  Answer("備份排程「文件」已經建立並啟動。\n您要現在執行第一次備份嗎？", "是");
  ClickButton("cmdFirstJob");
  EXPECT_LE(clicks_, 4);
  EXPECT_EQ(TreeDifferences(user_ / "文件", user_ / "Backup/文件"), "");
  EXPECT_FALSE(main_.Shown("picWelcome"));
  ASSERT_EQ(main_.Jobs().ItemCount(), 1);
  EXPECT_TRUE(main_.Jobs().Checked(0));
  EXPECT_TRUE(main_.Program.Schedule.TimerOn());

  JobStore stored(main_.Temp.Files());
  ASSERT_TRUE(stored.LoadJobs());
  const BackupJob& job = stored.Jobs[0];
  EXPECT_TRUE(job.Enabled);
  EXPECT_EQ(JobType(job), BackupType::Differential);
  EXPECT_EQ(job.EveryDays, 1);
  EXPECT_EQ(job.NextRun, *FromCivil(2026, 11, 25, 15, 0, 0));

  clicks_ = 0;
  fs::remove(user_ / "文件/報告.txt");
  Answer("您確定要執行「文件」還原排程嗎？", "是");
  clicks_ += 2;
  main_.Menu(main_.Jobs(), 0, "mnuJobResNow");
  EXPECT_LE(clicks_, 3);
  EXPECT_EQ(ReadTestFile(user_ / "文件/報告.txt"), std::string(2048, 'r'));
}

TEST_F(WelcomePageTest, StandsAsideForTheLogAndForAStoreThatCannotBeRead) {
  main_.Start();
  Click(main_.Button(4));
  EXPECT_TRUE(main_.Shown("piclstLog") && !main_.Shown("picWelcome"));
  Click(main_.Button(4));
  EXPECT_TRUE(main_.Shown("picWelcome") && !main_.Shown("PiclstJob"));
  // Nobody wants a first job to take the place of those that are there.
  MainWindow other;
  fs::create_directories(other.Temp.Home() / "Backup.rtm");
  WhenDialog([](QWidget& dialog) { static_cast<QDialog&>(dialog).done(0); });
  other.Window.Start(other.Program, {});
  EXPECT_FALSE(other.Shown("picWelcome"));
  EXPECT_TRUE(other.Shown("PiclstJob"));
}

TEST_F(WelcomePageTest, OffersDisksWithTheirRoomAndTellsWhichCannotBeWritten) {
  const fs::path disk = main_.Temp.Root() / "隨身碟";
  fs::create_directories(disk);
  std::vector<PlaceOffer> offers = PlaceOffers(
      main_.Program, {TempFolder::Text(disk), TempFolder::Text(main_.Temp.Root() / "away"),
                      TempFolder::Text(user_)});
  ASSERT_EQ(offers.size(), 3U) << "the home's own disk is offered by its name alone";
  EXPECT_EQ(offers[0].Name, u"隨身碟");
  EXPECT_EQ(offers[0].Folder, TempFolder::Text(disk / "Backup/"));
  EXPECT_TRUE(offers[0].Writable && offers[0].Free > 0U);
  EXPECT_EQ(offers[2].Folder, TempFolder::Text(user_ / "Backup/"));
  if (geteuid() == 0) return;
  fs::permissions(disk, fs::perms::owner_read | fs::perms::owner_exec);
  offers = PlaceOffers(main_.Program, {TempFolder::Text(disk)});
  EXPECT_FALSE(offers[0].Writable);
  fs::permissions(disk, fs::perms::owner_all);
}

}  // namespace
}  // namespace kavrel
