#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QTreeView>
#include <set>

#include "support/variable.h"
#include "ui/main_window.h"
#include "ui/other_start.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

/// What opens files on this desktop only notes what it was given.
class VersionsTest : public testing::Test {
 protected:
  VersionsTest() {
    fs::create_directory(temp_.Root() / "tmp");
    WriteTestFile(temp_.Root() / "bin/xdg-open", "#!/bin/sh\nprintf %s \"$1\" >'" + note_.string() +
                                                     ".new' && mv '" + note_.string() + ".new' '" +
                                                     note_.string() + "'\n");
    fs::permissions(temp_.Root() / "bin/xdg-open", fs::perms::owner_all);
  }

  /// A job whose states share files, in the source "照片".
  void AddDailyJob() {
    BackupJob& job = main_->AddJob(u"照片");
    SetJobType(job, BackupType::Differential);
    job.Destination.Path = u"D:\\<yyyy>-<mm>-<dd>\\";
  }
  void Write(const std::string& name, std::string_view text, std::int64_t written) const {
    main_->WriteSource("照片/" + name, text);
    SetWritten(Source() / name, {1'200'000'000 + written, 0});
  }
  void RunOnDay(int day) const {
    main_->Clock.Set(*FromCivil(2009, 9, day, 18));
    ASSERT_EQ(main_->Program.RunJobNow(0), RunOutcome::Ran);
  }
  /// Three states of a file in a folder that is read-only in all of them, the first two equal.
  void MakeThreeStates() {
    main_->Start();
    const auto run = [&](int day, std::string_view text, int written) {
      fs::permissions(Source(), fs::perms::owner_all);
      if (fs::exists(Source() / "信")) fs::permissions(Source() / "信", fs::perms::owner_all);
      Write("信/家書.txt", text, written);
      fs::permissions(Source() / "信", fs::perms(0555));
      RunOnDay(day);
      fs::permissions(Source() / "信", fs::perms::owner_all);
    };
    run(1, "first", 0);
    run(2, "first", 0);
    run(3, "the second", 1000);
    ASSERT_EQ(fs::hard_link_count(State(2) / "信/家書.txt"), 2U);
  }

  fs::path Source() const { return main_->Temp.DriveC() / "照片"; }
  fs::path State(int day) const {
    return main_->Temp.DriveD() / ("2009-09-0" + std::to_string(day));
  }
  static QAbstractItemModel& ListOf(const QWidget& dialog) {
    return *Find<QWidget>(dialog, "lstVersions")->findChild<QTreeView*>()->model();
  }
  static void Select(const QWidget& dialog, int row) {
    auto& list = *Find<QWidget>(dialog, "lstVersions")->findChild<QTreeView*>();
    list.setCurrentIndex(list.model()->index(row, 0));
  }
  static void ClickOn(const QWidget& window, const char* button) {
    Find<QPushButton>(window, button)->click();
  }
  /// Hands the dialog to `act` when it has read what it is to show: it handles events meanwhile.
  static void WhenRead(const char* name, const char* label, std::function<void(QWidget&)> act) {
    WhenDialog([=](QWidget& dialog) {
      if (dialog.objectName() != name) {
        ADD_FAILURE() << dialog.objectName().toStdString() << " instead of " << name;
        dialog.close();
      } else if (Find<QLabel>(dialog, label)->text().startsWith("正在")) {
        WhenRead(name, label, act);
      } else {
        act(dialog);
      }
    });
  }
  static void WhenVersions(std::function<void(QWidget&)> act) {
    WhenRead("FrmVersions", "lblNote", std::move(act));
  }
  /// The same with the dialog of a file of the source, to the end of all that follows.
  void WithVersions(const std::string& name, const std::function<void(QWidget&)>& act) {
    bool done = false;
    WhenVersions([&](QWidget& dialog) {
      act(dialog);
      done = true;
    });
    main_->Window.WantVersions(TempFolder::Text(Source() / name));
    EXPECT_TRUE(WaitUntil([&] { return done; }));
  }
  /// What the desktop was given to open.
  fs::path Opened() const {
    EXPECT_TRUE(WaitUntil([&] { return fs::exists(note_); }));
    const fs::path path = ReadTestFile(note_);
    fs::remove(note_);
    return path;
  }
  /// The names in the folder of the file, in order.
  std::string Names(const fs::path& folder) const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename());
    std::string text;
    for (const std::string& name : names) text += name + '\n';
    return text;
  }

