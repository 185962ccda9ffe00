#include "ui/every_dialog.h"

#include <QApplication>
#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTableView>
#include <QTreeView>
#include "platform/drives.h"
#include "support/test_program.h"
#include "ui/file_picker.h"
#include "ui/frm_compare.h"
#include "ui/frm_drives.h"
#include "ui/frm_exc.h"
#include "ui/frm_ff_edit.h"
#include "ui/frm_go_on.h"
#include "ui/frm_help.h"
#include "ui/frm_past_due.h"
#include "ui/frm_preview.h"
#include "ui/frm_restore.h"
#include "ui/frm_set.h"
#include "ui/frm_shortcut.h"
#include "ui/frm_versions.h"
#include "ui/frm_zip_list.h"
#include "ui/health_icon.h"
#include "ui/qt_text.h"
#include "ui/sample_text.h"
#include "ui/state_opener.h"
#include "ui/window_driver.h"

namespace kavrel {
namespace {

constexpr const char16_t *kDaily = u"每日文件備份", *kDocuments = u"C:\\Users\\美玲\\文件\\";

using Look = std::function<void(QWidget& window, const QString& name)>;

class Dialogs {
 public:
  explicit Dialogs(const Look& look) : look_(look) {
    Write(program_.Source(), "報表.xls", 1);
    Write(program_.Temp.DriveC(), "Users/美玲/文件/a.txt", 1);
    AddJob(kDaily, kDocuments, u"D:\\備份\\文件\\<yyyy>-<mm>-<dd>\\", BackupType::Differential);
    AddJob(u"家庭相片（同步到外接硬碟）", u"C:\\src\\", u"/media/美玲/BACKUP-DISK/相片/",
           BackupType::Synchronise);
    AddJob(u"公司專案壓縮備份", u"C:\\src\\", u"C:\\src\\backup\\", BackupType::Compressed);
    AddJob(u"Outlook Express 郵件", u"C:\\src\\", u"\\\\nas\\backup\\mail\\", BackupType::Full);
    program_.Program.Store.SaveJobs();
  }

  void ShowAll() {
    ShowJobEditor();
    ShowRules();
    ShowFilters();
    ShowOthers();
    ShowPreview();
    ShowDrives();
    ShowRestore();
    ShowStates();
    ShowMarks();
  }

 private:
  static std::filesystem::path Write(const std::filesystem::path& folder, const std::string& name,
                                     std::size_t size) {
    const std::filesystem::path path = folder / Sample(name);
    WriteTestFile(path, std::string(size, 'x'));
    return path;
  }

  void AddJob(const char16_t* name, const char16_t* source, const char16_t* destination,
              BackupType type) {
    BackupJob& job = program_.AddJob(type);
    job.Name = Sample(name);
    job.Source.Path = Sample(source);
    job.Destination.Path = Sample(destination);
    job.Enabled = job.IncludeSubfolders = true;
    SetInterval(job, IntervalKind::Days, 1);
    job.RefusedDays = 2 + 128;
  }

  void Show(QWidget& window, const QString& name) {
    ShowAndWait(window);
    look_(window, name);
  }

  void ShowJobEditor() {
    FrmSet set(program_.Program, nullptr);
    QWidget& list = *Find<QWidget>(set, "lstJobs");
    ShowAndWait(set);
    Click(*ViewOf(list).viewport(), CellCentre(list, 1));
    Show(set, "frm_set_list");
    Find<QPushButton>(set, "btnEdit")->click();
    Show(set, "frm_set_item");
    Find<QTabWidget>(set)->setCurrentIndex(2);
    Show(set, "frm_set_time");
    Find<QTabWidget>(set)->setCurrentIndex(3);
    Show(set, "frm_set_safety");
    Find<QPushButton>(set, "btnCancelJob")->click();
    Click(*ViewOf(list).viewport(), CellCentre(list, 2));
    Find<QPushButton>(set, "btnDuplicate")->click();
    Find<QCheckBox>(set, "chkZipPassWord")->click();
    Find<QCheckBox>(set, "chkFileSize")->click();
    Show(set, "frm_set_warnings");
  }

  void ShowRules() {
    frmExc exc(program_.Program, nullptr, [] { return std::unique_ptr<NetEnum>(); });
    Show(exc, "frm_exc");
    Find<QPushButton>(exc, "btnEdit")->click();
    Find<QRadioButton>(exc, "optFile2")->click();
    Find<QLineEdit>(exc, "txtFile2")->setText("*.tmp");
    Show(exc, "frm_exc_panel");
  }

  void ShowFilters() {
    frmFFEdit edit(program_.Program, nullptr);
    Show(edit, "frm_ff_edit");
    Find<QPushButton>(edit, "btnEditFF")->click();
    Find<QLineEdit>(edit, "txtExt")->setText("*.odt;*.ods");
    Show(edit, "frm_ff_edit_frame");
  }

