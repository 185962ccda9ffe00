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

QColor Mix(const QColor& a, const QColor& b, double part_of_a) {
  const auto mix = [part_of_a](int from_a, int from_b) {
    return static_cast<int>(from_a * part_of_a + from_b * (1 - part_of_a));
  };
  return {mix(a.red(), b.red()), mix(a.green(), b.green()), mix(a.blue(), b.blue())};
}

/// Styles take the frame of a check box from the window's colour, which can hardly be seen in a
/// list of a dark theme.
void SharpenCheckBox(QPalette& palette) {
  const QColor base = palette.color(QPalette::Base), text = palette.color(QPalette::Text);
  const bool dark = base.lightness() < text.lightness();
  palette.setColor(QPalette::Window, Mix(text, base, dark ? 0.65 : 0.4));
}

/// Styles tint the icon of a selected row until it cannot be made out.
QIcon WithoutTint(const QStyleOptionViewItem& option) {
  const QWidget* widget = option.widget;
  const qreal ratio = widget != nullptr ? widget->devicePixelRatioF() : 1.0;
  const QPixmap picture = option.icon.pixmap(option.decorationSize, ratio);
  QIcon icon(picture);
  icon.addPixmap(picture, QIcon::Selected);
  return icon;
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
  const QRect& cell = option.rect;
  // Opaque and filled: the painter blends translucent lines some hundred times slower.
  const QColor line =
      Mix(option.palette.color(QPalette::Text), option.palette.color(QPalette::Base), 0.16);
  painter->fillRect(cell.right(), cell.top(), 1, cell.height(), line);
  painter->fillRect(cell.left(), cell.bottom(), cell.width(), 1, line);
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
  if ((option->state & QStyle::State_Selected) != 0 &&
      (option->state & QStyle::State_Enabled) != 0 && !option->icon.isNull())
    option->icon = WithoutTint(*option);
  if ((option->features & QStyleOptionViewItem::HasCheckIndicator) != 0)
    SharpenCheckBox(option->palette);
  if (!Report || !CellColours) return;
  QColor background = option->palette.color(QPalette::Base);
  QColor text = option->palette.color(QPalette::Text);
  CellColours(index, background, text);
  option->backgroundBrush = background;
  option->palette.setColor(QPalette::Active, QPalette::Text, text);
  option->palette.setColor(QPalette::Inactive, QPalette::Text, text);
  // A list is disabled while a run is on, and read all the same.
  option->palette.setColor(QPalette::Disabled, QPalette::Text, Mix(text, background, 0.65));
}

}  // namespace kavrel
