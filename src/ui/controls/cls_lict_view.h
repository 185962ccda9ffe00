// The list of the windows: a table, or icons with their names, over the same rows.
#pragma once

#include <QColor>
#include <QIcon>
#include <QList>
#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QVariant>
#include <functional>
#include <memory>

#include "ui/controls/window_subclasser.h"

class QAbstractItemView;
class QListView;
class QModelIndex;
class QStackedWidget;
class QTreeView;

namespace kavrel {

class LictDelegate;
class LictModel;
class LictOrder;

/// A property set before Create is kept and takes effect then. Rows are numbered from 0 in the
/// order of adding, whatever the user sorts or drags; what is out of range is ignored.
class clsLictView : public QObject, private SubclassOwner {
  Q_OBJECT

 public:
  enum Align { AlignLeft = 0, AlignRight = 1, AlignCentre = 2 };
  enum ViewStyle { IconView = 0, ReportView = 1, SmallIconView = 2, ListView = 3 };
  enum ImageKind { LargeImages = 0, SmallImages = 1 };

  explicit clsLictView(QObject* parent = nullptr);
  ~clsLictView() override;

  void SetTargetPictureBox(QWidget* container) { container_ = container; }
  QWidget* TargetPictureBox() const { return container_; }
  /// Creates the control, filling the container. Nothing without a container, or a second time.
  void Create();
  /// The control; null before Create.
  QWidget* hwnd() const;
  /// What screen readers call the list.
  void SetAccessibleName(const QString& name);
  void SetFocus();

  /// Inserts a column; a negative index, or one beyond the last, appends it. Width in pixels; 0
  /// hides the column. False for a negative width.
  bool ColumnAdd(int index, int width, const QString& text, Align alignment = AlignLeft);
  void SetColumnText(int index, const QString& text);
  int ColumnCount() const;
  int ColumnWidth(int index) const;
  void SetColumnWidth(int index, int width);

  /// The columns' order and widths and what is sorted by, as a text to be kept; and taking such a
  /// text back. One of other columns, or anything else, changes nothing; hidden ones stay hidden.
  QString Arrangement() const;
  void SetArrangement(const QString& kept);

  /// Inserts a row before the one at `index`; a negative index, or one beyond the last, appends.
  /// The images are positions in the image lists, -1 for none. Gives the new row's number.
  int ItemAdd(int index, const QString& text, int small_image = -1, int large_image = -1);
  void ItemAddSub(int row, int column, const QString& text) { SetItemText(row, column, text); }
  QString ItemText(int row, int column) const;
  void SetItemText(int row, int column, const QString& text);
  /// What the cell is sorted by instead of its text: a number, seconds for a time.
  void SetItemSortKey(int row, int column, qint64 key);
  void SetItemImage(int row, int small_image, int large_image);
  void ItemRemove(int row);
  void ItemClear();
  int ItemCount() const;
  int ItemSelCount() const;

  bool Selected(int row) const;
  void SetSelected(int row, bool selected);
  /// The first selected row as shown; -1 when there is none.
  int SelectedIndex() const;
  int SelectedItem() const { return SelectedIndex(); }
  /// Selects this row alone and brings it into view; -1 selects none.
  void SetSelectedItem(int row);
  /// All selected rows, ascending.
  QList<int> SelectedItems() const;
  /// All rows (only with MultiSelect), or none.
  void SetSelectList(bool all);
  /// Where the row is shown, counted from 0; the row itself as long as nothing is sorted.
  int ShownPosition(int row) const;

  bool Checked(int row) const;
  /// Raises no ItemCheck: that tells of the user's changes only.
  void SetChecked(int row, bool checked);

