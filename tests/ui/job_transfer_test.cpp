#include "ui/job_transfer.h"

#include <gtest/gtest.h>

#include <QFileDialog>
#include <QLineEdit>
#include <QToolButton>

#include "base/text.h"
#include "ui/main_window.h"
#include "ui/qt_text.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class JobTransferTest : public testing::Test {
 protected:
  static constexpr int kExport = 7, kImport = 8;
  MainWindow main_;
  const fs::path folder_ = main_.Temp.Root() / "外部", home_ = main_.Temp.Home();

  void SetUp() override {
    fs::create_directory(folder_);
    main_.AddJob(u"照片");
    main_.Start();
  }
  /// Clicks the button, chooses the path and answers these boxes, which are all that may come.
  void Choose(int button, const fs::path& path, const QList<MainWindow::Reply>& then) {
    main_.Answered = 0;
    WhenDialog([&](QWidget& dialog) {
      auto& chooser = dynamic_cast<QFileDialog&>(dialog);
      main_.Answer(then);
      Find<QLineEdit>(chooser, "fileNameEdit")->setText(QString::fromStdString(path.string()));
      static_cast<QDialog&>(chooser).accept();
    });
    Click(main_.Button(button));
    EXPECT_EQ(main_.Answered, then.size());
    EXPECT_TRUE(Beside().isEmpty()) << Beside().join("|").toStdString();
  }
  /// What the boxes beside the window tell.
  QStringList Beside() {
    QStringList texts;
    for (const QMessageBox* box : main_.Window.findChildren<QMessageBox*>()) {
      if (box->isVisible()) texts += box->text();
    }
    return texts;
  }
  std::string WriteStore(const fs::path& path, const std::u16string& name) {
    BackupJob job = main_.Program.Store.Jobs[0];
    job.Name = name;
    WriteTestFile(path, "\xEF\xBB\xBF" + ToUtf8(FormatJobLine(job)) + "\r\n");
    return ReadTestFile(path);
  }
  QString Job() { return main_.Jobs().ItemText(0, 0); }
};

TEST_F(JobTransferTest, AnExportTakesAllAlongTellsItAndReplacesNothingUnasked) {
  Choose(kExport, folder_,
         {{"已匯出：\n" + QString::fromStdString(folder_ / "Backup.rtm"), "確定"}});
  for (const char* name : {"Backup.rtm", "Exc.txt", "FileType.txt"}) {
    EXPECT_EQ(ReadTestFile(folder_ / name), ReadTestFile(home_ / name)) << name;
    EXPECT_NE(ReadTestFile(folder_ / name), "<missing>") << name;
  }
  WriteTestFile(folder_ / "Exc.txt", "theirs");
  Choose(kExport, folder_, {{"檔案已存在，您要覆蓋它嗎？", "否"}});
  EXPECT_EQ(ReadTestFile(folder_ / "Exc.txt"), "theirs");
  Choose(kExport, folder_, {{"Exc.txt", "是"}, {"已匯出", "確定"}});
  EXPECT_NE(ReadTestFile(folder_ / "Exc.txt"), "theirs");
  main_.Program.Store.Jobs.clear();
  EXPECT_TRUE(MessageOf([&] { Click(main_.Button(kExport)); }).startsWith("沒有任何備份排程"));
}

TEST_F(JobTransferTest, AnImportTellsWhatTheFormerJobsAndRulesBecameInOneBox) {
  const std::string first = ReadTestFile(home_ / "Backup.rtm");
  const std::string second = WriteStore(folder_ / "other.rtm", u"匯入的");
  Choose(kImport, folder_ / "other.rtm", {{"原始檔名已經變更為「old_Backup.rtm」", "確定"}});
  EXPECT_EQ(Job(), "匯入的");
  EXPECT_EQ(ReadTestFile(home_ / "old_Backup.rtm"), first);

  WriteStore(folder_ / "other.rtm", u"又一個");
  WriteTestFile(folder_ / "Exc.txt", "1\tmine\t*\t*\t*.bak\r\n");
  const std::string rules = ReadTestFile(home_ / "Exc.txt");
  Choose(kImport, folder_ / "other.rtm",
         {{"（Exc.txt），要一併載入嗎？", "否"}, {"變更為「other_Backup.rtm」", "確定"}});
  EXPECT_EQ(Job(), "又一個");
  EXPECT_EQ(ReadTestFile(home_ / "other_Backup.rtm"), second);
  EXPECT_EQ(ReadTestFile(home_ / "Exc.txt"), rules);
  Choose(kImport, folder_ / "other.rtm",
         {{"要一併載入嗎？", "是"}, {"一併載入：Exc.txt\n原來的另存為：other_Exc.txt", "確定"}});
  EXPECT_NE(ReadTestFile(home_ / "Exc.txt"), rules);
  EXPECT_EQ(ReadTestFile(home_ / "other_Exc.txt"), rules);
  EXPECT_EQ(main_.Program.Exclusions.Rules().size(), 1u) << "they count at once";
}

TEST_F(JobTransferTest, WhatIsNoStoreIsRefusedBeforeAnythingMoves) {
  const std::string before = ReadTestFile(home_ / "Backup.rtm");
  std::string table;
  for (int line = 0; line < 3; ++line) {
    for (int column = 0; column < 20; ++column) table += "cell\t";
    table += "\r\n";
  }
  for (const std::string& content : {std::string(), std::string("a letter\n"), table,
                                     std::string("\x7F"
                                                 "ELF\0\1",
                                                 6)}) {
    WriteTestFile(folder_ / "no.rtm", content);
    Choose(kImport, folder_ / "no.rtm", {{"其中沒有任何備份排程。\n目前的設定沒有變更。", "確定"}});
    EXPECT_EQ(Job(), "照片");
    EXPECT_EQ(ReadTestFile(home_ / "Backup.rtm"), before);
    EXPECT_FALSE(fs::exists(home_ / "old_Backup.rtm"));
  }
  EXPECT_TRUE(main_.Program.Schedule.TimerOn());
}

TEST_F(JobTransferTest, WhatOthersChangedIsToldInOneBox) {
  main_.Window.OtherVersionKept(u"/a", u"/other_a");
  main_.Window.OtherVersionKept(u"/b", u"/other_b");
  main_.Window.OtherVersionKept(u"/b", u"/other_b");
  ASSERT_EQ(Beside().size(), 1);
  EXPECT_EQ(Beside()[0].count("已被其他程式變更"), 2) << Beside()[0].toStdString();
  for (int i = 0; i < 40; ++i)
    main_.Window.OtherVersionKept(u"/" + std::u16string(1, u'c'),
                                  u"/" + std::u16string(static_cast<std::size_t>(i), u'x'));
  ASSERT_EQ(Beside().size(), 1);
  EXPECT_LE(Beside()[0].count('\n'), 26) << "it fits on a screen";
  EXPECT_TRUE(Beside()[0].endsWith("…"));
}

}  // namespace
}  // namespace kavrel
