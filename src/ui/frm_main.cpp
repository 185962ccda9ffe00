#include "ui/frm_main.h"

#include <QAccessibleWidget>
#include <QApplication>
#include <QCloseEvent>
#include <QPointer>
#include <QShortcut>
#include <QVBoxLayout>
#include <QWindow>

#include "app/drives.h"
#include "app/first_job.h"
#include "files/error_text.h"
#include "platform/process.h"
#include "ui/backup_care.h"
#include "ui/dialogs.h"
#include "ui/icons.h"
#include "ui/job_edits.h"
#include "ui/job_list.h"
#include "ui/job_menu.h"
#include "ui/job_transfer.h"
#include "ui/language.h"
#include "ui/log_view.h"
#include "ui/main_toolbar.h"
#include "ui/message_box.h"
#include "ui/options_menu.h"
#include "ui/other_start.h"
#include "ui/qt_text.h"
#include "ui/result_bar.h"
#include "ui/run_panel.h"
#include "ui/run_show.h"
#include "ui/tray.h"
#include "ui/tray_menu.h"
#include "ui/welcome_page.h"
#include "ui/window_size.h"

namespace kavrel {

namespace {

constexpr QSize kDesignSize{920, 560};
constexpr int kWakeEveryMs = 1000;
// Where the columns' order and widths are kept.
constexpr std::u16string_view kJobColumns = u"lstJob", kLogColumns = u"lstLog";

/// A plain widget would be one of many panes to a screen reader.
QAccessibleInterface* MakeAccessible(const QString& class_name, QObject* object) {
  if (class_name != QLatin1String(FrmMain::staticMetaObject.className())) return nullptr;
  return new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::Window);
}

}  // namespace

FrmMain::FrmMain() {
  setObjectName(QStringLiteral("FrmMain"));
  setWindowTitle(TrText(kAppTitle));
  setWindowIcon(LoadIcon(IconId::Program));
  // Questions that come before the window, or while it is hidden, bear it as well.
  QApplication::setWindowIcon(windowIcon());
  QAccessible::installFactory(MakeAccessible);
}

FrmMain::~FrmMain() = default;

void FrmMain::Start(Program& program, std::u16string_view command_line) {
  program_ = &program;
  const bool readable = program.Start(command_line);
  if (ended_) return;
  OnLanguageChange(this, [this] { FollowLanguage(); });
  if (!hide_at_start_) {
    show();
  } else if (!Tray::Available()) {
    showMinimized();
  }
  if (!readable) {
    TellFailure(*this,
                TrText(u"無法讀取備份設定檔案「%1」，%2\n這個檔案將保持原狀，本次的變更不會儲存。")
                    .arg(ToQString(program.Store.Path()),
                         ShownText(ApiErrorText(program.Store.LastError()))));
  }
  if (!hide_at_start_ && !program.State.CommandLineRun) AskAboutDrives();
}

std::optional<std::vector<std::u16string>> FrmMain::TakeStart(const OtherStart& start) {
  if (ended_ || !program_) return std::nullopt;
  if (!start.Jobs.empty()) return program_->RunNext(start.Jobs);
  // The toolkit shows it to the desktop, which else may leave the window where it is.
  if (!start.Activation.empty()) qputenv("XDG_ACTIVATION_TOKEN", start.Activation.c_str());
  ShowWindow();
  // One that runs named jobs alone would be gone in a moment.
  stay_ = program_->State.CommandLineRun;
  if (!start.Versions.empty()) WantVersions(start.Versions);
  return std::vector<std::u16string>();
}

// ---- Building ----

