#include "ui/main_toolbar.h"

#include <QWidget>

#include "ui/icons.h"

namespace kavrel {

void BuildMainToolbar(clsToolbar& toolbar, QWidget* area) {
  toolbar.SetTargetPictureBox(area);
  toolbar.Initialize();
  for (const IconId icon : {IconId::RunChecked, IconId::EditJobs, IconId::Log, IconId::Options,
                            IconId::Export, IconId::Import, IconId::About, IconId::Exit}) {
    toolbar.AddIcon(LoadIcon(icon));
  }
  struct Button {
    int Image;
    const char16_t *Tip, *Caption;
    clsToolbar::ButtonStyle Style;
  };
  constexpr auto kPlain = clsToolbar::PlainButton, kLine = clsToolbar::Separator,
                 kCheck = clsToolbar::CheckButton, kDropDown = clsToolbar::WholeDropDown;
  constexpr Button kButtons[] = {{0, u"執行所有已勾選排程", u"執行", kPlain},
                                 {-1, u"", u"", kLine},
                                 {1, u"新增 / 編輯備份排程", u"編輯", kPlain},
                                 {2, u"顯示備份日誌", u"日誌", kCheck},
                                 {3, u"程式選項", u"選項", kDropDown},
                                 {-1, u"", u"", kLine},
                                 {4, u"匯出備份設定", u"匯出", kPlain},
                                 {5, u"匯入備份設定", u"匯入", kPlain},
                                 {-1, u"", u"", kLine},
                                 {6, u"關於本軟體", u"關於", kDropDown},
                                 {7, u"結束Kavrel", u"結束", kPlain}};
  for (const Button& button : kButtons) {
    const int index = toolbar.AddButton(button.Image, QString::fromUtf16(button.Tip), button.Style);
    toolbar.SetButtonCaption(index, QString::fromUtf16(button.Caption));
  }
}

QString ShowLogTip(bool shown) {
  return shown ? QStringLiteral("關閉備份日誌") : QStringLiteral("顯示備份日誌");
}

}  // namespace kavrel
