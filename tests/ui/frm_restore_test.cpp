#include "ui/frm_restore.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTreeView>

#include "ui/backup_model.h"
#include "ui/fake_picker.h"
#include "ui/main_window.h"

namespace kavrel {
namespace {

class FrmRestoreTest : public testing::Test {
 protected:
  FrmRestoreTest() {
    for (const char* name : {"docs/報告.txt", "docs/old/deep/notes.txt", "readme", "zoo/a"}) {
      WriteTestFile(temp_.DriveD() / name, std::string(2048, 'x'));
    }
    browser_ = BrowseFolder(temp_.Files(), u"D:\\");
    dialog_ = std::make_unique<FrmRestore>(FrmRestore::Backup{u"照片", u"C:\\照片\\", *browser_},
                                           picker_, nullptr);
    ShowAndWait(*dialog_);
    view_ = Find<QTreeView>(*dialog_, "tvwFiles");
  }

  QModelIndex At(std::initializer_list<const char*> path) const {
    QModelIndex at;
    for (const char* name : path) {
      QModelIndex found;
      for (int row = 0; row < view_->model()->rowCount(at); ++row) {
        const QModelIndex child = view_->model()->index(row, 0, at);
        if (child.data().toString() == name) found = child;
      }
      EXPECT_TRUE(found.isValid()) << name;
      at = found;
      view_->expand(at);
    }
    return at;
  }
  int Checked(std::initializer_list<const char*> path) const {
    return At(path).data(Qt::CheckStateRole).toInt();
  }
  /// With the space bar, as the keyboard does it.
  void Toggle(const QModelIndex& index) {
    view_->setCurrentIndex(index);
    Press(*view_, Qt::Key_Space);
  }
  std::u16string Picked() const {
    std::u16string text;
    const RestorePick pick = dialog_->Wish().Pick;
    for (const std::u16string& path : pick.Paths.Paths()) (text += path) += u' ';
    return text;
  }
  bool CanRestore() const { return Find<QPushButton>(*dialog_, "cmdOK")->isEnabled(); }

