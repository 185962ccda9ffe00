#include "ui/layout_help.h"

#include <QEvent>
#include <QRegularExpression>

#include "ui/controls/cls_lict_view.h"
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
  QObject::connect(&list, &clsLictView::OnSubItemPrePaint, area,
                   [&list, area](int row, int, QColor& background, QColor& text) {
                     AlternateRowColours(list.ShownPosition(row), area->palette(), background,
                                         text);
                   });
  return area;
}

}  // namespace kavrel
