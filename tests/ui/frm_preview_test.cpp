#include "ui/frm_preview.h"

#include <gtest/gtest.h>

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QTimer>

#include "support/test_program.h"
#include "support/tree.h"
#include "ui/frm_go_on.h"
#include "ui/main_window.h"

namespace kavrel {
namespace {

/// The shown rows of the dialog's table, their cells separated by blanks.
QStringList Rows(const QWidget& dialog) {
  const QAbstractItemModel& model = *Find<QTableView>(dialog)->model();
  QStringList rows;
  for (int row = 0; row < model.rowCount(); ++row) {
    QStringList cells;
    for (int column = 0; column < model.columnCount(); ++column) {
      cells += model.index(row, column).data().toString();
    }
    rows += cells.join(' ');
  }
  return rows;
}

/// Looks at the next preview once it is there. It cannot be waited for inside a dialog's event: the
/// plan may be what handles that event.
void WhenPlanned(const std::function<void(QWidget&, QPushButton& run)>& look) {
  WhenDialog([look](QWidget& dialog) {
    auto* run = Find<QPushButton>(dialog, "cmdRun");
    auto* timer = new QTimer(&dialog);
    QObject::connect(timer, &QTimer::timeout, &dialog, [&dialog, run, timer, look] {
      if (!run->isEnabled()) return;
      timer->stop();
      look(dialog, *run);
    });
    timer->start(0);
  });
}

TEST(FrmPreview, IsLookedThroughSearchedAndRun) {
  MainWindow main;
  BackupJob& job = main.AddJob(u"文件");
  SetJobType(job, BackupType::Synchronise);
  main.WriteSource("文件/新的.txt", "abc");
  main.WriteSource("文件/b/c.txt", "x");
  WriteTestFile(main.Backup("文件/舊的.txt"), "old");
  main.Start();
  WhenPlanned([&](QWidget& dialog, QPushButton& run) {
    EXPECT_EQ(Rows(dialog).size(), 4);
    EXPECT_TRUE(Rows(dialog).contains("刪除 舊的.txt 3 位元 來源已不存在"));
    EXPECT_EQ(Find<QLabel>(dialog, "lblTotals")->text(),
              "複製：2 個檔案，1 個資料夾，4 位元\n刪除：1 個檔案，3 位元");
    EXPECT_TRUE(Find<QLabel>(dialog, "lblWarning")->text().startsWith("⚠ 目標資料夾中有不是"));
    Type(*Find<QLineEdit>(dialog, "txtSearch"), "C.TX");
    EXPECT_TRUE(WaitUntil([&] { return Rows(dialog).size() == 1; }));
    EXPECT_EQ(Rows(dialog)[0], "複製 b\\c.txt 1 位元 目標沒有");
    auto& actions = *Find<QComboBox>(dialog, "cboAction");
    actions.setCurrentIndex(2);
    Q_EMIT actions.activated(2);
    EXPECT_EQ(Rows(dialog), QStringList());
    EXPECT_FALSE(std::filesystem::exists(main.Backup("文件/新的.txt")));
    // The guard asks before the run goes on.
    WhenDialog([&](QWidget& question) {
      EXPECT_EQ(question.objectName(), "FrmGoOn");
      Click(*Find<QPushButton>(question, "btnGoOn"));
    });
    run.click();
  });
  main.Menu(main.Jobs(), 0, "mnuJobPreview");
  EXPECT_EQ(TreeDifferences(main.Temp.DriveC() / "文件", main.Backup("文件")), "");
}

TEST(FrmPreview, ARestoreIsLookedThroughAndRun) {
  for (const BackupType type : {BackupType::Full, BackupType::Compressed}) {
    MainWindow main;
    SetJobType(main.AddJob(u"文件"), type);
    main.WriteSource("文件/改過.txt", "abc");
    main.WriteSource("文件/不見.txt", "x");
    main.Start();
    ASSERT_EQ(main.Program.RunJobNow(0), RunOutcome::Ran);
    main.WriteSource("文件/改過.txt", "changed");
    std::filesystem::remove(main.Temp.DriveC() / "文件/不見.txt");
    const auto look = [&](QWidget& dialog, QPushButton& run) {
      EXPECT_EQ(dialog.windowTitle(), "預覽「文件」還原內容");
      QStringList rows = Rows(dialog);
      rows.sort();
      EXPECT_EQ(rows,
                (QStringList{"取代 改過.txt 3 位元 一律還原", "還原 不見.txt 1 位元 目標沒有"}));
      EXPECT_EQ(ReadTestFile(main.Temp.DriveC() / "文件/改過.txt"), "changed");
      run.click();
    };
    if (type == BackupType::Full) {
      WhenPlanned(look);
    } else {
      // Which archive is asked once, before.
      WhenDialog([&](QWidget& list) {
        WhenPlanned(look);
        Press(ViewOf(*Find<QWidget>(list, "lstDiscs")), Qt::Key_Return);
      });
    }
    main.Menu(main.Jobs(), 0, "mnuJobResPreview");
    EXPECT_EQ(ReadTestFile(main.Temp.DriveC() / "文件/改過.txt"), "abc");
    EXPECT_EQ(ReadTestFile(main.Temp.DriveC() / "文件/不見.txt"), "x");
  }
}

TEST(FrmGoOn, StopsTheRunWhenNobodyAnswersUnlessTheQuestionWasSeen) {
  const RunQuestion question{u"同步刪除防護", u"照片", u"來源資料夾是空的"};
  for (const bool seen : {false, true}) {
    FrmGoOn dialog(question, nullptr);
    ShowAndWait(dialog);
    if (seen) Press(dialog, Qt::Key_Shift);
    for (int second = 0; second < 59; ++second) dialog.timDelay_Timer();
    EXPECT_TRUE(dialog.isVisible());
    auto& stop = *Find<QPushButton>(dialog, "btnStop");
    EXPECT_EQ(stop.text(), seen ? "中斷備份(&N)" : "中斷備份 (1)(&N)");
    if (seen) {
      stop.click();
    } else {
      dialog.timDelay_Timer();
    }
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
  }
}

}  // namespace
}  // namespace kavrel