  void ShowOthers() {
    frmShortcut shortcut(program_.Program, nullptr);
    ShowAndWait(shortcut);
    QWidget& jobs = *Find<QWidget>(shortcut, "lstJobs");
    Click(*ViewOf(jobs).viewport(), CheckBoxCentre(jobs, 0));
    Find<QLabel>(shortcut, "lblState")
        ->setText(TrText(u"捷徑已建立：") +
                  ToQString(Sample(u"/home/anna/桌面/資料備份排程捷徑.desktop")));
    Show(shortcut, "frm_shortcut");

    frmHelp help(nullptr, &program_.Clock);
    Find<QLineEdit>(help, "txtSel")->setText("<yyyy>-<mm>-<dd>");
    Show(help, "frm_help");

    frmZipList zip(nullptr);
    for (int day = 23; day > 18; --day) {
      const QString name = QStringLiteral("2009年09月%1日15時.7z").arg(day);
      zip.AddDisc({Sample(name.toStdU16String()),
                   {1253689200 - (23 - day) * 86400, 0},
                   static_cast<std::uint64_t>(day) * 7654321});
    }
    ShowAndWait(zip);
    QWidget& list = *Find<QWidget>(zip, "lstDiscs");
    Click(*ViewOf(list).viewport(), CellCentre(list, 0));
    Show(zip, "frm_zip_list");

    FrmGoOn go_on({u"同步刪除防護", Sample(u"家庭相片（同步到外接硬碟）"),
                   u"來源磁碟沒有掛載：" + Sample(u"/media/美玲/相片") +
                       u"，將移除 12,480 個檔案，保留 0 個"},
                  nullptr);
    Show(go_on, "frm_go_on");

    PastDueQuestion question;
    question.Action = u"立刻備份";
    question.SetJob(program_.Program.Store.Jobs[0]);
    question.Load();
    FrmPastDue past_due(question, nullptr);
    for (int second = 0; second < 5; ++second) past_due.timDelay_Timer();
    Show(past_due, "frm_past_due");
  }

  void ShowPreview() {
    const auto write = [](const std::filesystem::path& folder, int number, std::size_t size) {
      Write(folder, "2009 旅行/相片 " + std::to_string(number) + ".jpg", size);
    };
    for (int i = 101; i < 125; ++i) {
      const auto size = static_cast<std::size_t>(i * 21101 % 3000000);
      if (i % 6 != 1) write(program_.Source(), i, size);
      if (i % 6 < 3) write(program_.Dest(), i, size - 1000);
    }
    Write(program_.Source(), "影片.mp4", 5000000);
    BackupJob& job = program_.Program.Store.Jobs[1];
    job.Destination.Path = u"D:\\dst\\";
    job.UseRecycleBin = job.LimitFileSize = true;
    job.MaxFileSizeKB = 4096;
    FrmPreview preview(program_.Program, 1, nullptr);
    ShowAndWait(preview);
    WaitUntil([&] { return Find<QPushButton>(preview, "cmdRun")->isEnabled(); });
    Find<QTableView>(preview)->sortByColumn(1, Qt::AscendingOrder);
    Show(preview, "frm_preview");
  }

  void ShowDrives() {
    TestProgram brought;
    const char16_t* jobs[][3] = {
        {u"每日文件備份", u"E:\\Users\\美玲\\文件\\", u"F:\\備份\\"},
        {u"家庭相片", u"E:\\Users\\美玲\\相片\\", u"\\\\nas\\backup\\相片\\"}};
    for (const auto& job : jobs) {
      BackupJob& made = brought.AddJob();
      made.Name = Sample(job[0]);
      made.Source.Path = Sample(job[1]);
      made.Destination.Path = Sample(job[2]);
    }
    for (const char16_t* drive : {u"C:", u"D:"}) UnmapDrive(brought.Program.Files, drive);
    MapDrive(brought.Program.Files, u"E:", u"/media/anna/Windows");
    frmDrives drives(brought.Program, nullptr, {});
    Show(drives, "frm_drives");
  }

  void ShowRestore() {
    const std::filesystem::path backup = program_.Temp.DriveD() / "backup";
    for (const char* name :
         {"信件/2025/家書.odt", "信件/2025/邀請函.odt", "信件/2026/租約.pdf", "照片/旅行/日出.jpg",
          "照片/旅行/海邊.jpg", "照片/生日.jpg", "家計簿.ods", "通訊錄.ods"}) {
      SetWritten(Write(backup, name, 9000 + std::string(name).size() * 7654), {1253689200, 0});
    }
    for (const char* folder : {"信件/2025", "信件/2026", "信件", "照片/旅行", "照片"}) {
      SetWritten(backup / Sample(folder), {1253689200, 0});
    }
    const auto browser = BrowseFolder(program_.Temp.Files(), u"D:\\backup\\");
    FrmRestore restore({Sample(kDaily), Sample(kDocuments), *browser}, DesktopFilePicker(),
                       nullptr);
    auto& view = *Find<QTreeView>(restore, "tvwFiles");
    view.expandAll();
    const auto check = [&](const QModelIndex& index) {
      view.model()->setData(index, Qt::Checked, Qt::CheckStateRole);
    };
    check(view.model()->index(0, 0, view.model()->index(0, 0)));
    check(view.model()->index(3, 0));
    Show(restore, "restore");
    Find<QLineEdit>(restore, "txtFind")->setText(ToQString(Sample(u"海")));
    Find<QRadioButton>(restore, "optOther")->click();
    WaitUntil([&] { return view.model()->rowCount() > 0; });
    Show(restore, "restore-search");
    ShowRestoreOfDays(*browser);
  }

