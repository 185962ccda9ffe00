#include "ui/frm_set.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTest>

#include "base/text.h"
#include "support/spoken.h"
#include "support/test_program.h"
#include "support/variable.h"
#include "ui/window_driver.h"

namespace kavrel {
namespace {

class JobEditorTest : public testing::Test {
 protected:
  JobEditorTest() {
    WriteTestFile(Program.Source() / "a.txt", "a");
    Program.AddJob().Name = u"Photos";
    Program.AddJob(BackupType::Synchronise).Name = u"文件";
    SetInterval(Program.Program.Store.Jobs[1], IntervalKind::Weeks, 2);
  }

  /// Saves the store and opens the editor on it, modeless.
  FrmSet& Open() {
    Program.Program.Store.SaveJobs();
    set_ = std::make_unique<FrmSet>(Program.Program, nullptr);
    ShowAndWait(*set_);
    return *set_;
  }

  template <class T>
  T& Get(const char* name) {
    T* found = Find<T>(*set_, name);
    if (found == nullptr) qFatal("no %s", name);
    return *found;
  }
  QPushButton& Button(const char* name) { return Get<QPushButton>(name); }
  void Enter(const char* name, const QString& text) {
    auto& box = Get<QLineEdit>(name);
    box.selectAll();
    Type(box, text);
  }
  void Choose(const char* name, int index) {
    auto& box = Get<QComboBox>(name);
    box.setCurrentIndex(index);
    Q_EMIT box.activated(index);
  }
  int Tab() { return Find<QTabWidget>(*set_)->currentIndex() + 1; }
  void SetNumber(const char* name, int value) { Get<QSpinBox>(name).setValue(value); }
  void SelectRow(int row) {
    QWidget& list = Get<QWidget>("lstJobs");
    Click(*ViewOf(list).viewport(), CellCentre(list, row));
  }
  int SelectedRow() { return ViewOf(Get<QWidget>("lstJobs")).currentIndex().row(); }
  int Rows() { return ViewOf(Get<QWidget>("lstJobs")).model()->rowCount(); }
  QString ApplyMessage() {
    return MessageOf([this] { Button("btnSaveJob").click(); });
  }
  std::string StoreFile() { return ReadTestFile(Program.Temp.Home() / "Backup.rtm"); }
  std::vector<BackupJob>& Jobs() { return Program.Program.Store.Jobs; }