  const TempFolder temp_;
  const fs::path note_ = temp_.Root() / "note";
  const EnvironmentVariable path_{"PATH", (temp_.Root() / "bin").string() + ":" + getenv("PATH")};
  std::unique_ptr<MainWindow> main_ = std::make_unique<MainWindow>();
  const EnvironmentVariable tmp_{"TMPDIR", (temp_.Root() / "tmp").string()};
};

TEST_F(VersionsTest, EqualOnesAreListedOnceAndAnOlderOneTakesThePlaceOfThePresent) {
  AddDailyJob();
  MakeThreeStates();
  WithVersions("信/家書.txt", [&](QWidget& dialog) {
    EXPECT_EQ(dialog.windowTitle(), "「家書.txt」的較早版本");
    EXPECT_FALSE(main_->Program.Schedule.TimerOn());
    const QAbstractItemModel& list = ListOf(dialog);
    ASSERT_EQ(list.rowCount(), 2);
    EXPECT_EQ(list.index(0, 1).data(), "10 位元");
    EXPECT_EQ(list.index(0, 2).data(), "2009/9/3 下午 06:00:00");
    EXPECT_EQ(list.index(0, 3).data(), "相同");
    EXPECT_EQ(list.index(1, 2).data(),
              "2009/9/1 下午 06:00:00 到 2009/9/2 下午 06:00:00（2 個備份）");
    EXPECT_EQ(list.index(1, 3).data().toString(), "");
    Select(dialog, 1);
    const QString asked = MessageOf([&] { ClickOn(dialog, "btnRestore"); }, "否");
    EXPECT_TRUE(asked.contains("取代現在的檔案「家書.txt」")) << asked.toStdString();
    EXPECT_TRUE(dialog.isVisible());
    MessageOf([&] { ClickOn(dialog, "btnRestore"); }, "是");
  });
  EXPECT_EQ(ReadTestFile(Source() / "信/家書.txt"), "first");
  EXPECT_EQ(StatusText(main_->Program.LogRows.Rows().back()), u"還原完成");
  EXPECT_TRUE(main_->Program.Schedule.TimerOn());
  struct stat mine, kept;
  ASSERT_EQ(stat((Source() / "信/家書.txt").c_str(), &mine), 0);
  ASSERT_EQ(stat((State(2) / "信/家書.txt").c_str(), &kept), 0);
  EXPECT_NE(mine.st_ino, kept.st_ino);
}

TEST_F(VersionsTest, OneThatIsPutBesideNeverTakesAnothersPlace) {
  AddDailyJob();
  MakeThreeStates();
  const auto put = [&] {
    QString told;
    WithVersions("信/家書.txt", [&](QWidget& dialog) {
      Select(dialog, 1);
      WhenDialog([&](QWidget& box) {
        told = dynamic_cast<QMessageBox&>(box).text();
        EXPECT_EQ(Names(Source() / "信").find("pt"), std::string::npos) << "it has gone already";
        box.close();
      });
      ClickOn(dialog, "btnBeside");
    });
    return told;
  };
  EXPECT_TRUE(put().endsWith("家書 (2009-09-02 18.00.00).txt"));
  WriteTestFile(Source() / "信/家書 (2009-09-02 18.00.00).txt", "mine now");
  EXPECT_TRUE(put().endsWith("家書 (2009-09-02 18.00.00) (2).txt"));
  EXPECT_EQ(ReadTestFile(Source() / "信/家書 (2009-09-02 18.00.00).txt"), "mine now");
  EXPECT_EQ(ReadTestFile(Source() / "信/家書 (2009-09-02 18.00.00) (2).txt"), "first");
  EXPECT_EQ(ReadTestFile(Source() / "信/家書.txt"), "the second");
  EXPECT_EQ(Names(Source() / "信"),
            "家書 (2009-09-02 18.00.00) (2).txt\n家書 (2009-09-02 18.00.00).txt\n家書.txt\n");
  // Where it was to come has gone meanwhile.
  QString told;
  WithVersions("信/家書.txt", [&](QWidget& dialog) {
    fs::remove_all(Source() / "信");
    WhenDialog([&](QWidget& box) {
      told = dynamic_cast<QMessageBox&>(box).text();
      box.close();
    });
    ClickOn(dialog, "btnBeside");
  });
  EXPECT_TRUE(told.startsWith("無法把「信/家書.txt」放在現在的檔案旁邊：")) << told.toStdString();
  EXPECT_FALSE(fs::exists(Source() / "信"));
}

