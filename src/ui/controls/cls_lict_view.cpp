#include "ui/controls/cls_lict_view.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QFontMetrics>
#include <QHeaderView>
#include <QHelpEvent>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QListView>
#include <QPainter>
#include <QStackedWidget>
#include <QTextDocument>
#include <QToolTip>
#include <QTreeView>
#include <algorithm>

#include "ui/controls/container.h"
#include "ui/controls/lict_delegate.h"
#include "ui/controls/lict_model.h"
#include "ui/controls/lict_order.h"

namespace kavrel {

namespace {

constexpr int kSmallIcon = 16;
constexpr int kLargeIcon = 32;

Qt::Alignment QtAlignment(clsLictView::Align alignment) {
  switch (alignment) {
    case clsLictView::AlignRight:
      return Qt::AlignRight;
    case clsLictView::AlignCentre:
      return Qt::AlignHCenter;
    default:
      return Qt::AlignLeft;
  }
}

/// A table whose rows all have one height and no branches.
class ReportTree : public QTreeView {
 public:
  using QTreeView::QTreeView;

 protected:
  // The tree would open and close branches; a list has none.
  void drawBranches(QPainter*, const QRect&, const QModelIndex&) const override {}

  // A row's colour goes on beyond its last column.
  void drawRow(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
    const auto* delegate = static_cast<const LictDelegate*>(itemDelegate());
    if (delegate->CellColours) {
      QColor background = option.palette.color(QPalette::Base), text;
      delegate->CellColours(index, background, text);
      painter->fillRect(option.rect, background);
    }
    QTreeView::drawRow(painter, option, index);
  }
};

}  // namespace

clsLictView::clsLictView(QObject* parent)
    : QObject(parent),
      model_(new LictModel(this)),
      order_(new LictOrder(this)),
      report_delegate_(new LictDelegate(this)),
      icon_delegate_(new LictDelegate(this)) {
  order_->setSourceModel(model_);
  report_delegate_->Report = true;
  icon_delegate_->FullRowSelect = true;
  connect(model_, &LictModel::CheckedByUser, this, &clsLictView::ItemCheck);
}

clsLictView::~clsLictView() = default;

void clsLictView::Create() {
  if (!container_ || stack_) return;
  stack_ = new QStackedWidget(container_);
  CreateReport();
  CreateIcons();
  icons_->setSelectionModel(report_->selectionModel());
  connect(report_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
          [this] { Q_EMIT ItemSelect(SelectedIndex()); });
  for (int column = 0; column < ColumnCount(); ++column) ApplyColumn(column);
  ApplyHeader();
  SetMultiSelect(multi_select_);
  SetAccessibleName(accessible_name_);
  ApplyView();
  FillContainer(container_, stack_);
}

void clsLictView::CreateReport() {
  report_ = new ReportTree(stack_);
  report_->setRootIsDecorated(false);
  report_->setItemsExpandable(false);
  report_->setUniformRowHeights(true);
  report_->setIndentation(0);
  report_->setItemDelegate(report_delegate_);
  report_->setModel(order_);
  report_->setIconSize({kSmallIcon, kSmallIcon});
  report_->setAllColumnsShowFocus(FullRowSelect());
  QHeaderView* header = report_->header();
  header->setStretchLastSection(false);
  header->setFirstSectionMovable(true);
  header->setHighlightSections(false);
  connect(header, &QHeaderView::sectionClicked, this, &clsLictView::SortBy);
  Prepare(report_);
}

void clsLictView::CreateIcons() {
  icons_ = new QListView(stack_);
  icons_->setItemDelegate(icon_delegate_);
  icons_->setModel(order_);
  icons_->setResizeMode(QListView::Adjust);
  Prepare(icons_);
}

void clsLictView::Prepare(QAbstractItemView* view) {
  view->setSelectionBehavior(QAbstractItemView::SelectRows);
  view->setEditTriggers(QAbstractItemView::NoEditTriggers);
  view->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
  view->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
  view->setTabKeyNavigation(false);
  connect(view, &QAbstractItemView::clicked, this, [this](const QModelIndex& index) {
    if (!OnCheckBox(pressed_at_)) Q_EMIT Click(RowOf(index), index.column());
  });
  stack_->addWidget(view);
  QWidget* viewport = view->viewport();
  subclasser_.Subclass(viewport, this);
  for (const QEvent::Type message : {QEvent::ToolTip, QEvent::MouseButtonPress,
                                     QEvent::MouseButtonDblClick, QEvent::ContextMenu})
    subclasser_.AddMessage(viewport, message, SubclassWhen::Before);
  subclasser_.Subclass(view, this);
  for (const QEvent::Type message : {QEvent::KeyPress, QEvent::ContextMenu})
    subclasser_.AddMessage(view, message, SubclassWhen::Before);
}

QWidget* clsLictView::hwnd() const {
  return stack_;
}

void clsLictView::SetAccessibleName(const QString& name) {
  accessible_name_ = name;
  if (!stack_) return;
  report_->setAccessibleName(name);
  icons_->setAccessibleName(name);
}

void clsLictView::SetFocus() {
  if (stack_) CurrentView()->setFocus(Qt::OtherFocusReason);
}

bool clsLictView::ColumnAdd(int index, int width, const QString& text, Align alignment) {
  if (width < 0) return false;
  const int at = index < 0 || index > ColumnCount() ? ColumnCount() : index;
  // Its caption is to be read; a column of no width is a hidden one.
  constexpr int kPadding = 14;
  const int caption = QFontMetrics(QApplication::font()).horizontalAdvance(text) + kPadding;
  model_->InsertColumn(at,
                       {text, width > 0 ? std::max(width, caption) : 0, QtAlignment(alignment)});
  ApplyColumn(at);
  return true;
}

void clsLictView::SetColumnText(int index, const QString& text) {
  if (index >= 0 && index < ColumnCount()) model_->SetColumnText(index, text);
}

int clsLictView::ColumnCount() const {
  return model_->columnCount();
}

int clsLictView::ColumnWidth(int index) const {
  if (index < 0 || index >= ColumnCount()) return 0;
  const int width = model_->ColumnAt(index).Width;
  return report_ && width > 0 ? report_->header()->sectionSize(index) : width;
}

void clsLictView::SetColumnWidth(int index, int width) {
  if (index < 0 || index >= ColumnCount() || width < 0) return;
  model_->SetColumnWidth(index, width);
  ApplyColumn(index);
}

void clsLictView::ApplyColumn(int column) {
  if (!report_) return;
  const int width = model_->ColumnAt(column).Width;
  report_->header()->setSectionHidden(column, width == 0);
  if (width > 0) report_->header()->resizeSection(column, width);
}

int clsLictView::ItemAdd(int index, const QString& text, int small_image, int large_image) {
  return model_->InsertRow(index, text, small_image, large_image);
}

QString clsLictView::ItemText(int row, int column) const {
  return model_->Text(row, column);
}

void clsLictView::SetItemText(int row, int column, const QString& text) {
  model_->SetText(row, column, text);
}

void clsLictView::SetItemSortKey(int row, int column, qint64 key) {
  model_->SetSortKey(row, column, key);
}

void clsLictView::SetItemImage(int row, int small_image, int large_image) {
  model_->SetImages(row, small_image, large_image);
}

void clsLictView::ItemRemove(int row) {
  model_->RemoveRow(row);
}

void clsLictView::ItemClear() {
  model_->Clear();
}

int clsLictView::ItemCount() const {
  return model_->rowCount();
}

int clsLictView::ItemSelCount() const {
  return static_cast<int>(SelectedItems().size());
}

bool clsLictView::Selected(int row) const {
  const QModelIndex index = Shown(row);
  return report_ && index.isValid() && report_->selectionModel()->isSelected(index);
}

void clsLictView::SetSelected(int row, bool selected) {
  const QModelIndex index = Shown(row);
  if (!report_ || !index.isValid()) return;
  if (selected && !multi_select_) return SetSelectedItem(row);
  report_->selectionModel()->select(
      index, QItemSelectionModel::Rows |
                 (selected ? QItemSelectionModel::Select : QItemSelectionModel::Deselect));
}

int clsLictView::SelectedIndex() const {
  if (!report_) return -1;
  int first = -1;
  for (const QItemSelectionRange& range : report_->selectionModel()->selection())
    first = first < 0 ? range.top() : qMin(first, range.top());
  return first < 0 ? -1 : RowOf(order_->index(first, 0));
}

void clsLictView::SetSelectedItem(int row) {
  if (!report_) return;
  const QModelIndex index = Shown(row);
  if (!index.isValid()) {
    if (row < 0) report_->selectionModel()->clear();
    return;
  }
  report_->selectionModel()->setCurrentIndex(
      index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
  CurrentView()->scrollTo(index);
}

QList<int> clsLictView::SelectedItems() const {
  QList<int> rows;
  if (!report_) return rows;
  for (const QModelIndex& index : report_->selectionModel()->selectedRows()) rows += RowOf(index);
  std::sort(rows.begin(), rows.end());
  return rows;
}

void clsLictView::SetSelectList(bool all) {
  if (!report_) return;
  if (!all) {
    report_->clearSelection();
  } else if (multi_select_) {
    report_->selectAll();
  }
}

int clsLictView::ShownPosition(int row) const {
  return Shown(row).row();
}

bool clsLictView::Checked(int row) const {
  return model_->Checked(row);
}

void clsLictView::SetChecked(int row, bool checked) {
  model_->SetChecked(row, checked);
}

bool clsLictView::CheckBoxes() const {
  return model_->CheckBoxes();
}

void clsLictView::SetCheckBoxes(bool on) {
  model_->SetCheckBoxes(on);
}

bool clsLictView::FullRowSelect() const {
  return report_delegate_->FullRowSelect;
}

void clsLictView::SetFullRowSelect(bool on) {
  report_delegate_->FullRowSelect = on;
  if (report_) report_->setAllColumnsShowFocus(on);
  ListRefresh();
}

void clsLictView::SetHeaderDragDrop(bool on) {
  header_drag_drop_ = on;
  ApplyHeader();
}

bool clsLictView::GlidLine() const {
  return report_delegate_->GridLines;
}

void clsLictView::SetGlidLine(bool on) {
  report_delegate_->GridLines = on;
  ListRefresh();
}

bool clsLictView::HideSelection() const {
  return report_delegate_->HideSelection;
}

void clsLictView::SetHideSelection(bool on) {
  report_delegate_->HideSelection = icon_delegate_->HideSelection = on;
  ListRefresh();
}

void clsLictView::SetMultiSelect(bool on) {
  multi_select_ = on;
  if (!report_) return;
  const auto mode = on ? QAbstractItemView::ExtendedSelection : QAbstractItemView::SingleSelection;
  report_->setSelectionMode(mode);
  icons_->setSelectionMode(mode);
}

void clsLictView::SetView(ViewStyle view) {
  view_ = view;
  ApplyView();
}

void clsLictView::ApplyView() {
  if (!stack_) return;
  const bool focus = stack_->currentWidget() != nullptr && stack_->currentWidget()->hasFocus();
  model_->UseLargeImages(view_ == IconView);
  if (view_ != ReportView) {
    const int line = qMax(icons_->fontMetrics().height(), kSmallIcon);
    const bool large = view_ == IconView;
    const int icon = large ? kLargeIcon : kSmallIcon;
    icons_->setViewMode(large ? QListView::IconMode : QListView::ListMode);
    icons_->setFlow(view_ == ListView ? QListView::TopToBottom : QListView::LeftToRight);
    icons_->setWrapping(true);
    icons_->setMovement(QListView::Static);
    icons_->setIconSize({icon, icon});
    icons_->setWordWrap(large);
    const QSize cell = large ? QSize(line * 8, kLargeIcon + line * 3) : QSize(line * 14, line + 8);
    icons_->setGridSize(cell);
    icon_delegate_->CellSize = cell;
    icons_->setDragEnabled(false);
  }
  stack_->setCurrentWidget(CurrentView());
  if (focus) CurrentView()->setFocus(Qt::OtherFocusReason);
  const QModelIndex current = report_->selectionModel()->currentIndex();
  if (current.isValid()) CurrentView()->scrollTo(current);
}

void clsLictView::SetHeaderFixedWidth(bool on) {
  header_fixed_width_ = on;
  ApplyHeader();
}

void clsLictView::SetHeaderSort(bool on) {
  header_sort_ = on;
  if (!on) order_->sort(-1);
  ApplyHeader();
}

void clsLictView::ApplyHeader() {
  if (!report_) return;
  QHeaderView* header = report_->header();
  header->setSectionsMovable(header_drag_drop_);
  header->setSectionResizeMode(header_fixed_width_ ? QHeaderView::Fixed : QHeaderView::Interactive);
  header->setSectionsClickable(header_sort_);
  header->setSortIndicatorShown(order_->sortColumn() >= 0);
  header->setSortIndicator(order_->sortColumn(), order_->sortOrder());
}

void clsLictView::SortBy(int column) {
  if (!header_sort_) return;
  order_->SortNext(column);
  ApplyHeader();
}

void clsLictView::SetRaiseSubItemPrePaint(bool on) {
  raise_pre_paint_ = on;
  report_delegate_->CellColours = nullptr;
  if (on) {
    report_delegate_->CellColours = [this](const QModelIndex& index, QColor& background,
                                           QColor& text) {
      Q_EMIT OnSubItemPrePaint(RowOf(index), index.column(), background, text);
    };
  }
  ListRefresh();
}

void clsLictView::SetImageList(ImageKind kind, const QList<QIcon>& images) {
  model_->SetImageList(kind == LargeImages, images);
}

void clsLictView::ListRefresh() {
  if (stack_) CurrentView()->viewport()->update();
}

void clsLictView::WndProc(SubclassWhen, bool& handled, bool&, QWidget* window, QEvent* event,
                          std::intptr_t) {
  QAbstractItemView* view = CurrentView();
  switch (event->type()) {
    case QEvent::KeyPress: {
      const auto* key = static_cast<QKeyEvent*>(event);
      handled =
          KeyDown(key->key() == Qt::Key_Enter ? int{Qt::Key_Return} : key->key(), key->modifiers());
      break;
    }
    case QEvent::ToolTip: {
      const auto* help = static_cast<QHelpEvent*>(event);
      handled = ShowTip(help->pos(), help->globalPos());
      break;
    }
    case QEvent::MouseButtonPress: {
      const auto* mouse = static_cast<QMouseEvent*>(event);
      pressed_at_ = mouse->position().toPoint();
      if (view->indexAt(pressed_at_).isValid()) break;
      // Beside the rows nothing is selected, whatever the button and the selection mode.
      view->selectionModel()->clear();
      if (mouse->button() == Qt::LeftButton) Q_EMIT Click(-1, -1);
      break;
    }
    case QEvent::MouseButtonDblClick: {
      const auto* mouse = static_cast<QMouseEvent*>(event);
      const QPoint position = mouse->position().toPoint();
      const QModelIndex index = view->indexAt(position);
      if (mouse->button() != Qt::LeftButton || !index.isValid() || OnCheckBox(position)) break;
      handled = true;
      Q_EMIT DbClick(RowOf(index), index.column());
      break;
    }
    case QEvent::ContextMenu: {
      const auto* menu = static_cast<QContextMenuEvent*>(event);
      handled = true;
      ShowMenu(view, menu->reason() == QContextMenuEvent::Keyboard,
               view->viewport()->mapFrom(window, menu->pos()), menu->globalPos());
      break;
    }
    default:
      break;
  }
}

bool clsLictView::KeyDown(int key, Qt::KeyboardModifiers modifiers) {
  if (modifiers & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return false;
  bool handled = false;
  Q_EMIT NotifyKeyDown(key, handled);
  if (!handled && key == Qt::Key_Space && CheckBoxes()) {
    ToggleChecks();
    handled = true;
  }
  return handled;
}

void clsLictView::ToggleChecks() {
  const QModelIndex current = report_->selectionModel()->currentIndex();
  QList<int> rows = SelectedItems();
  if (rows.isEmpty() && current.isValid()) rows += RowOf(current);
  if (rows.isEmpty()) return;
  // All selected rows follow the one that has the focus.
  const int leader = current.isValid() && rows.contains(RowOf(current)) ? RowOf(current) : rows[0];
  const Qt::CheckState state = Checked(leader) ? Qt::Unchecked : Qt::Checked;
  for (const int row : rows)
    model_->setData(model_->index(row, 0), static_cast<int>(state), Qt::CheckStateRole);
}

bool clsLictView::ShowTip(QPoint position, QPoint global_position) {
  QAbstractItemView* view = CurrentView();
  const QModelIndex index = view->indexAt(position);
  if (!index.isValid()) return false;
  QString text;
  if (info_tip_) Q_EMIT NotifyInfoTip(RowOf(index), text);
  const QRect cell = view->visualRect(index);
  const auto* delegate = view_ == ReportView ? report_delegate_ : icon_delegate_;
  if (text.isEmpty() && label_tips_ && delegate->IsCut(view, cell, index))
    text = index.data(Qt::DisplayRole).toString();
  if (text.isEmpty()) return false;
  text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
  // A file name may look like markup; it is shown as it is.
  if (Qt::mightBeRichText(text)) text = Qt::convertFromPlainText(text, Qt::WhiteSpaceNormal);
  QToolTip::showText(global_position, text, view->viewport(), cell);
  return true;
}

void clsLictView::ShowMenu(QAbstractItemView* view, bool by_keyboard, QPoint position,
                           QPoint global_position) {
  QModelIndex index = view->indexAt(position);
  if (by_keyboard) {
    index = Shown(SelectedIndex());
    const QRect cell = view->visualRect(index);
    global_position = view->viewport()->mapToGlobal(cell.isValid() ? cell.center() : QPoint());
    if (cell.isValid()) global_position.setX(view->mapToGlobal(QPoint(kLargeIcon, 0)).x());
  }
  Q_EMIT RightClick(index.isValid() ? RowOf(index) : -1, index.column(), global_position);
}

bool clsLictView::OnCheckBox(QPoint position) const {
  const QAbstractItemView* view = CurrentView();
  const QModelIndex index = view->indexAt(position);
  const auto* delegate = view_ == ReportView ? report_delegate_ : icon_delegate_;
  return delegate->CheckRect(view, view->visualRect(index), index).contains(position);
}

QAbstractItemView* clsLictView::CurrentView() const {
  return view_ == ReportView ? static_cast<QAbstractItemView*>(report_) : icons_.data();
}

QModelIndex clsLictView::Shown(int row, int column) const {
  return order_->mapFromSource(model_->index(row, column));
}

int clsLictView::RowOf(const QModelIndex& shown) const {
  return order_->mapToSource(shown).row();
}

}  // namespace kavrel