  TestProgram Program;
  EnvironmentVariable Home{"HOME", (Program.Temp.Root() / "user").string()};
  EnvironmentVariable Config{"XDG_CONFIG_HOME", (Program.Temp.Root() / "config").string()};
  std::unique_ptr<FrmSet> set_;
};

TEST_F(JobEditorTest, ANewJobIsStoredWithWhatWasEnteredAndReachesTheFileBySaving) {
  Open();
  const std::string before = StoreFile();
  EXPECT_FALSE(Button("btnEdit").isEnabled());
  Button("btnNew").click();
  EXPECT_EQ(Tab(), 2);
  EXPECT_FALSE(Button("btnSaveJob").isEnabled());
  EXPECT_TRUE(Button("btnSaveJob").isVisible() && !Button("btnSave").isVisible());
  EXPECT_EQ(Get<QLineEdit>("txtDesc").text(), "新的備份排程");
  EXPECT_EQ(Get<QComboBox>("cboBackupType").currentIndex(), 1);

  Enter("txtDesc", " 每日備份 ");
  EXPECT_TRUE(Button("btnSaveJob").isEnabled());
  Enter("txtSrc", "C:\\src");
  Enter("txtDest", "D:\\Backup \\ 2009 \\ ");
  Choose("cboBackupType", 0);
  Enter("txtDesc", "每日備份");
  Choose("cboFF", 1);
  Get<QCheckBox>("chkFileSize").click();
  Get<QLineEdit>("txtFileSize").selectAll();
  QTest::keyClicks(&Get<QLineEdit>("txtFileSize"), "1a2.-5");
  Get<QCheckBox>("chkEnabled").click();
  Choose("ComTime", 2);
  Choose("cboDays", 1);
  Get<QCheckBox>("chkDOW7").click();
  Button("btnSaveJob").click();

  ASSERT_EQ(Jobs().size(), 3u);
  const BackupJob& job = Jobs()[2];
  EXPECT_EQ(job.JobIndex, 2);
  EXPECT_EQ(job.Name, u"每日備份");
  EXPECT_EQ(job.Source.Path, u"C:\\src\\");
  EXPECT_EQ(job.Destination.Path, u"D:\\Backup\\2009\\");
  EXPECT_EQ(job.FileTypes, Program.Program.Filters.Entries[1].Patterns);
  EXPECT_EQ(job.MaxFileSizeKB, 125);
  EXPECT_EQ(job.EveryDays, 1);
  EXPECT_EQ(job.EveryMinutes, 0);
  EXPECT_EQ(job.Password, kDefaultPassword);
  EXPECT_EQ(JobType(job), BackupType::Full);
  EXPECT_TRUE(job.Enabled);
  EXPECT_EQ(job.NextRun, *FromCivil(2009, 9, 23, 15, 10, 0));

  EXPECT_EQ(Tab(), 1);
  EXPECT_EQ(SelectedRow(), 2);
  EXPECT_EQ(Jobs()[2].JobNumber, 2);
  EXPECT_EQ(PlainCaption(Button("btnSave").text()), "儲 存 變 更");
  EXPECT_TRUE(Button("btnCancel").isEnabled());
  EXPECT_EQ(StoreFile(), before);
  Button("btnSave").click();
  EXPECT_FALSE(set_->isVisible());
  EXPECT_NE(StoreFile(), before);
}

TEST_F(JobEditorTest, EveryRefusedApplySaysWhyAndKeepsWhatWasTyped) {
  Open();
  SelectRow(0);
  Button("btnEdit").click();
  const BackupJob before = Jobs()[0];
  Enter("txtDest", "D:\\elsewhere");
  // The hidden lists hold counts; of the chosen kind a usual one is proposed, until that is 0.
  Choose("ComTime", 1);
  EXPECT_EQ(Get<QComboBox>("cboHours").currentIndex(), 1);
  Choose("cboHours", 0);
  EXPECT_EQ(ApplyMessage(), "請選擇一個您所要備份的時間！");
  EXPECT_EQ(Tab(), 3);
  EXPECT_EQ(set_->focusWidget(), &Get<QComboBox>("cboHours"));

  Choose("ComTime", 3);
  Choose("cboWeeks", 1);
  Find<QDateTimeEdit>(Get<QWidget>("picDate"))->setDate(QDate(2009, 9, 26));
  Get<QCheckBox>("chkDOW7").click();
  EXPECT_EQ(ApplyMessage(), "您的指定的 星期六 時間並無法讓備份排程正常進行！");
  Choose("ComTime", 2);
  Choose("cboDays", 7);
  EXPECT_EQ(ApplyMessage(), "您的指定的 星期六 時間並無法讓備份排程正常進行！");
  Choose("cboDays", 1);
  for (int day = 1; day < 7; ++day) {
    Get<QCheckBox>(qPrintable(QStringLiteral("chkDOW%1").arg(day))).click();
  }
  EXPECT_EQ(ApplyMessage(), "您所指定的星期無法辨識，備份排程將會無法正常進行！");
  Get<QCheckBox>("chkDOW1").click();

  Enter("txtDesc", "  ");
  Button("btnSaveJob").click();  // no message belongs to it
  EXPECT_EQ(Tab(), 2);
  EXPECT_EQ(set_->focusWidget(), &Get<QLineEdit>("txtDesc"));
  Enter("txtDesc", "文件");
  EXPECT_EQ(ApplyMessage(), "備份排程名稱重複，請另外指定一個新的備份排程名稱。");
  Enter("txtDesc", "photos");
  Enter("txtSrc", "C:\\nowhere");
  EXPECT_EQ(ApplyMessage(), "來源資料夾無法偵測到它的存在，請重新指定資源資料夾。");
  EXPECT_EQ(set_->focusWidget(), &Get<QLineEdit>("txtSrc"));
  Enter("txtSrc", "C:\\src");
  Enter("txtDest", " ");
  EXPECT_EQ(ApplyMessage(), "請先指定要備份的目標資料夾。");

  EXPECT_EQ(Jobs()[0].Name, before.Name);
  EXPECT_EQ(Jobs()[0].Destination.Path, before.Destination.Path);
  EXPECT_EQ(Jobs()[0].NextRun, before.NextRun);
  EXPECT_EQ(Get<QLineEdit>("txtDesc").text(), "photos");
  EXPECT_FALSE(Button("btnSave").isVisible());
  // An enabled job that starts on a refused day moves on to the next one allowed, a Sunday.
  Enter("txtDest", "D:\\x");
  Get<QCheckBox>("chkEnabled").click();
  Button("btnSaveJob").click();
  EXPECT_EQ(ToCivil(Jobs()[0].NextRun).Day, 27);
}

TEST_F(JobEditorTest, ShowsAStoredJobAndFollowsItsTypeAndSwitches) {
  Jobs()[1].FileTypes = u"*.ABC;*.def";
  Jobs()[1].UseRecycleBin = true;
  Jobs()[1].EveryMinutes = 99;  // more than its list offers
  Jobs()[0].FileTypes = ToLower(Program.Program.Filters.Entries[2].Patterns);
  Jobs()[0].UsePassword = true;
  Jobs()[0].Password = u"密碼";
  Open();
  SelectRow(1);
  Press(*ViewOf(Get<QWidget>("lstJobs")).viewport(), Qt::Key_Return);
  EXPECT_EQ(Tab(), 2);
  EXPECT_EQ(Get<QComboBox>("cboFF").currentText(), "*.ABC;*.def");
  EXPECT_TRUE(Get<QCheckBox>("chkRecycle").isEnabled() && Get<QCheckBox>("chkRecycle").isChecked());
  EXPECT_EQ(Get<QComboBox>("ComTime").currentIndex(), 3);
  EXPECT_EQ(Get<QComboBox>("cboWeeks").currentText(), "2");
  EXPECT_EQ(Get<QComboBox>("cboMins").currentText(), "0");
  EXPECT_FALSE(Get<QLineEdit>("txtFileSize").isEnabled());
  EXPECT_EQ(Get<QLineEdit>("txtZipPassWord").text(), "");
  EXPECT_FALSE(Get<QCheckBox>("chkRecovery").isEnabled());
  Choose("cboBackupType", 3);
  EXPECT_FALSE(Get<QCheckBox>("chkRecycle").isEnabled());
  EXPECT_FALSE(Get<QSpinBox>("numRecovery").isEnabled());
  Get<QCheckBox>("chkRecovery").click();
  EXPECT_EQ(Get<QSpinBox>("numRecovery").value(), 5);
  SetNumber("numRecovery", 8);
  Get<QCheckBox>("chkZipPassWord").click();
  EXPECT_TRUE(Get<QLineEdit>("txtZipPassWord").isEnabled());
  Enter("txtZipPassWord", "s3");
  Button("btnSaveJob").click();
  EXPECT_EQ(Jobs()[1].FileTypes, u"*.ABC;*.def");
  EXPECT_EQ(Jobs()[1].Password, u"s3");
  EXPECT_EQ(Jobs()[1].Extras.RecoveryPercent, 8);
  EXPECT_FALSE(Jobs()[1].UseRecycleBin);

  SelectRow(0);
  Button("btnEdit").click();
  EXPECT_EQ(Get<QComboBox>("cboFF").currentIndex(), 2);
  EXPECT_EQ(Get<QLineEdit>("txtZipPassWord").text(), "密碼");
  Get<QCheckBox>("chkZipPassWord").click();
  Button("btnSaveJob").click();
  EXPECT_EQ(Jobs()[0].Password, u"40718");
  EXPECT_EQ(Jobs()[0].Extras.RecoveryPercent, 0);
}

TEST_F(JobEditorTest, RemovingAsksAndSelectsWhatTakesThePlace) {
  Open();
  const std::string before = StoreFile();
  SelectRow(1);
  EXPECT_EQ(MessageOf([&] { Button("btnDel").click(); }, "否"), "您確定要移除【文件】嗎？");
  EXPECT_EQ(Rows(), 2);
  MessageOf([&] { Press(*ViewOf(Get<QWidget>("lstJobs")).viewport(), Qt::Key_Delete); }, "是");
  EXPECT_EQ(Rows(), 1);
  EXPECT_EQ(SelectedRow(), 0);
  EXPECT_TRUE(Jobs()[1].Deleted && Jobs()[1].Name.empty() && Jobs()[1].EveryWeeks == 0);
  EXPECT_EQ(Jobs().size(), 2u);
  MessageOf([&] { Button("btnDel").click(); }, "是");
  EXPECT_EQ(Rows(), 0);
  EXPECT_FALSE(Button("btnEdit").isEnabled() || Button("btnDel").isEnabled());
  EXPECT_EQ(StoreFile(), before);
  Button("btnCancel").click();
  EXPECT_FALSE(set_->isVisible());
  EXPECT_EQ(StoreFile(), before);
  EXPECT_EQ(Jobs().size(), 2u);
  EXPECT_FALSE(Jobs()[0].Deleted);
}

TEST_F(JobEditorTest, EscapeLeavesPageAndWindowAndNeverDropsWhatWasEnteredUnasked) {
  Open();
  SelectRow(0);
  Button("btnEdit").click();
  Press(*set_, Qt::Key_Escape);
  EXPECT_EQ(Tab(), 1);
  EXPECT_TRUE(set_->isVisible());

  Button("btnEdit").click();
  Enter("txtDesc", "相片");
  EXPECT_NE(MessageOf([&] { set_->close(); }, "否"), "");
  EXPECT_EQ(Tab(), 2);
  EXPECT_EQ(Get<QLineEdit>("txtDesc").text(), "相片");
  Press(Get<QLineEdit>("txtDesc"), Qt::Key_Return);  // applies
  EXPECT_EQ(Jobs()[0].Name, u"相片");

  MessageOf([&] { Press(*set_, Qt::Key_Escape); }, "取消");
  EXPECT_TRUE(set_->isVisible());
  MessageOf([&] { Press(*set_, Qt::Key_Escape); }, "是");
  EXPECT_FALSE(set_->isVisible());
  Program.Program.Store.LoadJobs();
  EXPECT_EQ(Jobs()[0].Name, u"相片");
}

TEST_F(JobEditorTest, AStoreThatCannotBeWrittenKeepsTheEditorOpen) {
  Open();
  SelectRow(0);
  Button("btnDuplicate").click();
  Button("btnSaveJob").click();
  std::filesystem::remove(Program.Temp.Home() / "Backup.rtm");
  std::filesystem::create_directories(Program.Temp.Home() / "Backup.rtm/in the way");
  EXPECT_TRUE(MessageOf([&] { Button("btnSave").click(); }).startsWith("備份排程無法儲存"));
  EXPECT_TRUE(set_->isVisible());
  EXPECT_EQ(Rows(), 3);
}

TEST_F(JobEditorTest, ADuplicateIsANewJobUnderANameOfItsOwn) {
  Jobs()[0].LastRun = Program.Clock.Now();
  Open();
  SelectRow(0);
  Button("btnDuplicate").click();
  EXPECT_EQ(Get<QLineEdit>("txtDesc").text(), "Photos - 複本");
  Button("btnSaveJob").click();
  SelectRow(0);
  Button("btnDuplicate").click();
  Button("btnSaveJob").click();
  ASSERT_EQ(Jobs().size(), 4u);
  EXPECT_EQ(Jobs()[3].Name, u"Photos - 複本 2");
  EXPECT_EQ(Jobs()[3].Source.Path, Jobs()[0].Source.Path);
  EXPECT_EQ(Jobs()[2].LastRun, kZeroDate);
}

TEST_F(JobEditorTest, PresetsFillNameAndSourceAndTellWhatIsNotThere) {
  Open();
  Button("btnNew").click();
  EXPECT_EQ(MessageOf([&] { Choose("ComJobType", 9); }),
            "來源資料夾無法偵測到它的存在，請重新指定！");
  EXPECT_EQ(Get<QLineEdit>("txtDesc").text(), "備份新酷音輸入法設定");
  Enter("txtDest", "D:\\mine");

  WriteTestFile(Program.Temp.Root() / "user/文 件/a", "a");
  WriteTestFile(Program.Temp.Root() / "config/user-dirs.dirs",
                "# comment\nXDG_DOCUMENTS_DIR=\"$HOME/文 件\"\n");
  Choose("cboFF", 3);
  Choose("ComJobType", 1);
  const QString user = QString::fromStdString((Program.Temp.Root() / "user").string());
  EXPECT_EQ(Get<QLineEdit>("txtDesc").text(), "我的文件夾");
  EXPECT_EQ(Get<QLineEdit>("txtSrc").text(), user + "/文 件/");
  EXPECT_EQ(Get<QLineEdit>("txtDest").text(), user + "/Backup/");
  Button("btnSaveJob").click();
  EXPECT_EQ(Jobs().back().FileTypes, u"*.*");
}

TEST_F(JobEditorTest, APresetAsksBeforeItTakesThePlaceOfWhatWasEntered) {
  WriteTestFile(Program.Temp.Root() / "user/Documents/a", "a");
  Open();
  SelectRow(0);
  Button("btnEdit").click();
  const QString source = Get<QLineEdit>("txtSrc").text();
  EXPECT_TRUE(MessageOf([&] { Choose("ComJobType", 1); }, "否").contains("會取代目前的排程名稱"));
  EXPECT_EQ(Get<QLineEdit>("txtDesc").text(), "Photos");
  EXPECT_EQ(Get<QLineEdit>("txtSrc").text(), source);
  EXPECT_EQ(Get<QComboBox>("ComJobType").currentIndex(), -1);
  EXPECT_FALSE(Button("btnSaveJob").isEnabled());
  MessageOf([&] { Choose("ComJobType", 1); }, "是");
  EXPECT_EQ(Get<QLineEdit>("txtDesc").text(), "我的文件夾");
}

TEST_F(JobEditorTest, NamesThatTheProgramGivesAreKeptAsInEveryLanguageUnlessOneIsTyped) {
  WriteTestFile(Program.Temp.Root() / "user/Documents/a", "a");
  const Spoken english("en");
  Open();
  Button("btnNew").click();
  EXPECT_EQ(Get<QLineEdit>("txtDesc").text(), "New backup job");
  Choose("ComJobType", 1);
  EXPECT_EQ(Get<QLineEdit>("txtDesc").text(), "My documents");
  Choose("cboFF", 1);
  EXPECT_EQ(Get<QComboBox>("cboFF").currentText(), "Documents");
  Button("btnSaveJob").click();
  ASSERT_EQ(Jobs().size(), 3u);
  EXPECT_EQ(Jobs()[2].Name, u"我的文件夾");
  EXPECT_TRUE(Jobs()[2].FileTypes.starts_with(u"*.txt;"));
  const auto row = [&] {
    return ViewOf(Get<QWidget>("lstJobs")).model()->index(2, 0).data().toString();
  };
  EXPECT_EQ(row(), "My documents");
  SelectRow(2);
  Button("btnEdit").click();
  EXPECT_EQ(Get<QLineEdit>("txtDesc").text(), "My documents");
  Enter("txtDest", "D:\\elsewhere");
  Button("btnSaveJob").click();
  EXPECT_EQ(Jobs()[2].Name, u"我的文件夾");
  EXPECT_EQ(Jobs()[2].Destination.Path, u"D:\\elsewhere\\");
  Button("btnEdit").click();
  Enter("txtDesc", "Papers");
  Button("btnSaveJob").click();
  EXPECT_EQ(Jobs()[2].Name, u"Papers");
  EXPECT_EQ(row(), "Papers");
}

TEST_F(JobEditorTest, AnIntervalOfTwoUnitsStaysUnlessAnotherIsChosen) {
  Jobs()[0].EveryDays = 1;
  Jobs()[0].EveryHours = 12;
  Jobs()[0].EveryMinutes = 0;
  Open();
  SelectRow(0);
  Button("btnEdit").click();
  EXPECT_TRUE(Get<QLabel>("lblInterval").text().contains("每 12 個小時1 天備份一次"));
  EXPECT_EQ(Get<QLabel>("lblDue").text().count("、"), 2) << "the preview counts with it";
  Enter("txtDesc", "36");
  Button("btnSaveJob").click();
  EXPECT_EQ(IntervalText(Jobs()[0]), u"每 12 個小時1 天備份一次");
  Button("btnEdit").click();
  Choose("ComTime", 2);
  EXPECT_TRUE(Get<QLabel>("lblInterval").isHidden());
  Button("btnSaveJob").click();
  EXPECT_EQ(IntervalText(Jobs()[0]), u"每 1 天備份一次");
}

TEST_F(JobEditorTest, APasswordIsShownOnlyWhileThatIsWanted) {
  Jobs()[0].UsePassword = true;
  Jobs()[0].Password = u"密碼";
  Open();
  SelectRow(0);
  Button("btnEdit").click();
  const auto shown = [&] { return Get<QLineEdit>("txtZipPassWord").displayText() == "密碼"; };
  EXPECT_FALSE(shown());
  Get<QCheckBox>("chkShowPassWord").click();
  EXPECT_TRUE(shown());
  Button("btnCancelJob").click();
  Button("btnEdit").click();
  EXPECT_FALSE(shown());
}

TEST_F(JobEditorTest, ThePreviewFollowsWhatIsTyped) {
  Open();
  SelectRow(0);
  Button("btnEdit").click();
  Enter("txtDest", "C:\\src\\<yyyy>\\");
  EXPECT_TRUE(WaitUntil([&] { return Get<QLineEdit>("txtNext").text() == "C:\\src\\2009\\"; }));
  EXPECT_TRUE(Get<QLabel>("lblWarnings").text().contains("目標資料夾位於來源資料夾之內"));
  EXPECT_TRUE(Get<QLabel>("lblWarnings").accessibleName().contains("目標資料夾位於"));
  EXPECT_EQ(
      Get<QLabel>("lblDue").text(),
      "2009/9/23 下午 03:10:00、2009/9/23 下午 03:20:00、2009/9/23 下午 03:30:00（排程未啟動）");
  Enter("txtDest", "D:\\dst");
  EXPECT_TRUE(WaitUntil([&] { return !Get<QLabel>("lblWarnings").text().contains("之內"); }));
}

TEST_F(JobEditorTest, EveryControlHasANameForScreenReaders) {
  Open();
  for (int page = 0; page < 3; ++page) {
    QWidget* tab = Find<QTabWidget>(*set_)->widget(page);
    for (auto* control : tab->findChildren<QWidget*>()) {
      if ((control->focusPolicy() & Qt::TabFocus) == 0 || control->focusProxy() != nullptr)
        continue;
      if (control->parentWidget()->focusProxy() == control || control->inherits("QLabel")) continue;
      const auto* button = qobject_cast<QAbstractButton*>(control);
      const QString name = button ? button->text() : control->accessibleName();
      const bool part = qobject_cast<QComboBox*>(control->parentWidget()) != nullptr ||
                        qobject_cast<QAbstractItemView*>(control->parentWidget()) != nullptr ||
                        control->inherits("QCalendarWidget") || control->window() != set_.get() ||
                        control->parentWidget()->inherits("QAbstractSpinBox");
      EXPECT_TRUE(part || !name.isEmpty())
          << control->metaObject()->className() << " " << control->objectName().toStdString();
    }
  }
}

TEST_F(JobEditorTest, TheSafetyPageKeepsItsSettingsAndWhatRunsRemember) {
  Program.Program.Store.Jobs[1].Extras.MirroredTo = u"D:\\dst\\";
  Program.Program.Store.Jobs[1].Extras.GuardPercent = 30;
  Open();
  SelectRow(1);
  Button("btnEdit").click();
  EXPECT_EQ(Get<QSpinBox>("numGuardPercent").value(), 30);
  EXPECT_FALSE(Button("btnSaveJob").isEnabled());
  Get<QComboBox>("cboKeep").setCurrentIndex(1);
  SetNumber("numKeep", 7);
  EXPECT_TRUE(Button("btnSaveJob").isEnabled());
  Get<QCheckBox>("chkGuard").click();
  EXPECT_FALSE(Get<QSpinBox>("numGuardFewest").isEnabled());
  Get<QCheckBox>("chkVerify").click();
  Get<QCheckBox>("chkLinks").click();
  Get<QCheckBox>("chkSums").click();
  Get<QCheckBox>("chkChanges").click();
  Get<QCheckBox>("chkUnfinished").click();
  Get<QComboBox>("cboLinkStates").setCurrentIndex(2);
  Button("btnSaveJob").click();
  Button("btnSave").click();
  Program.Program.Store.LoadJobs();
  const JobExtras& extras = Program.Program.Store.Jobs[1].Extras;
  EXPECT_EQ(extras.KeepNewest, 7);
  EXPECT_EQ(extras.GuardPercent, 30);
  EXPECT_FALSE(extras.GuardMirror);
  EXPECT_TRUE(extras.CheckSpace && extras.VerifyAfterRun);
  EXPECT_FALSE(extras.KeepHardLinks || extras.UnfinishedName || extras.KeepSums);
  EXPECT_FALSE(extras.GuardChanges);
  EXPECT_EQ(extras.StateLinks, LinkStates::Hard);
  EXPECT_EQ(extras.MirroredTo, u"D:\\dst\\");
  EXPECT_EQ(Program.Program.Store.Jobs[0].Extras, JobExtras());
}

}  // namespace
}  // namespace kavrel
