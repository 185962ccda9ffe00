#include "ui/log_view.h"

#include <QApplication>
#include <QVBoxLayout>
#include <algorithm>

#include "base/number.h"
#include "base/screen_format.h"
#include "base/text.h"
#include "platform/desktop.h"
#include "ui/frm_log.h"
#include "ui/icons.h"
#include "ui/job_list.h"
#include "ui/language.h"
#include "ui/log_bar.h"
#include "ui/menu_kit.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"
#include "ui/row_colours.h"

namespace kavrel {

namespace {

constexpr const char16_t* kStatuses[] = {TrLater(u"備份完成"), TrLater(u"備份中斷"),
                                         TrLater(u"還原完成"), TrLater(u"還原中斷"),
                                         TrLater(u"驗證完成"), TrLater(u"驗證中斷")};
constexpr int kStatus = 1, kCopied = 2, kUnchanged = 3, kFailed = 4, kStarted = 5, kNextRun = 6;
constexpr int kTimeWidth = 165;
constexpr int kPlainImage = 0, kFailedImage = 1;

struct Column {
  const char16_t* Caption;
  int Width;
  clsLictView::Align Alignment;
  const char16_t* Longest = u"";  ///< a text that is to fit
};
constexpr auto kLeft = clsLictView::AlignLeft, kCentre = clsLictView::AlignCentre;
// The last one holds the log file's path and is never seen.
constexpr Column kColumns[] = {
    {TrLaterIn("log column", u"備份排程名稱"), 280, kLeft},
    {TrLaterIn("log column", u"狀態"), 75, kCentre},
    {TrLaterIn("log column", u"總計"), 65, kCentre},
    {TrLaterIn("log column", u"備份"), 65, kCentre},
    {TrLaterIn("log column", u"失敗"), 65, kCentre},
    {TrLaterIn("log column", u"本次備份時間"), kTimeWidth, kCentre, kLongestTime},
    {TrLaterIn("log column", u"下次備份時間"), kTimeWidth, kCentre, kLongestTime},
    {TrLaterIn("log column", u"日誌檔名稱"), 0, kLeft}};

QString CaptionOf(const Column& column) {
  return ToQString(TrIn("log column", column.Caption));
}

/// The columns as they are shown.
QStringList ShownColumns(const LogRow& row) {
  const LogColumns columns = ColumnsOf(row);
  QStringList shown;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    shown += i == 0                ? NameText(columns[i])
             : i == kLogPathColumn ? ToQString(columns[i])
                                   : ShownText(columns[i]);
  }
  // A time that is not known was written as one without a date.
  if (row.Started) shown[kStarted] = ToQString(ScreenDateOrNothing(*row.Started));
  if (row.NextRun) shown[kNextRun] = ToQString(ScreenDateOrNothing(*row.NextRun));
  return shown;
}

}  // namespace

LogView::LogView(Program& program, QWidget* container, QWidget* window)
    : QObject(container), program_(program), window_(window), menu_(new QMenu(window)) {
  bar_ = new LogBar;
  auto* list = new QWidget;
  auto* layout = new QVBoxLayout(container);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->addWidget(bar_);
  layout->addWidget(list, 1);
  connect(bar_, &LogBar::Changed, this, &LogView::CatchUp);
  view_.SetTargetPictureBox(list);
  view_.SetFullRowSelect(true);
  view_.SetHeaderDragDrop(true);
  view_.SetLabelTips(true);
  view_.SetInfoTip(true);
  view_.SetHideSelection(false);
  view_.SetMultiSelect(true);
  view_.SetHeaderSort(true);
  view_.SetRaiseSubItemPrePaint(true);
  const QList<QIcon> images{LoadIcon(IconId::LogEntry), LoadIcon(IconId::LogEntryFailed)};
  view_.SetImageList(clsLictView::SmallImages, images);
  view_.SetImageList(clsLictView::LargeImages, images);
  view_.Create();
  later_.setSingleShot(true);
  connect(&later_, &QTimer::timeout, this, &LogView::CatchUp);
  AddColumns();
  ConnectList();
  BuildMenu();
}

LogView::~LogView() {
  program_.LogRows.Changed = nullptr;
}

