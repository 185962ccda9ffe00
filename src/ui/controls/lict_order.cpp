#include "ui/controls/lict_order.h"

#include <QLocale>

#include "ui/controls/lict_model.h"

namespace kavrel {

LictOrder::LictOrder(QObject* parent)
    : QSortFilterProxyModel(parent),
      collator_(QLocale(QLocale::Chinese, QLocale::TraditionalChineseScript, QLocale::Taiwan)) {
  collator_.setNumericMode(true);
  collator_.setCaseSensitivity(Qt::CaseInsensitive);
}

void LictOrder::SortNext(int column) {
  if (column != sortColumn()) {
    sort(column, Qt::AscendingOrder);
  } else if (sortOrder() == Qt::AscendingOrder) {
    sort(column, Qt::DescendingOrder);
  } else {
    sort(-1);
  }
}

void LictOrder::Search(const QString& text, const QList<int>& columns) {
  search_ = text;
  search_columns_ = columns;
  invalidateFilter();
}

bool LictOrder::filterAcceptsRow(int row, const QModelIndex& parent) const {
  if (search_.isEmpty()) return true;
  for (const int column : search_columns_) {
    const QString text = sourceModel()->index(row, column, parent).data().toString();
    if (text.contains(search_, Qt::CaseInsensitive)) return true;
  }
  return false;
}

bool LictOrder::lessThan(const QModelIndex& left, const QModelIndex& right) const {
  const QVariant a = left.data(LictModel::kSortRole), b = right.data(LictModel::kSortRole);
  const bool a_text = a.typeId() == QMetaType::QString, b_text = b.typeId() == QMetaType::QString;
  if (a_text && b_text) return collator_.compare(a.toString(), b.toString()) < 0;
  if (a_text != b_text) return a_text;  // cells without a key come first
  return a.toLongLong() < b.toLongLong();
}

}  // namespace kavrel
