#include "ui/pause_menu.h"

#include "files/error_text.h"
#include "ui/menu_kit.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"

namespace kavrel {

PauseMenu::PauseMenu(Program& program, QWidget* window)
    : QObject(window),
      program_(program),
      window_(window),
      menu_(MakeMenu(window, QStringLiteral("mnuPause"), TrLater(u"暫停排程"))) {
  const struct {
    PauseChoice Choice;
    const char* Name;
    const char16_t* Caption;
  } choices[] = {{PauseChoice::Hour, "mnuPauseHour", TrLater(u"暫停一小時")},
                 {PauseChoice::Tomorrow, "mnuPauseTomorrow", TrLater(u"暫停到明天零時")},
                 {PauseChoice::NoEnd, "mnuPauseNoEnd", TrLater(u"暫停，直到恢復為止")}};
  for (const auto& choice : choices) {
    QAction* item = AddItem(*menu_, QString::fromLatin1(choice.Name), choice.Caption);
    connect(item, &QAction::triggered, this, [this, choice = choice.Choice] {
      Tell(program_.Pause.Begin(EndOfPause(choice, program_.Context.Time.Now())));
    });
  }
  menu_->addSeparator();
  resume_ = AddItem(*menu_, QStringLiteral("mnuResume"), TrLater(u"恢復排程"));
  connect(resume_, &QAction::triggered, this, [this] { Tell(program_.Pause.Resume()); });
  connect(menu_, &QMenu::aboutToShow, this,
          [this] { resume_->setEnabled(program_.Pause.End().has_value()); });
}

void PauseMenu::Tell(ErrorCode error) {
  if (error) {
    TellFailure(*window_,
                TrText(u"無法寫入「%1」，%2")
                    .arg(ToQString(program_.Pause.Path()), ShownText(ApiErrorText(error))));
  }
  Q_EMIT Chosen();
}

}  // namespace kavrel