void LogView::AddColumns() {
  for (const Column& column : kColumns) view_.ColumnAdd(-1, column.Width, {}, column.Alignment);
  OnLanguage(this, [this] {
    int index = 0;
    for (const Column& column : kColumns) {
      const int width = view_.ColumnWidth(index);
      if (width > 0) {
        int wide = ColumnWidthFor(*view_.hwnd(), width, CaptionOf(column), column.Longest);
        if (index == kStatus) {
          for (const char16_t* status : kStatuses) {
            wide = std::max(wide, ColumnWidthFor(*view_.hwnd(), width, {}, status));
          }
        }
        view_.SetColumnWidth(index, wide);
      }
      view_.SetColumnText(index++, CaptionOf(column));
    }
    view_.SetAccessibleName(TrText(u"備份日誌清單"));
    // Rows show statuses and times.
    view_.ItemClear();
    shown_.clear();
    CatchUp();
  });
}

void LogView::ConnectList() {
  connect(&view_, &clsLictView::OnSubItemPrePaint, this,
          [this](int row, int, QColor& background, QColor& text) {
            const QPalette palette = QApplication::palette();
            AlternateRowColours(view_.ShownPosition(row), palette, background, text);
            if (IsBadRun(shown_[static_cast<std::size_t>(row)])) {
              text = FailureTextColour(palette);
            }
          });
  connect(&view_, &clsLictView::DbClick, this, &LogView::OpenSelected);
  connect(&view_, &clsLictView::NotifyKeyDown, this, &LogView::NotifyKeyDown);
  connect(&view_, &clsLictView::RightClick, this,
          [this](int, int, QPoint position) { menu_->popup(position); });
}

void LogView::BuildMenu() {
  menu_->setObjectName(QStringLiteral("mnuLogJob"));
  display_ = AddChoices(*menu_, QStringLiteral("mnu_LogDisplay_1_"),
                        {TrLater(u"大圖示(&G)..."), TrLater(u"小圖示(&M)..."),
                         TrLater(u"清單(&L)..."), TrLater(u"詳細資料(&D)...")},
                        [this](int index) { view_.SetView(ViewStyleOf(index)); });
  CheckItem(*display_, 3);
  menu_->addSeparator();
  QAction* grid =
      AddItem(*menu_, QStringLiteral("mnu_LogDisplay_1_5"), TrLater(u"顯示格線(&H)..."), true);
  connect(grid, &QAction::triggered, this, [this](bool on) { view_.SetGlidLine(on); });
  menu_->addSeparator();
  QAction* selected =
      AddItem(*menu_, QStringLiteral("mnu_LogDisplay_1_7"), TrLater(u"單一刪除(&S)..."));
  connect(selected, &QAction::triggered, this, &LogView::DeleteSelected);
  delete_all_ = AddItem(*menu_, QStringLiteral("mnu_LogDisplay_1_8"), TrLater(u"全部清除(&C)..."));
  connect(delete_all_, &QAction::triggered, this, &LogView::DeleteAll);
  menu_->setDefaultAction(delete_all_);
  QMenu* limits = MakeMenu(menu_, QStringLiteral("mnu_LogDisplay_1_9"), TrLater(u"日誌檔限制"));
  menu_->addMenu(limits);
  restrictions_ = AddChoices(
      *limits, QStringLiteral("mnuLogRestrictions"),
      {TrLater(u"到 100 筆後刪除前 70 筆日誌"), TrLater(u"到 200 筆後刪除前 170 筆日誌"),
       TrLater(u"到 300 筆後刪除前 270 筆日誌"), TrLater(u"到 400 筆後刪除前 370 筆日誌"),
       TrLater(u"到 500 筆後刪除前 470 筆日誌")},
      [this](int index) { program_.Preferences.SetLogRestrictions(index); });
  menu_->addSeparator();
  connect(AddItem(*menu_, QStringLiteral("mnuLogView"), TrLater(u"檢視日誌內容(&V)...")),
          &QAction::triggered, this, &LogView::ViewSelected);
}

void LogView::ShowNewest() {
  CatchUp();
  view_.SetSelectedItem(view_.ItemCount() - 1);
}

void LogView::ShowSettings() {
  CheckItem(*restrictions_, program_.Preferences.LogRestrictions());
}

void LogView::Follow() {
  CatchUp();
  // Rows often change many at a time, and while a run is at work.
  program_.LogRows.Changed = [this] { later_.start(0); };
}

bool LogView::Matches(const LogRow& row, const LogFilter& filter) const {
  if (MatchesFilter(row, filter)) return true;
  // The user looks for what is shown.
  LogFilter others = filter;
  others.Text.clear();
  if (filter.Text.empty() || !MatchesFilter(row, others)) return false;
  const QStringList columns = ShownColumns(row);
  const QString text = ToQString(filter.Text);
  return std::ranges::any_of(
      columns, [&](const QString& column) { return column.contains(text, Qt::CaseInsensitive); });
}