void FrmMain::BuildControls() {
  LimitSize(*this, kDesignSize);
  resize(minimumSize());
  BuildAreas();
  BuildMainToolbar(toolbar_, toolbar_area_);
  connect(&toolbar_, &clsToolbar::ButtonClick, this, &FrmMain::ToolBar_ButtonClick);
  connect(&toolbar_, &clsToolbar::ButtonDropDown, this, &FrmMain::ToolBar_ButtonDropDown);
  status_bar_.SetTargetForm(status_area_);
  status_bar_.Create();
  status_bar_.PanelAdd(0, {}, 15000);
  BuildLists();
  options_ = new OptionsMenu(*program_, this);
  connect(options_, &OptionsMenu::ExclusionsWanted, this,
          [this] { OpenExclusions(*program_, this); });
  connect(options_, &OptionsMenu::ShortcutsWanted, this, &FrmMain::MakeShortcuts);
  connect(options_, &OptionsMenu::DrivesWanted, this, &FrmMain::EditDrives);
  connect(options_, &OptionsMenu::PauseChosen, this, &FrmMain::TakePause);
  panel_ = new RunPanel(captions_, file_bar_);
  run_ = std::make_unique<RunShow>(*program_, *panel_, status_bar_);
  care_ = new BackupCare(*program_, *run_, *log_, this);
  connect(care_, &BackupCare::Ended, this, &FrmMain::TellOutcome);
  connect(care_, &BackupCare::Finished, this, &FrmMain::ShowEnd);
  connect(care_, &BackupCare::JobChanged, this, &FrmMain::FillJobList);
  connect(job_menu_, &JobMenu::RestoreSomeWanted, care_, &BackupCare::RestoreSome);
  connect(job_menu_, &JobMenu::RestorePreviewWanted, care_,
          [this](int row) { care_->PreviewRestore(row, options_->Restore()); });
  connect(job_menu_, &JobMenu::VerifyWanted, care_, &BackupCare::Verify);
  connect(job_menu_, &JobMenu::ScrubWanted, care_, &BackupCare::Scrub);
  connect(job_menu_, &JobMenu::DrillWanted, care_, &BackupCare::TryRestore);
  connect(panel_, &RunPanel::CancelClick, this, [this] {
    if (program_->State.RunBusy) program_->State.CancelRequested = true;
  });
  BuildKeys();
  Arrange();
  connect(&timer_min_, &QTimer::timeout, this, [this] { program_->Tick(); });
  connect(&timer_wake_, &QTimer::timeout, this, &FrmMain::TimerWake_Timer);
  timer_wake_.setInterval(kWakeEveryMs);
  timer_wake_.start();
}

void FrmMain::BuildAreas() {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  const auto area = [&](const char* name, int stretch) {
    auto* made = new QWidget(this);
    made->setObjectName(QString::fromLatin1(name));
    layout->addWidget(made, stretch);
    return made;
  };
  toolbar_area_ = area("picToolbar", 0);
  job_area_ = area("PiclstJob", 1);
  log_area_ = area("piclstLog", 1);
  log_area_->hide();
  welcome_ = new WelcomePage(*program_);
  welcome_->hide();
  layout->addWidget(welcome_, 1);
  connect(welcome_, &WelcomePage::JobWanted, this, &FrmMain::MakeFirstJob);
  connect(welcome_, &WelcomePage::EditorWanted, this,
          [this] { EditJobs([this] { OpenJobEditor(*program_, -1, this); }); });
  result_ = new ResultBar(*program_);
  layout->addWidget(result_);
  connect(result_, &ResultBar::LogWanted, this, &FrmMain::OpenLog);
  captions_ = area("PicLogs", 0);
  file_bar_ = area("picPtbFile", 0);
  status_area_ = area("picStatusBar", 0);
}

void FrmMain::BuildLists() {
  log_ = new LogView(*program_, log_area_, this);
  connect(log_, &LogView::CountChanged, this, &FrmMain::UpdateCaption);
  jobs_ = new JobList(*program_, job_area_);
  connect(&jobs_->View(), &clsLictView::ItemCheck, this, &FrmMain::lstJob_ItemCheck);
  connect(jobs_, &JobList::Activated, this, &FrmMain::AskAndRun);
  job_menu_ = new JobMenu(*program_, *jobs_, this);
  connect(job_menu_, &JobMenu::RunWanted, this, &FrmMain::AskAndRun);
  connect(job_menu_, &JobMenu::RestoreWanted, this, &FrmMain::AskAndRestore);
  connect(job_menu_, &JobMenu::PreviewWanted, this, &FrmMain::PreviewAndRun);
  connect(job_menu_, &JobMenu::EditWanted, this,
          [this](int row) { EditJobs([&] { OpenJobEditor(*program_, row, this); }); });
  BuildJobEdits();
}

