#include "ui/controls/lict_delegate.h"

#include <QApplication>
#include <QPainter>

namespace kavrel {

namespace {

QStyleOptionViewItem OptionFor(const QWidget* view, const QRect& cell) {
  QStyleOptionViewItem option;
  option.initFrom(view);
  option.widget = view;
  option.rect = cell;
  return option;
}

const QStyle* StyleOf(const QWidget* view) {
  return view != nullptr ? view->style() : QApplication::style();
}

}  // namespace

QRect LictDelegate::CheckRect(const QWidget* view, const QRect& cell,
                              const QModelIndex& index) const {
  if (!index.data(Qt::CheckStateRole).isValid()) return {};
  QStyleOptionViewItem option = OptionFor(view, cell);
  initStyleOption(&option, index);
  return StyleOf(view)->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, view);
}

bool LictDelegate::IsCut(const QWidget* view, const QRect& cell, const QModelIndex& index) const {
  return QStyledItemDelegate::sizeHint(OptionFor(view, cell), index).width() > cell.width();
}

void LictDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                         const QModelIndex& index) const {
  QStyledItemDelegate::paint(painter, option, index);
  OutlineCheckBox(painter, option, index);
  if (!GridLines || !Report) return;
  QColor line = option.palette.color(QPalette::Text);
  line.setAlphaF(0.16F);
  painter->save();
  painter->setPen(QPen(line, 0));
  painter->drawLine(option.rect.topRight(), option.rect.bottomRight());
  painter->drawLine(option.rect.bottomLeft(), option.rect.bottomRight());
  painter->restore();
}

void LictDelegate::OutlineCheckBox(QPainter* painter, const QStyleOptionViewItem& option,
                                   const QModelIndex& index) const {
  const QPalette& palette = option.palette;
  const bool dark = palette.color(QPalette::Base).lightnessF() < 0.5F;
  if (!dark || index.data(Qt::CheckStateRole).isNull()) return;
  // Styles that darken a window's colour for the frame leave it invisible on a dark one.
  QColor line = palette.color(QPalette::Text);
  line.setAlphaF(0.5F);
  painter->save();
  painter->setPen(QPen(line, 0));
  painter->setBrush(Qt::NoBrush);
  painter->drawRect(CheckRect(option.widget, option.rect, index).adjusted(0, 0, -1, -1));
  painter->restore();
}

QSize LictDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
  constexpr int kRowPadding = 8;
  if (CellSize.isValid()) return CellSize;
  QSize size = QStyledItemDelegate::sizeHint(option, index);
  if (Report) size.setHeight(qMax(size.height(), option.fontMetrics.height() + kRowPadding));
  return size;
}

void LictDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const {
  QStyledItemDelegate::initStyleOption(option, index);
  const bool focused = (option->state & QStyle::State_Active) != 0 && option->widget != nullptr &&
                       option->widget->hasFocus();
  if ((HideSelection && !focused) || (Report && !FullRowSelect && index.column() != 0))
    option->state &= ~QStyle::State_Selected;
  if (!Report || !CellColours) return;
  QColor background = option->palette.color(QPalette::Base);
  QColor text = option->palette.color(QPalette::Text);
  CellColours(index, background, text);
  option->backgroundBrush = background;
  option->palette.setColor(QPalette::Active, QPalette::Text, text);
  option->palette.setColor(QPalette::Inactive, QPalette::Text, text);
}

}  // namespace kavrel
