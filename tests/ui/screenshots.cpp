// Draws pictures of the main window for the documents: kavrel_screenshots FOLDER [light|dark]
// [HOME]. The last is a folder that is made for the welcome page's picture, which shows its path.
#include <QApplication>
#include <QDir>
#include <QPainter>
#include <QTest>
#include <QThread>
#include <QToolBar>
#include <QToolButton>
#include <chrono>
#include <iostream>

#include "app/drives.h"
#include "app/spoken_language.h"
#include "support/variable.h"
#include "ui/caption_strip.h"
#include "ui/language.h"
#include "ui/main_window.h"
#include "ui/qt_text.h"
#include "ui/sample_text.h"

namespace kavrel {
namespace {

/// Stands at one moment, while its ticks fly: what is copied in a second took a minute.
class PictureClock final : public Clock {
 public:
  DateTime Now() override { return *FromCivil(2026, 11, 24, 14, 30, 12); }
  std::uint64_t TickCount() override {
    constexpr int kFaster = 60;
    const auto since = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        kFaster * std::chrono::duration_cast<std::chrono::milliseconds>(since).count());
  }
  void Sleep(std::uint32_t) override {}
};

struct JobLine {
  const char16_t *Name, *Source, *Destination, *FileTypes;
  BackupType Type;
  IntervalKind Interval;
  int Count, RefusedDays, LimitKB;
  bool On, Password, Recycle;
};

constexpr int kSunday = 1 << 1, kSaturday = 1 << 7;
constexpr JobLine kJobs[] = {
    {u"工作文件每日備份", u"C:\\工作文件\\", u"D:\\備份\\工作文件\\", u"*.*",
     BackupType::Differential, IntervalKind::Days, 1, 0, 0, true, false, false},
    {u"家庭相片同步", u"C:\\相片\\", u"D:\\同步\\相片\\", u"*.jpg;*.png;*.heic",
     BackupType::Synchronise, IntervalKind::Hours, 12, 0, 0, true, false, true},
    {u"會計資料加密壓縮", u"C:\\會計\\", u"D:\\封存\\<yyyy>年\\", u"*.*", BackupType::Compressed,
     IntervalKind::Weeks, 1, kSunday | kSaturday, 0, true, true, false},
    {u"專案原始碼", u"C:\\專案\\", u"\\\\nas\\備份\\專案\\", u"*.*", BackupType::Differential,
     IntervalKind::Minutes, 30, kSunday, 10240, true, false, false},
    {u"電子郵件", u"C:\\郵件\\", u"D:\\備份\\郵件\\", u"*.eml;*.mbox", BackupType::Full,
     IntervalKind::Months, 1, 0, 0, false, false, false},
    {u"音樂收藏", u"C:\\音樂\\", u"E:\\音樂\\", u"*.flac;*.mp3", BackupType::Differential,
     IntervalKind::Weeks, 2, kSaturday, 0, false, false, false},
};

struct LogLine {
  const char16_t *Name, *State, *Copied, *Unchanged, *Failed, *Started, *Next;
};
constexpr LogLine kLogs[] = {
    {u"工作文件每日備份", u"備份完成", u"128", u"12,406", u"0", u"2026/11/22 上午 01:00:00",
     u"2026/11/23 上午 01:00:00"},
    {u"家庭相片同步", u"備份完成", u"342", u"8,911", u"0", u"2026/11/22 下午 12:00:00",
     u"2026/11/23 上午 12:00:00"},
    {u"專案原始碼", u"備份完成", u"57", u"3,204", u"2", u"2026/11/23 上午 09:30:00",
     u"2026/11/23 上午 10:00:00"},
    {u"工作文件每日備份", u"備份完成", u"96", u"12,451", u"0", u"2026/11/23 上午 01:00:00",
     u"2026/11/24 上午 01:00:00"},
    {u"會計資料加密壓縮", u"備份完成", u"1,870", u"0", u"0", u"2026/11/23 上午 02:00:00",
     u"2026/11/30 上午 02:00:00"},
    {u"家庭相片同步", u"備份中斷", u"15", u"2,040", u"0", u"2026/11/23 下午 12:00:00",
     u"2026/11/24 上午 12:00:00"},
    {u"電子郵件", u"還原完成", u"4,512", u"0", u"0", u"2026/11/01 上午 03:00:00",
     u"2026/12/01 上午 03:00:00"},
    {u"專案原始碼", u"備份完成", u"21", u"3,240", u"1,024", u"2026/11/24 下午 02:00:00",
     u"2026/11/24 下午 02:30:00"},
};

class Album {
 public:
  explicit Album(QString folder) : folder_(std::move(folder)) { QDir().mkpath(folder_); }