void FrmMain::BuildJobEdits() {
  job_edits_ = new JobEdits(*program_, *jobs_, this);
  auto* areas = static_cast<QVBoxLayout*>(layout());
  areas->insertWidget(areas->indexOf(job_area_), job_edits_->SearchStrip());
  connect(job_edits_, &JobEdits::EditWanted, this, &FrmMain::EditJobs);
  connect(job_menu_, &JobMenu::RemoveWanted, job_edits_, &JobEdits::Remove);
  connect(job_menu_, &JobMenu::AcceptChangesWanted, job_edits_, &JobEdits::AcceptChanges);
  connect(job_menu_, &JobMenu::MoveWanted, job_edits_, &JobEdits::Move);
  connect(job_menu_, &JobMenu::SearchWanted, job_edits_, &JobEdits::OpenSearch);
  connect(job_menu_, &JobMenu::DuplicateWanted, this,
          [this](int row) { EditJobs([&] { OpenJobEditorCopy(*program_, row, this); }); });
}

void FrmMain::Arrange() {
  const auto kept = [this](std::u16string_view name) {
    return ToQString(program_->WindowSizes.Get(name).value_or(u""));
  };
  jobs_->View().SetArrangement(kept(kJobColumns));
  log_->View().SetArrangement(kept(kLogColumns));
  RestorePlace(*this, program_->WindowSizes, objectName());
}

void FrmMain::KeepArrangement() {
  program_->WindowSizes.Set(kJobColumns, FromQString(jobs_->View().Arrangement()));
  program_->WindowSizes.Set(kLogColumns, FromQString(log_->View().Arrangement()));
  KeepPlace(*this, program_->WindowSizes, objectName());
}

void FrmMain::BuildKeys() {
  // What the toolbar does can also be had without walking there.
  const auto key = [this](const QKeySequence& keys, int button) {
    connect(new QShortcut(keys, this), &QShortcut::activated, this, [this, button] {
      if (toolbar_area_->isEnabled()) ToolBar_ButtonClick(button);
    });
  };
  key(Qt::Key_F5, kRunChecked);
  key(Qt::Key_F2, kEditJobs);
  key(QKeySequence(Qt::CTRL | Qt::Key_Q), kExit);
  connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_F), this), &QShortcut::activated, this,
          [this] {
            if (job_area_->isVisible() && job_area_->isEnabled()) job_edits_->OpenSearch();
          });
  connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_L), this), &QShortcut::activated, this,
          [this] {
            if (toolbar_area_->isEnabled()) ShowLog(!toolbar_.ButtonChecked(kShowLog));
          });
}

void FrmMain::CreateTrayIcon() {
  tray_ = new Tray(this);
  run_->SetTray(tray_);
  connect(tray_, &Tray::Click, this, &FrmMain::ToggleMainWindow);
  connect(tray_, &Tray::MessageClick, this, &FrmMain::OpenMessage);
  auto* menu = new TrayMenu(*program_, this);
  connect(menu, &TrayMenu::ToggleWanted, this, &FrmMain::ToggleMainWindow);
  connect(menu, &TrayMenu::PauseChosen, this, &FrmMain::TakePause);
  connect(menu, &TrayMenu::ExitWanted, this, &FrmMain::Leave);
  tray_->SetMenu(menu->Menu());
}

void FrmMain::HideToTray() {
  hide_at_start_ = true;
}