  void ShowRestoreOfDays(const BackupBrowser& browser) {
    RestoreStates states;
    for (int day = 24; day > 16; --day) {
      JobState& state = states.List.emplace_back();
      state.Unit = u"D:\\backup\\";
      state.Date = *FromCivil(2009, 9, day, 18, 30, day);
      state.Health = day == 24 ? StateHealth::Unfinished : StateHealth::Whole;
      if (day == 24) continue;
      state.Figures = {8123, 34567890123, 12, 4567890, day == 21 ? 3U : 0U};
      if (day == 21) state.Health = StateHealth::Failures;
      if (day == 20) state.Verified = {state.Unit, *FromCivil(2009, 9, 22, 9), 0};
    }
    for (const JobState& state : states.List) {
      const int day = ToCivil(state.Date).Day;
      states.Notes.push_back(
          {day % 3 == 0
               ? TrText(u"移除：%1").arg(ShownText(u"那段時間保留的是 2009/9/24 下午 06:30:24"))
               : ShownText(u"最新的備份"),
           day % 3 == 0});
      states.Growth.Taken.push_back(static_cast<std::uint64_t>(day) * 1234567890);
    }
    states.List[5].Pinned = true;
    states.Growth.RunsLeft = 40;
    states.Chosen = 1;
    states.Versions = [](QWidget&, const std::u16string&) { return std::optional<RestoreWish>(); };
    FrmRestore restore({Sample(kDaily), Sample(kDocuments), browser}, DesktopFilePicker(), nullptr,
                       nullptr, std::move(states));
    Find<QTreeView>(restore, "tvwFiles")->expandAll();
    Show(restore, "restore-states");
  }

  /// The versions of a file, and what is different between two states.
  void ShowStates() {
    TestProgram days;
    BackupJob& job = days.AddJob(BackupType::Differential);
    job.Name = Sample(kDaily);
    job.Destination.Path = u"D:\\backup\\<yyyy>-<mm>-<dd>\\";
    const auto write = [&](const std::string& name, std::size_t size, int day) {
      SetWritten(Write(days.Source(), name, size), {1253689200 + day * 86400, 0});
    };
    write("信件/2026/租約.odt", 18500, -30);
    write("照片/旅行/海邊.jpg", 2345678, -90);
    for (int day = 16; day < 24; ++day) {
      if (day == 18 || day == 21) write("信件/2026/租約.odt", 18000 + 777 * day, day - 23);
      write("日記/" + std::to_string(day) + ".txt", 512 * day, day - 23);
      if (day == 23) {
        write("家計簿.ods", 40960, 0);
        std::filesystem::create_directories(days.Source() / Sample("照片/2026 旅行"));
        std::filesystem::rename(days.Source() / Sample("照片/旅行/海邊.jpg"),
                                days.Source() / Sample("照片/2026 旅行/海邊.jpg"));
        std::filesystem::remove(days.Source() / Sample("日記/16.txt"));
        write("日記/17.txt", 9999, 0);
      }
      days.Clock.Set(*FromCivil(2009, 9, day, 18, 30));
      days.Program.RunJobNow(0);
    }
    StateOpener opener(days.Program);
    FrmVersions versions(days.Program, {{0, Sample(u"信件/2026/租約.odt")}}, opener, nullptr);
    ShowRead(versions, "frm_versions");
    FrmCompare compare(days.Program, job.Name, ListStates(days.Program.Context, job), 1, 0,
                       nullptr);
    ShowRead(compare, "frm_compare");
  }

  /// With what the dialog reads once it is shown.
  void ShowRead(QWidget& dialog, const QString& name) {
    ShowAndWait(dialog);
    WaitUntil([&] { return ViewOf(dialog).model()->rowCount() > 0; });
    QApplication::processEvents();
    Show(dialog, name);
  }

  /// The tray's marks, at the sizes of usual panels.
  void ShowMarks() {
    QWidget panel;
    panel.setWindowTitle("tray");
    auto* grid = new QGridLayout(&panel);
    int row = 0;
    for (const Health health : {Health::Unknown, Health::Good, Health::Overdue, Health::Failed}) {
      int column = 0;
      for (const int size : {16, 22, 32, 64}) {
        auto* label = new QLabel;
        label->setPixmap(HealthIcon(health).pixmap(size, size));
        grid->addWidget(label, row, column++);
      }
      ++row;
    }
    Show(panel, "tray-marks");
  }

  const Look& look_;
  TestProgram program_;
};

}  // namespace

void ShowEveryDialog(const Look& look) {
  Dialogs(look).ShowAll();
}

}  // namespace kavrel
