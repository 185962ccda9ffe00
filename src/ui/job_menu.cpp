#include "ui/job_menu.h"

#include "ui/desktop_open.h"
#include "ui/menu_kit.h"
#include "ui/qt_text.h"
#include "ui/short_text.h"

namespace kavrel {

JobMenu::JobMenu(Program& program, JobList& list, QWidget* window)
    : QObject(window), program_(program), list_(list), menu_(new QMenu(window)) {
  menu_->setObjectName(QStringLiteral("mnuJob"));
  BuildJobItems();
  menu_->addSeparator();
  BuildViewItems();
  connect(&list_.View(), &clsLictView::RightClick, this,
          [this](int, int, QPoint position) { Popup(position); });
}

void JobMenu::BuildJobItems() {
  run_ = AddItem(*menu_, QStringLiteral("mnuJobNow"), nullptr);
  connect(run_, &QAction::triggered, this, [this] { Q_EMIT RunWanted(run_->data().toInt()); });
  restore_ = AddItem(*menu_, QStringLiteral("mnuJobResNow"), nullptr);
  connect(restore_, &QAction::triggered, this,
          [this] { Q_EMIT RestoreWanted(restore_->data().toInt()); });
  preview_ = AddItem(*menu_, QStringLiteral("mnuJobPreview"), nullptr);
  connect(preview_, &QAction::triggered, this,
          [this] { Q_EMIT PreviewWanted(preview_->data().toInt()); });
  restore_preview_ = AddItem(*menu_, QStringLiteral("mnuJobResPreview"), nullptr);
  connect(restore_preview_, &QAction::triggered, this,
          [this] { Q_EMIT RestorePreviewWanted(run_->data().toInt()); });
  restore_some_ =
      AddItem(*menu_, QStringLiteral("mnuJobResSome"), TrLater(u"還原選取的檔案(&P)..."));
  connect(restore_some_, &QAction::triggered, this,
          [this] { Q_EMIT RestoreSomeWanted(run_->data().toInt()); });
  verify_ = AddItem(*menu_, QStringLiteral("mnuJobVerify"), nullptr);
  connect(verify_, &QAction::triggered, this,
          [this] { Q_EMIT VerifyWanted(run_->data().toInt()); });
  scrub_ = AddItem(*menu_, QStringLiteral("mnuJobScrub"), nullptr);
  connect(scrub_, &QAction::triggered, this, [this] { Q_EMIT ScrubWanted(run_->data().toInt()); });
  drill_ = AddItem(*menu_, QStringLiteral("mnuJobDrill"), nullptr);
  connect(drill_, &QAction::triggered, this, [this] { Q_EMIT DrillWanted(run_->data().toInt()); });
  accept_ = AddItem(*menu_, QStringLiteral("mnuJobAcceptChanges"), nullptr);
  connect(accept_, &QAction::triggered, this,
          [this] { Q_EMIT AcceptChangesWanted(run_->data().toInt()); });
  edit_ = AddItem(*menu_, QStringLiteral("mnuJobEdit"), nullptr);
  connect(edit_, &QAction::triggered, this, [this] { Q_EMIT EditWanted(edit_->data().toInt()); });
  BuildOrderItems();
  source_ = AddItem(*menu_, QStringLiteral("mnuIntDir"), TrLater(u"開啟來源資料夾"));
  connect(source_, &QAction::triggered, this, [this] { OpenFolder(run_->data().toInt(), false); });
  destination_ = AddItem(*menu_, QStringLiteral("mnuOutDir"), TrLater(u"開啟目標資料夾"));
  connect(destination_, &QAction::triggered, this,
          [this] { OpenFolder(run_->data().toInt(), true); });
}

void JobMenu::BuildOrderItems() {
  duplicate_ = AddItem(*menu_, QStringLiteral("mnuJobDuplicate"), nullptr);
  connect(duplicate_, &QAction::triggered, this,
          [this] { Q_EMIT DuplicateWanted(run_->data().toInt()); });
  remove_ = AddItem(*menu_, QStringLiteral("mnuJobRemove"), nullptr);
  connect(remove_, &QAction::triggered, this,
          [this] { Q_EMIT RemoveWanted(run_->data().toInt()); });
  up_ = AddItem(*menu_, QStringLiteral("mnuJobUp"), TrLater(u"往上移(&U)\tAlt+↑"));
  connect(up_, &QAction::triggered, this,
          [this] { Q_EMIT MoveWanted(run_->data().toInt(), run_->data().toInt() - 1); });
  down_ = AddItem(*menu_, QStringLiteral("mnuJobDown"), TrLater(u"往下移(&N)\tAlt+↓"));
  connect(down_, &QAction::triggered, this,
          [this] { Q_EMIT MoveWanted(run_->data().toInt(), run_->data().toInt() + 1); });
  search_ = AddItem(*menu_, QStringLiteral("mnuJobSearch"), TrLater(u"搜尋排程(&F)...\tCtrl+F"));
  connect(search_, &QAction::triggered, this, &JobMenu::SearchWanted);
}

void JobMenu::BuildViewItems() {
  view_ = AddChoices(*menu_, QStringLiteral("mnu_Display_1_"),
                     {TrLater(u"大圖示(&G)..."), TrLater(u"小圖示(&M)..."), TrLater(u"清單(&L)..."),
                      TrLater(u"詳細資料(&D)...")},
                     [this](int index) {
                       list_.SetView(index);
                       program_.Preferences.SetProtIcon(index);
                     });
  menu_->addSeparator();
  grid_ = AddItem(*menu_, QStringLiteral("mnu_Display_1_5"), TrLater(u"顯示格線(&H)..."), true);
  connect(grid_, &QAction::triggered, this, [this](bool on) {
    list_.View().SetGlidLine(on);
    program_.Preferences.SetProtGlidLine(on);
  });
  QMenu* columns = MakeMenu(menu_, QStringLiteral("mnuWidthView"), TrLater(u"檢視欄位"));
  menu_->addMenu(columns);
  for (int number = 0; number < kJobColumnSwitches; ++number) {
    QAction* action = AddItem(*columns, QStringLiteral("mnuSetWidth%1").arg(number),
                              JobList::SwitchAt(number).Caption, true);
    connect(action, &QAction::triggered, this, [this, number](bool on) {
      list_.ShowColumn(number, on);
      program_.Preferences.SetOutWidth(number, on);
    });
    columns_ += action;
  }
}

void JobMenu::ShowSettings() {
  const Settings& settings = program_.Preferences;
  CheckItem(*view_, settings.ProtIcon());
  list_.SetView(settings.ProtIcon());
  grid_->setChecked(settings.ProtGlidLine());
  list_.View().SetGlidLine(settings.ProtGlidLine());
  for (int number = 0; number < kJobColumnSwitches; ++number) {
    columns_[number]->setChecked(settings.OutWidth(number));
  }
}

void JobMenu::Popup(QPoint position) {
  const int row = list_.View().SelectedItem();
  const bool job = row >= 0;
  const QString name = MenuName(list_.View().ItemText(row, 0));
  run_->setText(job ? TrText(u"執行「%1」備份排程").arg(name) : TrText(u"執行指定備份排程"));
  preview_->setText(TrText(u"預覽「%1」備份內容").arg(name));
  restore_preview_->setText(TrText(u"預覽「%1」還原內容").arg(name));
  restore_->setText(job ? TrText(u"執行「%1」還原排程").arg(name) : TrText(u"執行指定還原排程"));
  verify_->setText(TrText(u"驗證「%1」的備份").arg(name));
  scrub_->setText(TrText(u"重讀「%1」的備份並核對校驗碼").arg(name));
  drill_->setText(TrText(u"試行還原「%1」").arg(name));
  accept_->setText(TrText(u"接受「%1」的檔案變更").arg(name));
  edit_->setText(job ? TrText(u"編輯「%1」備份設定").arg(name) : TrText(u"建立新的備份排程"));
  duplicate_->setText(TrText(u"複製「%1」備份排程...").arg(name));
  remove_->setText(TrText(u"移除「%1」備份排程").arg(name));
  up_->setEnabled(list_.InOrder() && row > 0);
  down_->setEnabled(list_.InOrder() && row + 1 < list_.View().ItemCount());
  search_->setVisible(list_.View().ItemCount() > 1);
  for (QAction* action : {run_, preview_, restore_, edit_}) action->setData(row);
  for (QAction* action : {run_, preview_, restore_, restore_preview_, restore_some_, verify_,
                          scrub_, drill_, duplicate_, remove_, up_, down_, source_, destination_}) {
    action->setVisible(job);
  }
  const std::vector<BackupJob>& jobs = program_.Store.Jobs;
  accept_->setVisible(job && row < std::ssize(jobs) &&
                      IsAlarmed(jobs[static_cast<std::size_t>(row)].Extras));
  menu_->setDefaultAction(job ? run_ : edit_);
  menu_->popup(position);
}

void JobMenu::OpenFolder(int row, bool destination) {
  if (row < 0 || row >= std::ssize(program_.Store.Jobs)) return;
  const BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(row)];
  std::u16string path = destination ? job.Destination.Path : job.Source.Path;
  // With date tags the path as entered is no folder; the one of today may be there.
  if (destination && !program_.Files.FolderExists(path)) path = program_.DestinationNow(job);
  OpenPathOrTell(*list_.View().hwnd(), program_.Files, path);
}

}  // namespace kavrel