void FrmMain::ShowSettings() {
  options_->ShowSettings();
  job_menu_->ShowSettings();
  log_->ShowSettings();
}

void FrmMain::FillJobList() {
  jobs_->Fill();
  ShowPane();
  ShowHealth();
}

void FrmMain::ShowLogList() {
  log_->Follow();
  result_->ShowLast(program_->LogRows.Rows());
  ShowHealth();
}

void FrmMain::LayOut() {
  ShowPane();
  FocusPane();
  TimerWake_Timer();
}

// ---- Toolbar ----

void FrmMain::ToolBar_ButtonClick(int index) {
  switch (index) {
    case kRunChecked:
      return RunCheckedJobs();
    case kEditJobs:
      return EditJobs([this] { OpenJobEditorList(*program_, jobs_->View().SelectedItem(), this); });
    case kShowLog:
      return ShowLog(toolbar_.ButtonChecked(kShowLog));
    case kExport:
      return ExportByDialog(*program_, *this);
    case kImport:
      return ImportJobs();
    case kExit:
      return Leave();
    default:
      return;
  }
}

void FrmMain::ToolBar_ButtonDropDown(int index, int x, int y) {
  if (index == kOptions) options_->PopupOptions({x, y});
  if (index == kHelp) options_->PopupHelp({x, y});
}

void FrmMain::ShowLog(bool show) {
  toolbar_.SetButtonChecked(kShowLog, show);
  toolbar_.SetButtonTipText(kShowLog, ShowLogTip(show));
  ShowPane();
  FocusPane();
  if (show) log_->ShowNewest();
  UpdateCaption();
}

void FrmMain::ShowPane() {
  const bool log = toolbar_.ButtonChecked(kShowLog);
  // A store that could not be read may hold jobs.
  const bool welcome = !log && program_->Store.Jobs.empty() && program_->Store.LastError() == 0;
  if (log || welcome) job_edits_->CloseSearch();
  QWidget* const shown = log ? log_area_ : welcome ? welcome_ : job_area_;
  // What comes is laid out as it is shown: it is to have all the room then.
  bool takes_focus = false;
  for (QWidget* pane : {job_area_, log_area_, static_cast<QWidget*>(welcome_)}) {
    if (pane == shown) continue;
    takes_focus = takes_focus || (focusWidget() && pane->isAncestorOf(focusWidget()));
    pane->hide();
  }
  shown->show();
  if (takes_focus) FocusPane();
}

void FrmMain::FocusPane() {
  if (!welcome_->isHidden()) return welcome_->FocusList();
  (log_area_->isHidden() ? jobs_->View() : log_->View()).SetFocus();
}

void FrmMain::MakeFirstJob(const JobForm& form) {
  EditJobs([&] {
    const std::u16string why = kavrel::MakeFirstJob(*program_, form);
    if (!why.empty()) TellFailure(*this, ShownText(why));
  });
  if (ended_ || program_->Store.Jobs.empty()) return;
  if (Confirm(*this, TrText(u"備份排程「%1」已經建立並啟動。\n您要現在執行第一次備份嗎？")
                         .arg(ToQString(form.Name)))) {
    RunNow(0);
  }
}

void FrmMain::FollowLanguage() {
  const int row = jobs_->View().SelectedItem();
  jobs_->Fill();
  jobs_->View().SetSelectedItem(row);
  ShowHealth();
  ShowStatus();
  UpdateCaption();
}

void FrmMain::UpdateCaption() {
  QString caption = TrText(kAppTitle);
  if (toolbar_.ButtonChecked(kShowLog)) {
    caption += ToQString(
        TrCount(u" [ 備份紀錄總計：%1 筆 ]", static_cast<std::uint64_t>(log_->View().ItemCount())));
  }
  setWindowTitle(caption);
}