  TempFolder temp_;
  FakePicker picker_;
  std::unique_ptr<BackupBrowser> browser_;
  std::unique_ptr<FrmRestore> dialog_;
  QTreeView* view_;
};

TEST_F(FrmRestoreTest, BoxesOfFoldersFollowWhatIsInThem) {
  EXPECT_FALSE(CanRestore());
  EXPECT_EQ(view_->model()->rowCount({}), 3);
  EXPECT_TRUE(view_->model()->canFetchMore(view_->model()->index(0, 0, {})))
      << "nothing is read before it is opened";
  Toggle(At({"docs", "old", "deep", "notes.txt"}));
  EXPECT_TRUE(CanRestore());
  EXPECT_EQ(Checked({"docs"}), Qt::PartiallyChecked);
  Toggle(At({"docs"}));
  EXPECT_EQ(Checked({"docs", "old", "deep"}), Qt::Checked);
  EXPECT_EQ(Picked(), u"docs ");
  Toggle(At({"docs", "報告.txt"}));
  EXPECT_EQ(Picked(), u"docs/old ");
  EXPECT_EQ(Checked({"docs"}), Qt::PartiallyChecked);
  EXPECT_EQ(Find<QLabel>(*dialog_, "lblPicked")->text(), "已選取 1 個項目。");
  EXPECT_EQ(At({"readme"}).siblingAtColumn(BackupModel::kSize).data(), "2.00 KB");
}

TEST_F(FrmRestoreTest, WhatIsSoughtIsListedWithItsFolderAndKeepsItsBox) {
  auto& find = *Find<QLineEdit>(*dialog_, "txtFind");
  Type(find, "NOTES");
  ASSERT_TRUE(WaitUntil([&] { return view_->model()->rowCount({}) == 1; }));
  const QModelIndex hit = view_->model()->index(0, 0, {});
  EXPECT_EQ(hit.siblingAtColumn(BackupModel::kFolder).data(), "docs/old/deep");
  Toggle(hit);
  find.clear();
  EXPECT_TRUE(WaitUntil([&] { return view_->model()->rowCount({}) == 3; }));
  EXPECT_EQ(Picked(), u"docs/old/deep/notes.txt ");
  EXPECT_EQ(Checked({"docs", "old", "deep", "notes.txt"}), Qt::Checked);
}

TEST_F(FrmRestoreTest, AnotherFolderMustBeAWholePath) {
  Toggle(At({"readme"}));
  EXPECT_EQ(dialog_->Wish().Pick.Target, u"");
  Find<QRadioButton>(*dialog_, "optOther")->click();
  EXPECT_FALSE(CanRestore());
  auto& target = *Find<QLineEdit>(*dialog_, "txtTarget");
  Type(target, "somewhere");
  EXPECT_EQ(MessageOf([&] { Find<QPushButton>(*dialog_, "cmdOK")->click(); }),
            "「somewhere」不是完整的路徑。");
  EXPECT_TRUE(dialog_->isVisible());
  picker_.Answer = "/tmp/else";
  Find<QPushButton>(*dialog_, "btnTarget")->click();
  Find<QCheckBox>(*dialog_, "chkNewer")->click();
  Find<QPushButton>(*dialog_, "cmdOK")->click();
  EXPECT_EQ(dialog_->result(), QDialog::Accepted);
  EXPECT_EQ(dialog_->Wish().Pick.Target, u"/tmp/else");
  EXPECT_TRUE(dialog_->Wish().Pick.ReplaceNewer);
}

TEST(RestoreSome, FromTheMenuToTheRestoredFile) {
  MainWindow main;
  SetJobType(main.AddJob(u"照片"), BackupType::Compressed);
  main.WriteSource("照片/甲/一.txt", "one");
  main.WriteSource("照片/乙.txt", "two");
  main.Start();
  ASSERT_EQ(main.Program.RunJobNow(0), RunOutcome::Ran);
  std::filesystem::remove_all(main.Temp.DriveC() / "照片");
  WhenDialog([&](QWidget& archives) {
    WhenDialog([&](QWidget& dialog) {
      EXPECT_EQ(dialog.windowTitle(), "還原「照片」的檔案");
      EXPECT_FALSE(main.Program.Schedule.TimerOn());
      auto& view = *Find<QTreeView>(dialog, "tvwFiles");
      EXPECT_TRUE(
          view.model()->setData(view.model()->index(0, 0, {}), Qt::Checked, Qt::CheckStateRole));
      Find<QPushButton>(dialog, "cmdOK")->click();
    });
    Find<QPushButton>(archives, "cmdOK")->click();
  });
  main.Menu(main.Jobs(), 0, "mnuJobResSome");
  EXPECT_EQ(ReadTestFile(main.Temp.DriveC() / "照片/甲/一.txt"), "one");
  EXPECT_FALSE(std::filesystem::exists(main.Temp.DriveC() / "照片/乙.txt"));
  EXPECT_EQ(StatusText(main.Program.LogRows.Rows().back()), u"還原完成");
  EXPECT_TRUE(main.Program.Schedule.TimerOn());
}

TEST(RestoreSome, AnyDayOfAJobWithDateTags) {
  MainWindow main;
  BackupJob& job = main.AddJob(u"照片");
  job.Destination.Path = u"D:\\<yyyy>-<mm>-<dd>\\";
  const auto run = [&](int day, const char* text) {
    main.Clock.Set(*FromCivil(2009, 9, day, 1));
    main.WriteSource("照片/甲.txt", text);
    ASSERT_EQ(main.Program.RunJobNow(0), RunOutcome::Ran);
  };
  main.Start();
  run(1, "first");
  run(2, "the second");
  run(3, "the third one");
  main.Clock.Set(*FromCivil(2009, 9, 20, 1));
  std::filesystem::remove_all(main.Temp.DriveC() / "照片");
  WhenDialog([&](QWidget& dialog) {
    auto& list = *Find<QWidget>(dialog, "lstStates")->findChild<QTreeView*>();
    ASSERT_EQ(list.model()->rowCount(), 3);
    EXPECT_EQ(list.model()->index(0, 0).data(), "2009/9/3 上午 01:00:00");
    EXPECT_EQ(list.model()->index(0, 1).data(), "完整");
    EXPECT_EQ(list.currentIndex().row(), 0) << "the newest whole one";
    auto& view = *Find<QTreeView>(dialog, "tvwFiles");
    const auto check = [&] {
      view.model()->setData(view.model()->index(0, 0, {}), Qt::Checked, Qt::CheckStateRole);
    };
    check();
    list.setCurrentIndex(list.model()->index(1, 0));
    EXPECT_FALSE(Find<QPushButton>(dialog, "cmdOK")->isEnabled()) << "picked of another state";
    const QModelIndex file = view.model()->index(0, 0, {});
    EXPECT_EQ(file.siblingAtColumn(BackupModel::kSize).data(), "10 位元");
    std::filesystem::rename(main.Temp.DriveD() / "2009-09-01", main.Temp.DriveD() / "gone");
    const QString told = MessageOf([&] { list.setCurrentIndex(list.model()->index(2, 0)); });
    EXPECT_TRUE(told.startsWith("無法讀取備份")) << told.toStdString();
    EXPECT_EQ(list.currentIndex().row(), 1);
    check();
    Find<QPushButton>(dialog, "cmdOK")->click();
  });
  main.Menu(main.Jobs(), 0, "mnuJobResSome");
  EXPECT_EQ(ReadTestFile(main.Temp.DriveC() / "照片/甲.txt"), "the second");
}

}  // namespace
}  // namespace kavrel
