// How a list paints its cells.
#pragma once

#include <QColor>
#include <QSize>
#include <QStyledItemDelegate>
#include <functional>

namespace kavrel {

class LictDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  bool GridLines = false;
  bool FullRowSelect = false;
  bool HideSelection = true;
  bool Report = false;  ///< the cells are those of the report view
  /// The size of every cell; invalid = as large as its content.
  QSize CellSize;
  /// Asked for the colours of each cell of the report view before it is painted, when set.
  std::function<void(const QModelIndex&, QColor& background, QColor& text)> CellColours;

  /// Where the check box of this cell is, in the view's coordinates; empty without one.
  QRect CheckRect(const QWidget* view, const QRect& cell, const QModelIndex& index) const;
  /// True when the cell is too narrow for its text.
  bool IsCut(const QWidget* view, const QRect& cell, const QModelIndex& index) const;

  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 protected:
  void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;

 private:
  void OutlineCheckBox(QPainter* painter, const QStyleOptionViewItem& option,
                       const QModelIndex& index) const;
};

}  // namespace kavrel