void FrmMain::ImportJobs() {
  const bool ticking = program_->Schedule.TimerOn();
  program_->Schedule.SetSchedulerTimer(false);
  const bool imported = ImportByDialog(*program_, *this);
  if (ended_) return;
  if (ticking || imported) program_->Schedule.SetSchedulerTimer(true);
  if (!imported) return;
  FillJobList();
  AskAboutDrives();
}

void FrmMain::EditJobs(const std::function<void()>& editor) {
  if (program_->State.RunBusy) return;
  program_->Schedule.SetSchedulerTimer(false);
  program_->Store.SaveJobs();
  editor();
  if (ended_) return;
  program_->ReloadJobs();
  FillJobList();
  program_->Schedule.SetSchedulerTimer(!program_->Store.Jobs.empty());
}

void FrmMain::MakeShortcuts() {
  const bool ticking = program_->Schedule.TimerOn();
  const QPointer<QWidget> focus = focusWidget();
  if (ticking) program_->Schedule.SetSchedulerTimer(false);
  setEnabled(false);
  hide();
  OpenShortcuts(*program_, this);
  if (ended_) return;
  if (ticking) program_->Schedule.SetSchedulerTimer(true);
  setEnabled(true);
  show();
  // A window that is switched off forgets where the keys went.
  if (focus) focus->setFocus();
}

void FrmMain::AskAboutDrives() {
  if (!DrivesToAskAbout(*program_).empty()) EditDrives();
}

void FrmMain::EditDrives() {
  // What is due waits: a drive may be about to come.
  const bool ticking = program_->Schedule.TimerOn();
  if (ticking) program_->Schedule.SetSchedulerTimer(false);
  OpenDrives(*program_, this);
  if (!ended_ && ticking) program_->Schedule.SetSchedulerTimer(true);
}

// ---- Seen, hidden, ended ----

void FrmMain::Attract() {
  if (Seen()) kavrel::Attract(*this);
}

bool FrmMain::Seen() const {
  return isVisible() && !isMinimized();
}

void FrmMain::ToggleMainWindow() {
  Seen() ? HideWindow() : ShowWindow();
}

void FrmMain::ShowWindow() {
  setWindowState(windowState() & ~Qt::WindowMinimized);
  show();
  raise();
  QWidget* modal = QApplication::activeModalWidget();
  (modal ? modal : this)->activateWindow();
}

void FrmMain::HideWindow() {
  if (Tray::Available()) {
    hide();
  } else {
    showMinimized();
  }
}

void FrmMain::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  if (std::exchange(follows_screen_, true)) return;
  connect(windowHandle(), &QWindow::screenChanged, this, [this] { LimitSize(*this, kDesignSize); });
}

void FrmMain::closeEvent(QCloseEvent* event) {
  if (qApp->isSavingSession()) {
    // The user logs out; a window that stays would be in the way.
    event->accept();
    program_->State.CancelRequested = program_->State.RunBusy;
    if (!program_->State.RunBusy) Leave();
  } else if (ExitRequested || ended_) {
    event->accept();
    End();
  } else {
    event->ignore();
    HideWindow();
    if (!isVisible() && program_->TellHiding()) tray_->TellHidden();
  }
}

bool FrmMain::EndIfInterrupted() {
  if (!InterruptRequested() || program_->State.RunBusy) return false;
  Leave();
  return true;
}

void FrmMain::EndProgram() {
  if (stay_ && !InterruptRequested()) return StayOpen();
  Leave();
}

void FrmMain::StayOpen() {
  stay_ = program_->State.CommandLineRun = false;
  EnableControls(true);
  program_->ReloadJobs();
  if (ended_) return;
  FillJobList();
  program_->Schedule.SetSchedulerTimer(!program_->Store.Jobs.empty());
}

void FrmMain::Leave() {
  ExitRequested = true;
  End();
}

void FrmMain::End() {
  if (std::exchange(ended_, true)) return;
  timer_min_.stop();
  timer_wake_.stop();
  KeepArrangement();
  program_->Shutdown();
  tray_->Remove();
  hide();
  Q_EMIT Ended();
}

}  // namespace kavrel
