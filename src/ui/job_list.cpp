#include "ui/job_list.h"

#include <QApplication>
#include <QWidget>
#include <algorithm>
#include <array>

#include "base/screen_format.h"
#include "log/job_log.h"
#include "log/log_troubles.h"
#include "ui/health_icon.h"
#include "ui/icons.h"
#include "ui/language.h"
#include "ui/qt_text.h"
#include "ui/row_colours.h"

namespace kavrel {

namespace {

constexpr int kLastRun = 3, kNextRun = 4, kResult = 14;
// What the tip tells of a log, and the longest log, in bytes, that is read for it.
constexpr std::size_t kTroublesTold = 3;
constexpr std::uint64_t kLongestLog = 4U << 20U;

struct Column {
  const char16_t* Caption;
  int Width;
  clsLictView::Align Alignment;
  const char16_t* TipLabel;       ///< padded, so that the values line up
  int Switch;                     ///< number of the setting that shows it, -1 = always shown
  const char16_t* Longest = u"";  ///< a text that is to fit
};

/// The icon of each state, at its number.
QList<QIcon> MarkedIcons(IconId id) {
  const QIcon plain = LoadIcon(id);
  QList<QIcon> icons;
  for (int state = 0; state < kHealths; ++state) {
    icons += MarkedIcon(plain, static_cast<Health>(state));
  }
  return icons;
}

/// The worst first.
int SortKey(Health health) {
  constexpr Health kOrder[] = {Health::Failed, Health::Overdue, Health::Unknown, Health::Good,
                               Health::Running};
  return static_cast<int>(std::find(std::begin(kOrder), std::end(kOrder), health) - kOrder);
}

constexpr auto kLeft = clsLictView::AlignLeft, kCentre = clsLictView::AlignCentre;
constexpr std::array<Column, 15> kColumns{{
    {TrLater(u"排程名稱"), 190, kLeft, TrLater(u"備份排程名稱："), -1},
    {TrLater(u"來源資料夾"), 250, kLeft, TrLater(u"來源資料夾　："), 0},
    {TrLater(u"目標資料夾"), 250, kLeft, TrLater(u"目標資料夾　："), 1},
    {TrLater(u"最後備份時間"), 150, kCentre, TrLater(u"最後備份時間："), -1, kLongestTime},
    {TrLater(u"下次備份時間"), 150, kCentre, TrLater(u"下次備份時間："), -1, kLongestTime},
    {TrLater(u"檔案壓縮"), 80, kCentre, TrLater(u"檔案壓縮備份："), 2},
    {TrLater(u"壓縮加密"), 80, kCentre, TrLater(u"壓縮檔案加密："), 3, TrLater(u"不加密")},
    {TrLater(u"檔案同步"), 80, kCentre, TrLater(u"檔案同步備份："), 4},
    {TrLater(u"檔案回收"), 80, kCentre, TrLater(u"回收筒存放　："), 5},
    {TrLater(u"子目錄"), 60, kCentre, TrLater(u"備份子目錄　："), 6},
    {TrLater(u"限制檔案大小"), 90, kCentre, TrLater(u"限制檔案大小："), 7,
     TrLater(u"限制 ( 10240 ) KB")},
    {TrLater(u"備份時間間隔"), 120, kLeft, TrLater(u"備份時間間隔："), 8,
     TrLater(u"每 12 個小時備份一次")},
    {TrLater(u"拒絕備份日期"), 120, kLeft, TrLater(u"拒絕備份日期："), 9},
    {TrLater(u"檔案類型"), 80, kLeft, TrLater(u"檔案類型　　："), 10},
    {TrLater(u"上次結果"), 130, kLeft, TrLater(u"上次結果　　："), 11,
     u"失敗 1,024 個檔案"},  // not translated: shown as any result is
}};

}  // namespace

int ColumnWidthFor(const QWidget& list, int designed, const QString& caption,
                   const char16_t* longest) {
  constexpr int kPadding = 14;
  const QFontMetrics font = list.fontMetrics();
  const auto width = [&](const QString& text) {
    return text.isEmpty() ? 0 : font.horizontalAdvance(text) + kPadding;
  };
  return std::max({designed, width(caption), width(ShownText(longest))});
}

clsLictView::ViewStyle ViewStyleOf(int menu_item) {
  constexpr clsLictView::ViewStyle kStyles[] = {clsLictView::IconView, clsLictView::SmallIconView,
                                                clsLictView::ListView, clsLictView::ReportView};
  return kStyles[menu_item];
}

JobColumnSwitch JobList::SwitchAt(int number) {
  for (std::size_t i = 0; i < kColumns.size(); ++i) {
    if (kColumns[i].Switch == number) return {static_cast<int>(i), kColumns[i].Caption};
  }
  return {-1, u""};
}

JobList::JobList(Program& program, QWidget* container) : QObject(container), program_(program) {
  view_.SetTargetPictureBox(container);
  view_.SetFullRowSelect(true);
  view_.SetHeaderDragDrop(true);
  view_.SetLabelTips(true);
  view_.SetInfoTip(true);
  view_.SetHideSelection(false);
  view_.SetMultiSelect(false);
  view_.SetCheckBoxes(true);
  view_.SetHeaderSort(true);
  view_.SetRaiseSubItemPrePaint(true);
  view_.SetImageList(clsLictView::SmallImages, MarkedIcons(IconId::JobRow));
  view_.SetImageList(clsLictView::LargeImages, MarkedIcons(IconId::RunChecked));
  view_.Create();
  AddColumns();
  connect(
      &view_, &clsLictView::OnSubItemPrePaint, this,
      [this](int row, int column, QColor& background, QColor& text) {
        const QPalette palette = QApplication::palette();
        AlternateRowColours(view_.ShownPosition(row), palette, background, text);
        const auto place = static_cast<std::size_t>(row);
        if (column == kResult && place < health_.size() && health_[place].State == Health::Failed) {
          text = FailureTextColour(palette);
        }
      });
  connect(&view_, &clsLictView::NotifyInfoTip, this,
          [this](int row, QString& text) { text = InfoTip(row); });
  connect(&view_, &clsLictView::DbClick, this, [this](int row) { Q_EMIT Activated(row); });
  connect(&view_, &clsLictView::NotifyKeyDown, this, [this](int key, bool& handled) {
    if (view_.SelectedItem() < 0) return;
    handled = key == Qt::Key_Return || key == Qt::Key_Delete;
    if (key == Qt::Key_Return) Q_EMIT Activated(view_.SelectedItem());
    if (key == Qt::Key_Delete) Q_EMIT RemoveWanted(view_.SelectedItem());
  });
}

void JobList::AddColumns() {
  for (const Column& column : kColumns) {
    const bool shown = column.Switch < 0 || program_.Preferences.OutWidth(column.Switch);
    view_.ColumnAdd(-1, shown ? WidthOf(view_.ColumnCount()) : 0, {}, column.Alignment);
  }
  OnLanguage(this, [this] {
    for (int column = 0; column < view_.ColumnCount(); ++column) {
      view_.SetColumnText(column, TrText(kColumns[static_cast<std::size_t>(column)].Caption));
      const int width = view_.ColumnWidth(column);
      if (width > 0) view_.SetColumnWidth(column, std::max(width, WidthOf(column)));
    }
    view_.SetAccessibleName(TrText(u"備份排程清單"));
  });
}

int JobList::WidthOf(int column) const {
  const Column& designed = kColumns[static_cast<std::size_t>(column)];
  return ColumnWidthFor(*view_.hwnd(), designed.Width, TrText(designed.Caption), designed.Longest);
}

void JobList::ShowColumn(int number, bool on) {
  const int column = SwitchAt(number).Column;
  view_.SetColumnWidth(column, on ? WidthOf(column) : 0);
}

void JobList::SetView(int number) {
  view_.SetView(ViewStyleOf(number));
}

void JobList::Fill() {
  health_.clear();
  view_.ItemClear();
  for (const BackupJob& job : program_.Store.Jobs) {
    const int row = view_.ItemAdd(-1, NameText(job.Name), 0, 0);
    const QString texts[] = {ToQString(job.Source.Path),
                             ToQString(job.Destination.Path),
                             {},
                             {},
                             ShownText(OnOffText(job.Compressed)),
                             ShownText(PasswordText(job.UsePassword)),
                             ShownText(OnOffText(job.Synchronise)),
                             ShownText(OnOffText(job.UseRecycleBin)),
                             ShownText(OnOffText(job.IncludeSubfolders)),
                             ShownText(SizeLimitText(job)),
                             ShownText(IntervalText(job)),
                             ShownText(RefusedDaysText(job.RefusedDays)),
                             ToQString(job.FileTypes)};
    int column = 1;
    for (const QString& text : texts) view_.ItemAddSub(row, column++, text);
    ShowTimes(row);
    view_.SetChecked(row, job.Enabled);
  }
  if (view_.ItemCount() > 0) view_.SetSelectedItem(0);
}

void JobList::ShowTimes(int row) {
  const BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(row)];
  ShowTime(row, kLastRun, job.LastRun);
  ShowTime(row, kNextRun, job.NextRun);
}

