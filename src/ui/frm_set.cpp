#include "ui/frm_set.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>

#include "app/program.h"
#include "app/reach.h"
#include "schedule/next_run.h"
#include "ui/job_item_page.h"
#include "ui/job_list_page.h"
#include "ui/job_preview_box.h"
#include "ui/job_safety_page.h"
#include "ui/job_time_page.h"
#include "ui/layout_help.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"
#include "ui/window_size.h"

namespace kavrel {

namespace {

enum Tab { ListTab = 1, ItemTab = 2, TimeTab = 3, SafetyTab = 4 };

constexpr int kPreviewDelayMs = 150;

bool IsTimeCheck(FormCheck check) {
  return check == FormCheck::NoInterval || check == FormCheck::WeekdayRefused ||
         check == FormCheck::AllDaysRefused;
}

}  // namespace

FrmSet::FrmSet(Program& program, QWidget* parent) : QDialog(parent), program_(program) {
  setObjectName(QStringLiteral("FrmSet"));
  setWindowTitle(TrText(u"新增 / 編輯備份專案"));
  auto* layout = new QVBoxLayout(this);
  MakePages();
  layout->addWidget(tabs_.PictureBox(), 1);
  layout->addWidget(preview_);
  MakeButtons();
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  for (QPushButton* button : {btnSaveJob_, btnCancelJob_, btnSave_, btnCancel_}) {
    buttons->addWidget(button);
  }
  layout->addLayout(buttons);

  preview_timer_.setSingleShot(true);
  preview_timer_.setInterval(kPreviewDelayMs);
  connect(&preview_timer_, &QTimer::timeout, this, &FrmSet::ShowPreview);

  program_.Mounts.Load();
  program_.Store.LoadJobs();
  list_->Fill(program_.Store.Jobs);
  BeginEdit(false);
  EnableMain(true);
  RememberSize(*this, &program_.WindowSizes, objectName(), 660, 700);
}

void FrmSet::MakePages() {
  auto* area = Make<QWidget>("clsTabStrip");
  tabs_.SetPictureBox(area);
  list_ = new JobListPage;
  item_ = new JobItemPage(program_);
  time_ = new JobTimePage;
  safety_ = new JobSafetyPage;
  tabs_.TabsAdd(TrText(u"備份清單(&B)"), list_);
  tabs_.TabsAdd(TrText(u"備份項目(&I)"), item_);
  tabs_.TabsAdd(TrText(u"備份時間(&H)"), time_);
  // The longest page, in some languages longer than a small screen.
  auto* page = Make<QScrollArea>("scrSafety");
  page->setFrameShape(QFrame::NoFrame);
  page->setWidgetResizable(true);
  page->setFocusPolicy(Qt::NoFocus);
  page->setWidget(safety_);
  page->setMinimumWidth(safety_->minimumSizeHint().width() +
                        page->verticalScrollBar()->sizeHint().width());
  tabs_.TabsAdd(TrText(u"進階(&J)"), page);
  tabs_.SetAccessibleName(windowTitle());
  preview_ = new JobPreviewBox;

  connect(list_, &JobListPage::NewJob, this, &FrmSet::btnNew_Click);
  connect(list_, &JobListPage::EditJob, this, &FrmSet::btnEdit_Click);
  connect(list_, &JobListPage::Duplicate, this, &FrmSet::btnDuplicate_Click);
  connect(list_, &JobListPage::RemoveJob, this, &FrmSet::btnDel_Click);
  connect(list_, &JobListPage::SelectionChanged, this, [this] { preview_timer_.start(); });
  connect(item_, &JobItemPage::Changed, this, &FrmSet::Changed);
  connect(time_, &JobTimePage::Changed, this, &FrmSet::Changed);
  connect(safety_, &JobSafetyPage::Changed, this, &FrmSet::Changed);
}

void FrmSet::MakeButtons() {
  btnSaveJob_ = Make<QPushButton>("btnSaveJob", TrText(u"套　用(&A)"));
  btnCancelJob_ = Make<QPushButton>("btnCancelJob", TrText(u"關　閉(&C)"));
  btnSave_ = Make<QPushButton>("btnSave");
  btnCancel_ = Make<QPushButton>("btnCancel", TrText(u"放棄所有變更(&D)"));
  connect(btnSaveJob_, &QPushButton::clicked, this, &FrmSet::btnSaveJob_Click);
  connect(btnCancelJob_, &QPushButton::clicked, this, &FrmSet::btnCancelJob_Click);
  connect(btnSave_, &QPushButton::clicked, this, &FrmSet::btnSave_Click);
  connect(btnCancel_, &QPushButton::clicked, this, &FrmSet::btnCancel_Click);
}

void FrmSet::SetPicker(FilePicker& picker) {
  item_->SetPicker(picker);
}

void FrmSet::Edit(std::int32_t job_index) {
  list_->Select(job_index);
  if (job_index < 0) {
    btnNew_Click();
  } else {
    btnEdit_Click();
  }
  exec();
}

void FrmSet::List(std::int32_t job_index) {
  list_->Select(job_index);
  list_->FocusList();
  exec();
}

void FrmSet::Duplicate(std::int32_t job_index) {
  list_->Select(job_index);
  btnDuplicate_Click();
  exec();
}

void FrmSet::BeginEdit(bool dirty) {
  store_dirty_ = dirty;
  btnSave_->setText(dirty ? TrText(u"儲 存 變 更(&S)") : TrText(u"關　閉(&C)"));
  btnCancel_->setEnabled(dirty);
}

void FrmSet::EnableMain(bool list_mode) {
  list_mode_ = list_mode;
  tabs_.SetTabEnabled(list_mode ? ListTab : ItemTab, true);
  tabs_.SetSelectedItem(list_mode ? ListTab : ItemTab);
  tabs_.SetTabEnabled(ListTab, list_mode);
  tabs_.SetTabEnabled(ItemTab, !list_mode);
  tabs_.SetTabEnabled(TimeTab, !list_mode);
  tabs_.SetTabEnabled(SafetyTab, !list_mode);
  for (QPushButton* button : {btnSave_, btnCancel_}) button->setVisible(list_mode);
  for (QPushButton* button : {btnSaveJob_, btnCancelJob_}) button->setVisible(!list_mode);
  (list_mode ? btnSave_ : btnSaveJob_)->setDefault(true);
  if (list_mode) list_->FocusList();
}

/// Begins to edit a job; `changed` tells that it may be applied as it is.
void FrmSet::ShowJob(const BackupJob& job, bool changed) {
  buffer_ = job;
  buffer_.NextRun = program_.NextRunTimeOf(buffer_);
  EnableMain(false);
  item_->Show(FormOf(buffer_));
  time_->Show(buffer_);
  safety_->Show(buffer_.Extras);
  btnSaveJob_->setEnabled(changed);
  ShowPreview();
}

JobForm FrmSet::ReadForm() const {
  JobForm form;
  item_->Read(form);
  time_->Read(form);
  safety_->Read(form);
  return form;
}

void FrmSet::FocusField(FormCheck check) {
  tabs_.SetSelectedItem(IsTimeCheck(check) ? TimeTab : ItemTab);
  if (IsTimeCheck(check)) {
    time_->FocusField(check);
  } else {
    item_->FocusField(check);
  }
}

void FrmSet::Changed() {
  btnSaveJob_->setEnabled(true);
  preview_timer_.start();
}

void FrmSet::ShowPreview() {
  preview_timer_.stop();
  if (!list_mode_) {
    const JobForm form = ReadForm();
    const JobPreview preview = PreviewJob(program_, form, &buffer_);
    preview_->Show(preview, form.Enabled);
    safety_->ShowForecast(ShownText(preview.States));
  } else if (const BackupJob* job = SelectedJob()) {
    preview_->Show(PreviewJob(program_, FormOf(*job), job), job->Enabled);
  } else {
    preview_->Clear();
  }
}

BackupJob* FrmSet::SelectedJob() {
  const std::int32_t index = list_->Selected();
  return index < 0 ? nullptr : &program_.Store.Jobs[static_cast<std::size_t>(index)];
}

void FrmSet::btnNew_Click() {
  BackupJob job = buffer_;
  NewJobDefaults(job, program_.Context.Time.Now(), program_.DefaultDestination());
  job.Deleted = false;
  job.RunStarted = job.LastRun = kZeroDate;
  job.LastRunResult = {};
  ShowJob(job, false);
}

void FrmSet::btnEdit_Click() {
  if (const BackupJob* job = SelectedJob()) ShowJob(*job, false);
}

void FrmSet::btnDuplicate_Click() {
  if (const BackupJob* job = SelectedJob()) ShowJob(DuplicateJob(*job, program_.Store.Jobs), true);
}

void FrmSet::btnDel_Click() {
  BackupJob* job = SelectedJob();
  if (job == nullptr ||
      !Confirm(*this, TrText(u"您確定要移除【%1】嗎？").arg(NameText(job->Name)))) {
    return;
  }
  RemoveJob(*job);
  list_->RemoveSelected();
  BeginEdit(true);
  ShowPreview();
}

void FrmSet::btnSaveJob_Click() {
  const JobForm form = ReadForm();
  Reach reach(program_, Reach::kWindow);
  const FormCheck check = ApplyForm(
      form, program_.Store.Jobs,
      [this](const BackupJob& job) { return program_.NextRunTimeOf(job); },
      [&](std::u16string_view path) { return reach.MayExist(path); }, buffer_);
  if (check != FormCheck::Ok) {
    const QString message = ShownText(FormCheckMessage(check, form));
    if (!message.isEmpty()) Inform(*this, message);
    FocusField(check);
    return;
  }
  StoreJob(buffer_, program_.Store.Jobs);
  program_.Store.Jobs[static_cast<std::size_t>(buffer_.JobIndex)].JobNumber =
      list_->SetJob(buffer_.JobIndex, buffer_.Name);
  list_->Select(buffer_.JobIndex);
  BeginEdit(true);
  EnableMain(true);
  ShowPreview();
}

void FrmSet::btnCancelJob_Click() {
  EnableMain(true);
  btnCancel_->setEnabled(store_dirty_);
  ShowPreview();
}

void FrmSet::btnSave_Click() {
  if (store_dirty_ && !program_.Store.SaveJobs()) {
    TellFailure(*this, TrText(u"備份排程無法儲存\r\n錯誤代碼：") +
                           ToQString(SystemErrorText(program_.Store.LastError())));
    return;
  }
  accept();
}

void FrmSet::btnCancel_Click() {
  program_.Store.LoadJobs();
  QDialog::reject();
}

void FrmSet::reject() {
  if (!list_mode_) {
    const bool leave = !btnSaveJob_->isEnabled() ||
                       Confirm(*this, TrText(u"尚未套用的變更將會遺失，您確定要離開嗎？"));
    if (leave) btnCancelJob_Click();
    return;
  }
  if (!store_dirty_) {
    btnSave_Click();
    return;
  }
  switch (Ask(*this, TrText(u"備份排程已經變更，您要儲存嗎？"))) {
    case Choice::Yes:
      btnSave_Click();
      break;
    case Choice::No:
      btnCancel_Click();
      break;
    case Choice::Cancel:
      break;
  }
}

}  // namespace kavrel