TEST_F(VersionsTest, WhatIsOpenedIsACopyThatNobodyWritesToAndThatGoesWithTheProgram) {
  AddDailyJob();
  MakeThreeStates();
  fs::path first, again;
  WithVersions("信/家書.txt", [&](QWidget& dialog) {
    Select(dialog, 1);
    ClickOn(dialog, "btnOpen");
    first = Opened();
    ClickOn(dialog, "btnOpen");
    again = Opened();
    dialog.close();
  });
  EXPECT_EQ(first.filename(), "家書 (2009-09-02 18.00.00).txt");
  EXPECT_EQ(ReadTestFile(first), "first");
  EXPECT_NE(first, again);
  struct stat copy, kept;
  ASSERT_EQ(stat(first.c_str(), &copy), 0);
  ASSERT_EQ(stat((State(2) / "信/家書.txt").c_str(), &kept), 0);
  EXPECT_NE(copy.st_ino, kept.st_ino);
  EXPECT_EQ(copy.st_nlink, 1U);
  EXPECT_EQ(copy.st_mode & 0377U, 0U) << "not to be written, nor read by others";
  const fs::path folder = first.parent_path().parent_path();
  EXPECT_EQ(folder.parent_path(), temp_.Root() / "tmp");
  EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
  main_.reset();
  EXPECT_EQ(Names(temp_.Root() / "tmp"), "") << "all of it has gone";
}

TEST_F(VersionsTest, OfArchivesAreReachedFromTheTreeOfARestore) {
  BackupJob& job = main_->AddJob(u"照片");
  SetJobType(job, BackupType::Compressed);
  main_->Start();
  Write("信/家書.txt", "first", 0);
  RunOnDay(1);
  Write("信/家書.txt", "the second", 1000);
  RunOnDay(2);
  bool menu_seen = false;
  WhenDialog([&](QWidget& archives) {
    WhenDialog([&](QWidget& restore) {
      auto& view = *Find<QTreeView>(restore, "tvwFiles");
      EXPECT_FALSE(Find<QPushButton>(restore, "btnVersions")->isEnabled()) << "a folder";
      view.expandAll();
      const QModelIndex file = view.model()->index(0, 0, view.model()->index(0, 0, {}));
      WhenMenu([&](QMenu& menu) {
        menu_seen = true;
        QAction* versions = menu.findChild<QAction*>("mnuVersions");
        WhenVersions([&](QWidget& dialog) {
          EXPECT_EQ(ListOf(dialog).rowCount(), 2);
          Select(dialog, 1);
          ClickOn(dialog, "btnOpen");
          EXPECT_EQ(ReadTestFile(Opened()), "first");
          MessageOf([&] { ClickOn(dialog, "btnRestore"); }, "是");
        });
        menu.close();
        versions->trigger();
      });
      RightClick(*view.viewport(), view.visualRect(file).center());
      EXPECT_TRUE(WaitUntil([&] { return menu_seen && !restore.isVisible(); }));
    });
    ClickOn(archives, "cmdOK");
  });
  main_->Menu(main_->Jobs(), 0, "mnuJobResSome");
  EXPECT_EQ(ReadTestFile(Source() / "信/家書.txt"), "first");
}