void JobList::ShowHealth(const std::vector<JobHealth>& health) {
  const std::vector<JobHealth> shown = std::exchange(health_, health);
  for (std::size_t i = 0; i < health.size(); ++i) {
    if (i < shown.size() && shown[i] == health[i]) continue;
    const int row = static_cast<int>(i), image = static_cast<int>(health[i].State);
    view_.SetItemImage(row, image, image);
    view_.SetItemText(row, kResult, ShownText(health[i].Text));
    view_.SetItemSortKey(row, kResult, SortKey(health[i].State));
  }
}

void JobList::ShowStarted(int row, DateTime now) {
  view_.SetSelectedItem(row);
  ShowTime(row, kLastRun, now);
}

void JobList::ShowTime(int row, int column, DateTime time) {
  view_.SetItemText(row, column, ToQString(ScreenDateOrNothing(time)));
  view_.SetItemSortKey(row, column, time.time_since_epoch().count());
}

QStringList JobList::Troubles(int row) const {
  const auto place = static_cast<std::size_t>(row);
  if (place >= health_.size() || health_[place].LogPath.empty()) return {};
  const std::u16string& log = health_[place].LogPath;
  const Result<FileStatus> status = program_.Files.Status(log);
  if (!status || status->Size > kLongestLog) return {};
  QStringList lines;
  for (const RunFailure& trouble : ReadTroubles(*ReadJobLog(program_.Files, log), kTroublesTold)) {
    QString line = QStringLiteral("\u3000") + ShownText(trouble.What) + TrText(u"：") +
                   ToQString(trouble.Path);
    if (!trouble.Reason.empty()) line += TrText(u"，") + ShownText(trouble.Reason);
    lines += line;
  }
  return lines;
}

void JobList::Search(const QString& text) {
  constexpr int kName = 0, kSource = 1, kDestination = 2;
  view_.Search(text, {kName, kSource, kDestination});
}

QString JobList::InfoTip(int row) const {
  QStringList lines;
  for (std::size_t i = 0; i < kColumns.size(); ++i) {
    lines += TrText(kColumns[i].TipLabel) + view_.ItemText(row, static_cast<int>(i));
  }
  const JobExtras& extras = program_.Store.Jobs[static_cast<std::size_t>(row)].Extras;
  if (extras.LastScrub != kZeroDate) {
    lines += TrText(u"上次重讀備份：") + ShownText(DateTimeText(extras.LastScrub));
  }
  if (extras.LastDrill != kZeroDate) {
    lines += TrText(u"上次試行還原：%1，%3 個檔案中 %2 個完好")
                 .arg(ShownText(DateTimeText(extras.LastDrill)))
                 .arg(extras.DrillGood)
                 .arg(extras.DrillFiles);
  }
  return (lines + Troubles(row)).join(QStringLiteral("\r\n"));
}

}  // namespace kavrel
