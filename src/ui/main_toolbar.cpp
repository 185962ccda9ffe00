#include "ui/main_toolbar.h"

#include <QWidget>

#include "ui/icons.h"
#include "ui/language.h"

namespace kavrel {

namespace {

struct Button {
  int Image;
  const char16_t *Tip, *Caption;
  clsToolbar::ButtonStyle Style;
};
constexpr auto kPlain = clsToolbar::PlainButton, kLine = clsToolbar::Separator,
               kCheck = clsToolbar::CheckButton, kDropDown = clsToolbar::WholeDropDown;
constexpr Button kButtons[] = {{0, TrLater(u"執行所有已勾選排程"), TrLater(u"執行"), kPlain},
                               {-1, u"", u"", kLine},
                               {1, TrLater(u"新增 / 編輯備份排程"), TrLater(u"編輯"), kPlain},
                               {2, TrLater(u"顯示備份日誌"), TrLater(u"日誌"), kCheck},
                               {3, TrLater(u"程式選項"), TrLater(u"選項"), kDropDown},
                               {-1, u"", u"", kLine},
                               {4, TrLater(u"匯出備份設定"), TrLater(u"匯出"), kPlain},
                               {5, TrLater(u"匯入備份設定"), TrLater(u"匯入"), kPlain},
                               {-1, u"", u"", kLine},
                               {6, TrLater(u"關於本軟體"), TrLater(u"關於"), kDropDown},
                               {7, TrLater(u"結束Kavrel"), TrLater(u"結束"), kPlain}};

}  // namespace

void BuildMainToolbar(clsToolbar& toolbar, QWidget* area) {
  toolbar.SetTargetPictureBox(area);
  toolbar.Initialize();
  for (const IconId icon : {IconId::RunChecked, IconId::EditJobs, IconId::Log, IconId::Options,
                            IconId::Export, IconId::Import, IconId::About, IconId::Exit}) {
    toolbar.AddIcon(LoadIcon(icon));
  }
  for (const Button& button : kButtons) toolbar.AddButton(button.Image, {}, button.Style);
  OnLanguage(&toolbar, [&toolbar] {
    int index = 0;
    for (const Button& button : kButtons) {
      toolbar.SetButtonCaption(++index, TrText(button.Caption));
      toolbar.SetButtonTipText(index, TrText(button.Tip));
    }
    toolbar.SetButtonTipText(kShowLog, ShowLogTip(toolbar.ButtonChecked(kShowLog)));
  });
}

QString ShowLogTip(bool shown) {
  return shown ? TrText(u"關閉備份日誌") : TrText(u"顯示備份日誌");
}

}  // namespace kavrel