TEST_F(VersionsTest, AFileIsSoughtInTheJobWithTheLongestSourceAndOneOfNoJobIsTold) {
  AddDailyJob();
  BackupJob inner = main_->Program.Store.Jobs[0];
  inner.Name = u"信";
  inner.JobIndex = 1;
  inner.Source.Path = u"C:\\照片\\信\\";
  inner.Destination.Path = u"D:\\信\\<yyyy>-<mm>-<dd>\\";
  main_->Program.Store.Jobs.push_back(inner);
  BackupJob plain = inner;
  plain.Name = u"不留";
  plain.JobIndex = 2;
  plain.Source.Path = u"C:\\照片\\信\\舊\\";
  plain.Destination.Path = u"D:\\plain\\";
  main_->Program.Store.Jobs.push_back(plain);
  MakeThreeStates();
  Write("信/舊/a.txt", "a", 0);
  for (const std::int32_t job : {1, 2}) {
    ASSERT_EQ(main_->Program.RunJobNow(job), RunOutcome::Ran);
  }
  // By whatever links somebody gets there.
  fs::create_directory_symlink(Source(), temp_.Root() / "link");
  bool done = false;
  WhenVersions([&](QWidget& dialog) {
    EXPECT_EQ(ListOf(dialog).rowCount(), 1);
    auto& jobs = *Find<QComboBox>(dialog, "cboJob");
    ASSERT_EQ(jobs.count(), 2) << "the third keeps no states";
    EXPECT_EQ(jobs.currentText(), "信");
    jobs.setCurrentIndex(1);
    Q_EMIT jobs.activated(1);
    EXPECT_TRUE(WaitUntil([&] { return ListOf(dialog).rowCount() == 0; }));
    EXPECT_EQ(Find<QLabel>(dialog, "lblNote")->text(), "沒有備份有這個檔案。");
    EXPECT_FALSE(Find<QPushButton>(dialog, "btnOpen")->isEnabled());
    dialog.close();
    done = true;
  });
  EXPECT_TRUE(
      main_->Window.TakeStart({{}, {}, TempFolder::Text(temp_.Root() / "link/信/舊/a.txt")}));
  EXPECT_TRUE(WaitUntil([&] { return done; }));

  QString told;
  WhenDialog([&](QWidget& box) {
    told = dynamic_cast<QMessageBox&>(box).text();
    box.close();
  });
  main_->Window.WantVersions(TempFolder::Text(temp_.Root() / "bin/xdg-open"));
  EXPECT_TRUE(WaitUntil([&] { return !told.isEmpty(); }));
  EXPECT_TRUE(told.startsWith("沒有排程保留「")) << told.toStdString();
}

TEST_F(VersionsTest, TwoStatesAreComparedFromTheListOfThem) {
  AddDailyJob();
  main_->Start();
  Write("a.txt", "stays", 0);
  Write("b.txt", "goes away", 0);
  Write("old/c.txt", "only moves", 0);
  RunOnDay(1);
  Write("a.txt", "stays, but not as it was", 50);
  Write("d.txt", "comes", 50);
  fs::remove(Source() / "b.txt");
  fs::create_directory(Source() / "new");
  fs::rename(Source() / "old/c.txt", Source() / "new/c.txt");
  RunOnDay(2);
  RunOnDay(3);
  WhenDialog([&](QWidget& restore) {
    // The second, with the one before it.
    auto& states = *Find<QWidget>(restore, "lstStates")->findChild<QTreeView*>();
    states.setCurrentIndex(states.model()->index(1, 0));
    WhenRead("FrmCompare", "lblCounts", [&](QWidget& dialog) {
      const QAbstractItemModel& changes = *Find<QTableView>(dialog)->model();
      QStringList rows;
      for (int row = 0; row < changes.rowCount(); ++row) {
        QStringList cells;
        for (int column = 0; column < 4; ++column) {
          cells += changes.index(row, column).data().toString();
        }
        rows += cells.join('|');
      }
      EXPECT_EQ(rows.join('\n').toStdString(),
                "變更|a.txt|24 位元|\n移除|b.txt|9 位元|\n新增|d.txt|5 位元|\n"
                "移動|new/c.txt|10 位元|old/c.txt");
      const auto& counts = *Find<QLabel>(dialog, "lblCounts");
      EXPECT_EQ(counts.text(),
                "新增：1 個檔案　　移除：1 個檔案　　變更：1 個檔案　　移動：1 個檔案");
      Type(*Find<QLineEdit>(dialog, "txtSearch"), "OLD");
      EXPECT_TRUE(WaitUntil([&] { return changes.rowCount() == 1; }));
      EXPECT_EQ(changes.index(0, 1).data(), "new/c.txt");
      auto& older = *Find<QComboBox>(dialog, "cboOlder");
      EXPECT_EQ(older.currentIndex(), 2);
      older.setCurrentIndex(0);
      Q_EMIT older.activated(0);
      EXPECT_EQ(counts.text(), "沒有任何變更。") << "nothing was changed on the third day";
      fs::rename(State(1), State(9));
      older.setCurrentIndex(2);
      Q_EMIT older.activated(2);
      EXPECT_TRUE(counts.text().startsWith("無法讀取備份「")) << counts.text().toStdString();
      dialog.close();
    });
    ClickOn(restore, "btnCompare");
    restore.close();
  });
  main_->Menu(main_->Jobs(), 0, "mnuJobResSome");
}

}  // namespace
}  // namespace kavrel