std::vector<std::size_t> LogView::FilteredRows() const {
  const LogFilter filter = bar_->Filter();
  const std::vector<LogRow>& rows = program_.LogRows.Rows();
  std::vector<std::size_t> positions;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (Matches(rows[i], filter)) positions.push_back(i);
  }
  return positions;
}

void LogView::CatchUp() {
  later_.stop();
  const std::vector<LogRow>& all = program_.LogRows.Rows();
  bar_->OfferJobs(all);
  positions_ = FilteredRows();
  std::vector<LogRow> rows;
  for (const std::size_t position : positions_) rows.push_back(all[position]);
  if (rows == shown_) return;
  const bool only_added =
      rows.size() >= shown_.size() && std::equal(shown_.begin(), shown_.end(), rows.begin());
  if (!only_added) {
    view_.ItemClear();
    shown_.clear();
  }
  for (std::size_t row = shown_.size(); row < rows.size(); ++row) AddRow(rows[row]);
  shown_ = std::move(rows);
  Q_EMIT CountChanged();
}

void LogView::AddRow(const LogRow& row) {
  const int image = IsBadRun(row) ? kFailedImage : kPlainImage;
  const int index = view_.ItemAdd(-1, NameText(row.Job), image, image);
  const QStringList columns = ShownColumns(row);
  for (int column = 1; column < columns.size(); ++column) {
    view_.ItemAddSub(index, column, columns[column]);
  }
  const auto sort_count = [&](int column, const std::optional<std::uint64_t>& count) {
    view_.SetItemSortKey(index, column, static_cast<qint64>(count.value_or(0)));
  };
  const auto sort_time = [&](int column, const std::optional<DateTime>& time) {
    view_.SetItemSortKey(index, column, time.value_or(kZeroDate).time_since_epoch().count());
  };
  sort_count(kCopied, row.Copied);
  sort_count(kUnchanged, row.Unchanged);
  sort_count(kFailed, row.Failed);
  sort_time(kStarted, row.Started);
  sort_time(kNextRun, row.NextRun);
}

void LogView::NotifyKeyDown(int key, bool& handled) {
  handled = true;
  switch (key) {
    case Qt::Key_Delete:
      DeleteSelected();
      break;
    case Qt::Key_Return:
      OpenSelected();
      break;
    case Qt::Key_A:
      view_.SetSelectList(true);
      break;
    case Qt::Key_N:
      view_.SetSelectList(false);
      break;
    default:
      handled = false;
  }
}

void LogView::OpenSelected() {
  const int row = view_.SelectedIndex();
  if (row < 0) return;
  OpenLog(shown_[static_cast<std::size_t>(row)].LogPath);
}

void LogView::ViewSelected() {
  const int row = view_.SelectedIndex();
  if (row >= 0) ViewLog(shown_[static_cast<std::size_t>(row)].LogPath);
}

void LogView::OpenLog(const std::u16string& path) const {
  // The program folder may have been moved since.
  const std::u16string moved = LogFolder(program_.Files) + std::u16string(JobLogName(path));
  for (const std::u16string& place : {path, moved}) {
    const auto host_path = program_.Files.HostPath(place);
    if (!host_path || !program_.Files.Status(place)) continue;
    if (OpenWithDesktop(FromUtf8(*host_path))) return;
    break;
  }
  ViewLog(path);
}

void LogView::ViewLog(const std::u16string& path) const {
  const Result<std::u16string> text = ReadJobLog(program_.Files, path);
  if (!text) {
    return TellFailure(*window_, UnreadableLogText(path, text.Error));
  }
  FrmLog(ToQString(JobLogName(path)), *text, window_, &program_.WindowSizes).exec();
}

void LogView::DeleteSelected() {
  CatchUp();
  const QList<int> selected = view_.SelectedItems();
  if (selected.isEmpty()) return;
  std::vector<std::size_t> rows;
  for (const int row : selected) rows.push_back(positions_[static_cast<std::size_t>(row)]);
  program_.History.DeleteSelectedLogs(rows);
  CatchUp();
}

void LogView::DeleteAll() {
  CatchUp();
  if (program_.LogRows.Rows().empty()) return;
  if (positions_.size() == program_.LogRows.Rows().size()) {
    program_.DeleteAllLogs();
  } else {
    // What the bar hides is not meant.
    program_.History.DeleteSelectedLogs(positions_);
  }
  CatchUp();
}

}  // namespace kavrel