  bool CheckBoxes() const;
  void SetCheckBoxes(bool on);
  bool FullRowSelect() const;
  void SetFullRowSelect(bool on);
  bool HeaderDragDrop() const { return header_drag_drop_; }
  void SetHeaderDragDrop(bool on);
  /// Lines between rows and columns of the report view.
  bool GlidLine() const;
  void SetGlidLine(bool on);
  bool InfoTip() const { return info_tip_; }
  void SetInfoTip(bool on) { info_tip_ = on; }
  bool LabelTips() const { return label_tips_; }
  /// A cell that is too narrow shows its whole text as a tip.
  void SetLabelTips(bool on) { label_tips_ = on; }
  /// The selection is shown only while the list has the focus.
  bool HideSelection() const;
  void SetHideSelection(bool on);
  bool MultiSelect() const { return multi_select_; }
  void SetMultiSelect(bool on);
  ViewStyle View() const { return view_; }
  void SetView(ViewStyle view);
  bool HeaderFixedWidth() const { return header_fixed_width_; }
  void SetHeaderFixedWidth(bool on);
  /// A click on a header sorts what is shown: up, down, back to the rows' own order.
  bool HeaderSort() const { return header_sort_; }
  void SetHeaderSort(bool on);
  /// Shows only rows that hold the text in one of these columns; all with an empty text.
  void Search(const QString& text, const QList<int>& columns);
  /// Whether the rows are shown in their own order, all of them, one below the other.
  bool InOrder() const;
  /// Lets the user drag rows of the report view while `may_drag` and InOrder say so. After Create,
  /// once.
  void SetRowDrag(std::function<bool()> may_drag);
  bool RaiseSubItemPrePaint() const { return raise_pre_paint_; }
  void SetRaiseSubItemPrePaint(bool on);
  void SetImageList(ImageKind kind, const QList<QIcon>& images);
  void ListRefresh();

 Q_SIGNALS:
  /// Before a cell of the report view is painted; both colours may be changed.
  void OnSubItemPrePaint(int row, int column, QColor& background, QColor& text);
  /// The pointer rests on a row; a text that is set is shown as tip.
  void NotifyInfoTip(int row, QString& text);
  /// A key without Ctrl, Alt or Meta (a Qt::Key; Enter is always Key_Return). Setting `handled`
  /// keeps it from the list.
  void NotifyKeyDown(int key, bool& handled);
  /// The user changed a check box.
  void ItemCheck(int row, bool checked);
  /// The selection changed, by whomever; `row` is SelectedIndex().
  void ItemSelect(int row);
  /// The user dragged a row to another's place.
  void RowMoved(int row, int to);
  /// A click, -1 for both beside the rows. Not for the check box.
  void Click(int row, int column);
  void DbClick(int row, int column);
  /// A right click, or the menu key, which stands for one on the selected row.
  void RightClick(int row, int column, QPoint global_position);

 private:
  void WndProc(SubclassWhen when, bool& handled, bool& result, QWidget* window, QEvent* event,
               std::intptr_t user_value) override;
  void CreateReport();
  void CreateIcons();
  void Prepare(QAbstractItemView* view);
  void ApplyView();
  void ApplyHeader();
  void ApplyColumn(int column);
  void SortBy(int column);
  bool KeyDown(int key, Qt::KeyboardModifiers modifiers);
  void ToggleChecks();
  bool ShowTip(QPoint position, QPoint global_position);
  void ShowMenu(QAbstractItemView* view, bool by_keyboard, QPoint position, QPoint global_position);
  bool OnCheckBox(QPoint position) const;
  QAbstractItemView* CurrentView() const;
  QModelIndex Shown(int row, int column = 0) const;
  int RowOf(const QModelIndex& shown) const;

  QPointer<QWidget> container_;
  LictModel* model_;
  LictOrder* order_;
  LictDelegate* report_delegate_;
  LictDelegate* icon_delegate_;
  QPointer<QStackedWidget> stack_;
  QPointer<QTreeView> report_;
  QPointer<QListView> icons_;
  WindowSubclasser subclasser_;
  QString accessible_name_;
  ViewStyle view_ = ReportView;
  QPoint pressed_at_;
  bool header_drag_drop_ = false, info_tip_ = false, label_tips_ = false, multi_select_ = true,
       header_fixed_width_ = false, header_sort_ = false, raise_pre_paint_ = false;
};

}  // namespace kavrel
