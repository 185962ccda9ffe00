// How the user has arranged a list: its columns, which rows are shown and in which order.
#include <QHeaderView>
#include <QTreeView>

#include "ui/controls/cls_lict_view.h"
#include "ui/controls/lict_order.h"
#include "ui/controls/row_dragger.h"

namespace kavrel {

namespace {

constexpr int kWidest = 4000;

/// "a:b" as two numbers; empty when it is something else.
QList<int> Pair(const QString& text) {
  QList<int> numbers;
  for (const QString& part : text.split(u':')) {
    bool read = false;
    numbers += part.toInt(&read);
    if (!read) return {};
  }
  return numbers.size() == 2 ? numbers : QList<int>();
}

}  // namespace

QString clsLictView::Arrangement() const {
  if (!report_) return {};
  const QHeaderView& header = *report_->header();
  QStringList parts{QStringLiteral("%1:%2").arg(order_->sortColumn()).arg(order_->sortOrder())};
  for (int column = 0; column < ColumnCount(); ++column) {
    parts +=
        QStringLiteral("%1:%2").arg(header.visualIndex(column)).arg(header.sectionSize(column));
  }
  return parts.join(u',');
}

void clsLictView::SetArrangement(const QString& kept) {
  const QStringList parts = kept.split(u',');
  if (!report_ || parts.size() != ColumnCount() + 1) return;
  QList<int> at(ColumnCount(), -1);  // the column of each place
  QList<QList<int>> pairs;
  for (const QString& part : parts) pairs += Pair(part);
  for (int column = -1; column < ColumnCount(); ++column) {
    const QList<int>& pair = pairs[column + 1];
    if (pair.isEmpty()) return;
    if (column < 0) continue;
    if (pair[0] < 0 || pair[0] >= ColumnCount() || at[pair[0]] >= 0) return;
    at[pair[0]] = column;
  }
  QHeaderView& header = *report_->header();
  for (int place = 0; place < ColumnCount(); ++place) {
    header.moveSection(header.visualIndex(at[place]), place);
    const int width = pairs[at[place] + 1][1];
    if (!header.isSectionHidden(at[place]) && width > 0) {
      header.resizeSection(at[place], qMin(width, kWidest));
    }
  }
  const int sorted = pairs[0][0];
  if (header_sort_ && sorted >= 0 && sorted < ColumnCount()) {
    order_->sort(sorted,
                 pairs[0][1] == Qt::DescendingOrder ? Qt::DescendingOrder : Qt::AscendingOrder);
  }
  ApplyHeader();
}

void clsLictView::Search(const QString& text, const QList<int>& columns) {
  order_->Search(text, columns);
}

bool clsLictView::InOrder() const {
  return view_ == ReportView && order_->sortColumn() < 0 && !order_->Searches();
}

void clsLictView::SetRowDrag(std::function<bool()> may_drag) {
  if (!report_) return;
  auto* dragger = new RowDragger(
      *report_, [this, may_drag = std::move(may_drag)] { return InOrder() && may_drag(); });
  connect(dragger, &RowDragger::Moved, this, &clsLictView::RowMoved);
}

}  // namespace kavrel
