#include "ui/layout_help.h"

#include <QEvent>
#include <QPointer>
#include <QRegularExpression>
#include <QTreeView>

#include "ui/controls/cls_lict_view.h"
#include "ui/language.h"
#include "ui/row_colours.h"

namespace kavrel {

namespace {

class WheelFilter final : public QObject {
 public:
  using QObject::QObject;
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() != QEvent::Wheel) return false;
    event->ignore();
    return true;
  }
};

/// Widens a list's columns, in proportion, to the width of what shows them; none becomes narrower
/// than it was made.
class ColumnFitter final : public QObject {
 public:
  ColumnFitter(clsLictView& list, QWidget* viewport) : QObject(viewport), list_(list) {
    viewport->installEventFilter(this);
  }
  bool eventFilter(QObject* viewport, QEvent* event) override {
    if (event->type() == QEvent::Resize) Fit(static_cast<QWidget*>(viewport)->width());
    return false;
  }

 private:
  void Fit(int available) {
    int total = 0;
    for (int column = 0; column < list_.ColumnCount(); ++column) {
      if (column >= least_.size()) least_ += list_.ColumnWidth(column);
      total += list_.ColumnWidth(column);
    }
    int used = 0;
    for (int column = 0; column < list_.ColumnCount(); ++column) {
      const bool last = column == list_.ColumnCount() - 1;
      const int share =
          last ? available - used : list_.ColumnWidth(column) * available / qMax(total, 1);
      list_.SetColumnWidth(column, qMax(least_[column], share));
      used += list_.ColumnWidth(column);
    }
  }

  clsLictView& list_;
  QList<int> least_;
};

}  // namespace

QString PlainLabel(const QString& text) {
  static const QRegularExpression kDecoration(QStringLiteral(R"(\(&\w\)|&|[：\s　])"));
  return QString(text).remove(kDecoration);
}

QLabel* MakeLabel(const QString& text, QWidget* buddy) {
  auto* label = new QLabel(text);
  label->setBuddy(buddy);
  buddy->setAccessibleName(PlainLabel(text));
  return label;
}

QLabel* SpeakingLabel(const char16_t* id, QWidget* buddy) {
  QLabel* label = MakeLabel({}, buddy);
  OnLanguage(label, [label, buddy = QPointer(buddy), id] {
    label->setText(TrText(id));
    if (buddy) buddy->setAccessibleName(PlainLabel(label->text()));
  });
  return label;
}

void IgnoreWheel(QWidget* control) {
  control->installEventFilter(new WheelFilter(control));
}

QWidget* MakeList(clsLictView& list, const char* name, const QString& accessible_name) {
  auto* area = Make<QWidget>(name);
  list.SetTargetPictureBox(area);
  list.Create();
  list.SetAccessibleName(accessible_name);
  list.SetFullRowSelect(true);
  list.SetMultiSelect(false);
  list.SetHideSelection(false);
  list.SetLabelTips(true);
  list.SetRaiseSubItemPrePaint(true);
  area->setFocusProxy(list.hwnd());
  new ColumnFitter(list, area->findChild<QTreeView*>()->viewport());
  QObject::connect(&list, &clsLictView::OnSubItemPrePaint, area,
                   [&list, area](int row, int, QColor& background, QColor& text) {
                     AlternateRowColours(list.ShownPosition(row), area->palette(), background,
                                         text);
                   });
  return area;
}

}  // namespace kavrel
