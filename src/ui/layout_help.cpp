#include "ui/layout_help.h"

#include "ui/controls/cls_lict_view.h"
#include "ui/row_colours.h"

namespace kavrel {

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