  void DrawAll() {
    Prepare();
    Save("jobs", {});
    DrawMenus();
    DrawTip();
    DrawViews();
    DrawColumns();
    DrawRun();
    DrawLog();
  }

 private:
  void Prepare();
  void DrawMenus();
  void DrawTip();
  void DrawViews();
  void DrawColumns();
  void DrawRun();
  void DrawLog();
  void DrawPopups(const char* name, QPoint at);
  /// A popup at a place in the window. Its own place depends on the screen in memory, which is
  /// small.
  struct Popup {
    QWidget* Widget;
    QPoint At;
  };
  void Save(const QString& name, const QList<Popup>& popups);

  QString folder_;
  PictureClock clock_;
  TempFolder temp_;
  FrmMain window_;
  Program program_{TempFolder::Text(temp_.Home()), TempFolder::Text(temp_.Home() / "Settings.ini"),
                   clock_, window_};

  JobList& Jobs() { return *window_.findChild<JobList*>(); }
  clsLictView& Logs() { return window_.findChild<LogView*>()->View(); }
  QAction& Action(const QString& name) { return *window_.findChild<QAction*>(name); }
  QToolButton& Button(int index) {
    const auto* bar = window_.findChild<QToolBar*>();
    return *qobject_cast<QToolButton*>(bar->widgetForAction(bar->actions().at(index - 1)));
  }
};

void Album::Prepare() {
  for (const JobLine& line : kJobs) {
    BackupJob job;
    NewJobDefaults(job, clock_.Now(), u"");
    job.Name = Sample(line.Name);
    job.Source.Path = Sample(line.Source);
    job.Destination.Path = Sample(line.Destination);
    job.FileTypes = line.FileTypes;
    job.AddSourceFolder = false;
    SetJobType(job, line.Type);
    SetInterval(job, line.Interval, line.Count);
    job.RefusedDays = line.RefusedDays;
    job.LimitFileSize = line.LimitKB > 0;
    job.MaxFileSizeKB = line.LimitKB;
    job.Enabled = line.On;
    job.UsePassword = line.Password;
    job.UseRecycleBin = line.Recycle;
    job.NextRun = program_.NextRunTimeOf(job);
    if (line.On) job.LastRun = job.NextRun - std::chrono::hours(line.Count * 24);
    program_.Store.Jobs.push_back(job);
  }
  program_.Store.SaveJobs();
  LeaveDrives(program_, UsedDrives(program_));
  for (const LogLine& line : kLogs) {
    program_.LogRows.Append(ReadLogRow({Sample(line.Name), line.State, line.Copied, line.Unchanged,
                                        line.Failed, line.Started, line.Next, u""}));
  }
  program_.Files.MakeFolders(LogFolder(program_.Files));
  program_.History.SaveProgramLog();
  program_.LogRows.Clear();
  for (int i = 0; i < 160; ++i) {
    WriteTestFile(temp_.DriveC() / Sample("工作文件/2026 年度報告 " + std::to_string(i) + ".odt"),
                  std::string(600000, 'x'));
  }
  window_.Start(program_, {});
  // The screen in memory is narrow.
  window_.resize(920, 560);
  (void)QTest::qWaitForWindowExposed(&window_);
  QCursor::setPos(window_.mapToGlobal(window_.rect().bottomRight() - QPoint(60, 60)));
}

void Album::Save(const QString& name, const QList<Popup>& popups) {
  QPixmap picture = window_.grab();
  QPainter painter(&picture);
  for (const Popup& popup : popups) painter.drawPixmap(popup.At, popup.Widget->grab());
  painter.end();
  // Quality 0 asks for the smallest file.
  picture.toImage()
      .convertToFormat(QImage::Format_RGB32)
      .save(QDir(folder_).filePath(name + ".png"), "PNG", 0);
}

/// Pictures the menu that is open, then each of its submenus open, then closes it.
void Album::DrawPopups(const char* name, QPoint at) {
  auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
  if (menu == nullptr) return;
  Save(name, {{menu, at}});
  for (QAction* action : menu->actions()) {
    if (action->menu() == nullptr) continue;
    menu->setActiveAction(action);
    action->menu()->popup(QPoint());
    QPoint beside = at + QPoint(menu->width() - 2, menu->actionGeometry(action).top() - 2);
    beside.setY(qMin(beside.y(), window_.height() - action->menu()->height()));
    Save(QString(name) + "-" + action->menu()->objectName(),
         {{menu, at}, {action->menu(), beside}});
    action->menu()->close();
  }
  menu->close();
}

void Album::DrawMenus() {
  const auto drop_down = [&](int index, const char* name) {
    QToolButton& button = Button(index);
    Click(button);
    DrawPopups(name, button.mapTo(&window_, QPoint(0, button.height())));
  };
  Action("mnuExcEnabled").trigger();
  drop_down(5, "menu-options");
  drop_down(10, "menu-help");
  Jobs().View().SetSelectedItem(1);
  Q_EMIT Jobs().View().RightClick(1, 0, QPoint());
  DrawPopups("menu-job", {130, 140});
  Jobs().View().SetSelectedItem(-1);
  Q_EMIT Jobs().View().RightClick(-1, -1, QPoint());
  DrawPopups("menu-new-job", {200, 320});
  Jobs().View().SetSelectedItem(0);
}

void Album::DrawTip() {
  TipAt(*ViewOf(*Jobs().View().hwnd()).viewport(), CellCentre(*Jobs().View().hwnd(), 2));
  for (QWidget* top : QApplication::topLevelWidgets()) {
    if (top->inherits("QTipLabel")) Save("tip", {{top, {120, 170}}});
    if (top->inherits("QTipLabel")) top->hide();
  }
}

void Album::DrawViews() {
  for (int view = 0; view < 4; ++view) {
    Action(QString("mnu_Display_1_%1").arg(view)).trigger();
    QApplication::processEvents();
    if (view < 3) Save(QString("view-%1").arg(view), {});
  }
}

void Album::DrawColumns() {
  Action("mnu_Display_1_5").trigger();
  // The last is shown at first.
  constexpr int kHidden = kJobColumnSwitches - 1;
  for (int i = 0; i < kHidden; ++i) Action(QString("mnuSetWidth%1").arg(i)).trigger();
  const QSize size = window_.size();
  window_.resize(2080, size.height());
  QApplication::processEvents();
  Save("jobs-all-columns", {});
  for (int i = 0; i < kHidden; ++i) Action(QString("mnuSetWidth%1").arg(i)).trigger();
  window_.resize(size);
}

/// What stands before or behind the time that is left.
QString TimeLeft() {
  const QStringList parts = TrText(u"剩餘約 %1").split("%1");
  return parts.front().isEmpty() ? parts.back() : parts.front();
}

void Album::DrawRun() {
  QTimer look;
  const QWidget& captions = *window_.findChild<QWidget*>("PicLogs");
  QObject::connect(&look, &QTimer::timeout, &look, [&] {
    // Everything is to be in the picture, the time left included: the run is held up until then.
    QThread::msleep(70);
    const auto* total = captions.findChild<CaptionStrip*>("PicTotal");
    if (!captions.isVisible() || !total->Text().contains(TimeLeft())) return;
    look.stop();
    QApplication::processEvents();
    Save("run", {});
    program_.State.CancelRequested = true;
  });
  look.start(0);
  window_.JobStarting(0, clock_.Now());
  program_.RunJobNow(0);
  QApplication::processEvents();
}

void Album::DrawLog() {
  Click(Button(4));
  program_.History.DeleteSelectedLogs(std::vector<std::size_t>{std::size(kLogs)});
  QApplication::processEvents();
  Logs().SetSelectedItem(1);
  Save("log", {});
  Q_EMIT Logs().RightClick(1, 0, QPoint());
  DrawPopups("menu-log", {160, 200});
}

/// The window over an empty program folder, in a home of its own.
void DrawWelcome(const QString& folder, std::filesystem::path home) {
  const TempFolder temp;
  if (home.empty()) home = temp.Root() / "home";
  const EnvironmentVariable variable("HOME", home.string());
  const std::pair<const char*, std::size_t> folders[] = {
      {"下載", 48'600'000}, {"圖片", 192'000'000}, {"文件", 31'500'000}, {"桌面", 1'200'000}};
  for (const auto& [name, size] : folders) {
    const std::filesystem::path file = home / Sample(name) / "1";
    WriteTestFile(file, "");
    std::filesystem::resize_file(file, size);
  }
  PictureClock clock;
  FrmMain window;
  Program program(TempFolder::Text(temp.Home()), TempFolder::Text(temp.Home() / "Settings.ini"),
                  clock, window);
  window.Start(program, {});
  // The screen in memory is narrow.
  if (QApplication::platformName() == "offscreen") window.resize(920, 560);
  (void)QTest::qWaitForWindowExposed(&window);
  QWidget& sources = *Find<QWidget>(window, "lstSources");
  QWidget& places = *Find<QWidget>(window, "lstPlaces");
  const QAbstractItemModel& rows = *ViewOf(sources).model();
  WaitUntil([&] { return !rows.index(0, 1).data().toString().contains(u'…'); });
  Click(*ViewOf(sources).viewport(), CellCentre(sources, 3));
  Click(*ViewOf(places).viewport(), CellCentre(places, ViewOf(places).model()->rowCount() - 1));
  QApplication::processEvents();
  window.grab()
      .toImage()
      .convertToFormat(QImage::Format_RGB32)
      .save(QDir(folder).filePath("welcome.png"), "PNG", 0);
  window.EndProgram();
}

QPalette DarkPalette() {
  QPalette dark(QColor(45, 45, 48));
  dark.setColor(QPalette::Base, QColor(30, 30, 32));
  dark.setColor(QPalette::Text, QColor(230, 230, 230));
  dark.setColor(QPalette::WindowText, QColor(230, 230, 230));
  dark.setColor(QPalette::ButtonText, QColor(230, 230, 230));
  dark.setColor(QPalette::Highlight, QColor(48, 103, 176));
  dark.setColor(QPalette::HighlightedText, Qt::white);
  return dark;
}

}  // namespace
}  // namespace kavrel

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "Usage: kavrel_screenshots FOLDER [light|dark] [HOME]\n";
    return 2;
  }
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  kavrel::SpeakLanguage(kavrel::SpokenLanguage({}));
  QApplication::setStyle("Fusion");
  QApplication::setFont(kavrel::SampleFont());
  if (argc > 2 && QByteArray(argv[2]) == "dark") QApplication::setPalette(kavrel::DarkPalette());
  // A run makes the program folder the current one.
  const QString folder = QDir().absoluteFilePath(QString::fromLocal8Bit(argv[1]));
  kavrel::Album(folder).DrawAll();
  kavrel::DrawWelcome(folder, argc > 3 ? argv[3] : "");
  return 0;
}
