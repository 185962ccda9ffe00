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

}  // namespace
}  // namespace kavrel
