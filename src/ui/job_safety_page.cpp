#include "ui/job_safety_page.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QVBoxLayout>
#include <algorithm>
#include <optional>

#include "app/state_forecast.h"
#include "core/keep_plan.h"
#include "ui/layout_help.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {

/// Texts and fields in one line, from the left.
QHBoxLayout* MakeRow(std::initializer_list<QWidget*> parts) {
  auto* row = new QHBoxLayout;
  for (QWidget* part : parts) row->addWidget(part);
  row->addStretch();
  return row;
}

QLabel* MakeNote(const QString& text) {
  auto* note = new QLabel(text);
  note->setWordWrap(true);
  return note;
}

/// The rows of what is kept: all, a number of them, the ready plans, and the user's own.
constexpr int kKeepAll = 0, kKeepCount = 1, kFirstPlan = 2;

/// As it is written in the file, where it is a plan.
std::u16string PlanText(const std::u16string& text) {
  const std::optional<KeepPlan> plan = ParseKeepPlan(text);
  return plan ? KeepPlanText(*plan) : text;
}

}  // namespace

JobSafetyPage::JobSafetyPage() {
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(MakeGuard());
  layout->addWidget(MakeOthers());
  layout->addWidget(MakeProof());
  layout->addWidget(MakeKeeping());
  layout->addWidget(MakeStates());
  layout->addStretch();
}

QSpinBox* JobSafetyPage::MakeNumber(const char* name, int first, int last) {
  auto* number = Make<QSpinBox>(name);
  number->setRange(first, last);
  IgnoreWheel(number);
  connect(number, &QSpinBox::valueChanged, this, &JobSafetyPage::Changed);
  return number;
}

QCheckBox* JobSafetyPage::MakeSwitch(const char* name, const QString& text) {
  auto* box = Make<QCheckBox>(name, text);
  connect(box, &QCheckBox::clicked, this, &JobSafetyPage::Changed);
  return box;
}

QWidget* JobSafetyPage::MakeGuard() {
  chkGuard_ = MakeSwitch("chkGuard", TrText(u"同步備份要移除大量檔案之前先詢問(&G)"));
  numGuardPercent_ = MakeNumber("numGuardPercent", 1, 100);
  numGuardFewest_ = MakeNumber("numGuardFewest", 1, kMaxGuardFewest);
  QLabel* percent = MakeLabel(TrText(u"超過目標檔案的(&P)"), numGuardPercent_);
  QLabel* fewest = MakeLabel(TrText(u"%，且至少(&M)"), numGuardFewest_);
  auto* after = new QLabel(TrText(u"個檔案"));
  auto* frame = new QGroupBox(TrText(u"同步刪除防護"));
  auto* layout = new QVBoxLayout(frame);
  layout->addWidget(chkGuard_);
  layout->addLayout(MakeRow({percent, numGuardPercent_, fewest, numGuardFewest_, after}));
  layout->addWidget(MakeNote(TrText(
      u"來源資料夾是空的、來源磁碟沒有掛載，或第一次同步到已有其他檔案的資料夾時，也會先詢問；"
      "無人回答時備份會中斷，不移除任何檔案。")));
  const auto enable = [this](bool on) {
    numGuardPercent_->setEnabled(on);
    numGuardFewest_->setEnabled(on);
  };
  connect(chkGuard_, &QCheckBox::toggled, this, enable);
  return frame;
}

QWidget* JobSafetyPage::MakeOthers() {
  chkChanges_ = MakeSwitch("chkChanges", TrText(u"檔案變得像加密過的時先詢問(&Y)"));
  chkChanges_->setToolTip(
      TrText(u"在看起來已被加密的檔案取代良好的備份之前先詢問；無人回答時備份會中斷。含日期的備份與"
             "壓縮備份照常進行，但釘選變更之前的那一份，不再移除任何舊備份。"));
  chkSpace_ = MakeSwitch("chkSpace", TrText(u"開始複製之前檢查目標磁碟的可用空間(&F)"));
  chkLinks_ = MakeSwitch("chkLinks", TrText(u"保留硬連結(&L)"));
  chkLinks_->setToolTip(
      TrText(u"來源中同一個檔案的多個名稱，在目標也是同一個檔案，內容只存放一次。"));
  auto* frame = new QGroupBox(TrText(u"備份"));
  auto* layout = new QVBoxLayout(frame);
  layout->addWidget(chkChanges_);
  layout->addWidget(chkSpace_);
  layout->addWidget(chkLinks_);
  return frame;
}

QWidget* JobSafetyPage::MakeProof() {
  chkVerify_ = MakeSwitch("chkVerify", TrText(u"每次備份之後驗證內容(&V)"));
  chkSums_ = MakeSwitch("chkSums", TrText(u"保存檔案的校驗碼(&Q)"));
  chkSums_->setToolTip(
      TrText(u"每個複製的檔案與每個壓縮檔的校驗碼都記在備份中的 .kavrel-sums，用 xxh128sum -c "
             "可以檢查備份有沒有損壞。"));
  chkScrub_ = MakeSwitch("chkScrub", TrText(u"每天重讀一部分備份(&E)"));
  chkScrub_->setToolTip(
      TrText(u"每天讀取備份的三十分之一，從最久沒讀的開始，與校驗碼比對；一個月內全部讀過一次。"));
  chkDrill_ = MakeSwitch("chkDrill", TrText(u"每月試行還原(&W)"));
  chkDrill_->setToolTip(
      TrText(u"每月從備份中隨機取 25 個檔案，還原到暫存資料夾，與校驗碼比對之後刪除。"));
  auto* frame = new QGroupBox(TrText(u"證明備份完好"));
  auto* layout = new QVBoxLayout(frame);
  layout->addLayout(MakeRow({chkVerify_, chkSums_}));
  layout->addLayout(MakeRow({chkScrub_, chkDrill_}));
  return frame;
}

QWidget* JobSafetyPage::MakeKeeping() {
  cboKeep_ = Make<QComboBox>("cboKeep");
  cboKeep_->addItem(TrText(u"全部保留"));
  cboKeep_->addItem(TrText(u"最新的幾份"));
  for (const ReadyPlan& ready : kReadyPlans) cboKeep_->addItem(ShownText(ready.Name));
  cboKeep_->addItem(TrText(u"自訂計畫"));
  IgnoreWheel(cboKeep_);
  numKeep_ = MakeNumber("numKeep", 1, kMaxKeepNewest);
  numKeep_->setAccessibleName(TrText(u"最新的幾份"));
  txtKeepPlan_ = Make<QLineEdit>("txtKeepPlan");
  txtKeepPlan_->setAccessibleName(TrText(u"自訂計畫"));
  txtKeepPlan_->setToolTip(TrText(
      u"每一段是「多久以內：每隔多久留一份」，all 是全部。例如 24h:all 30d:1d 12w:1w 24mo:1mo"
      "（h 小時、d 天、w 週、mo 月、y 年）。"));
  chkDeleteOld_ = MakeSwitch("chkDeleteOld", TrText(u"直接刪除，不經資源回收筒(&X)"));
  connect(cboKeep_, &QComboBox::activated, this, [this] {
    ShowKeeping();
    Q_EMIT Changed();
  });
  connect(txtKeepPlan_, &QLineEdit::textEdited, this, &JobSafetyPage::Changed);
  auto* frame = new QGroupBox(TrText(u"保留哪些備份"));
  auto* layout = new QVBoxLayout(frame);
  QHBoxLayout* row =
      MakeRow({MakeLabel(TrText(u"保留(&K)："), cboKeep_), cboKeep_, numKeep_, txtKeepPlan_});
  row->setStretchFactor(txtKeepPlan_, 1);
  layout->addLayout(row);
  layout->addWidget(chkDeleteOld_);
  layout->addWidget(MakeNote(
      TrText(u"適用於目標含日期標籤的排程與壓縮備份，只限這個排程自己建立的備份；釘選的與最新的三份"
             "一定保留。同一個磁碟上的資源回收筒清空之後才會釋放空間。")));
  return frame;
}

void JobSafetyPage::ShowKeeping() {
  const int choice = cboKeep_->currentIndex();
  const int plan = choice - kFirstPlan;
  const bool ready = plan >= 0 && plan < static_cast<int>(std::size(kReadyPlans));
  numKeep_->setVisible(choice == kKeepCount);
  txtKeepPlan_->setVisible(choice >= kFirstPlan);
  txtKeepPlan_->setReadOnly(ready);
  if (ready) txtKeepPlan_->setText(ToQString(kReadyPlans[static_cast<std::size_t>(plan)].Plan));
  chkDeleteOld_->setEnabled(choice != kKeepAll);
}

QWidget* JobSafetyPage::MakeStates() {
  cboLinkStates_ = Make<QComboBox>("cboLinkStates");
  for (std::size_t i = 0; i < kLinkStatesChoices; ++i) {
    cboLinkStates_->addItem(ShownText(LinkStatesText(static_cast<LinkStates>(i))));
  }
  IgnoreWheel(cboLinkStates_);
  cboLinkStates_->setToolTip(
      TrText(u"沒有變更的檔案與前一個備份共用，不再佔用空間。自動：差異與同步備份共用，完整備份"
             "全部複製。"));
  connect(cboLinkStates_, &QComboBox::activated, this, &JobSafetyPage::Changed);
  chkUnfinished_ = MakeSwitch("chkUnfinished", TrText(u"備份完成後才給資料夾日期名稱(&U)"));
  lblStates_ = Make<QLabel>("lblStates");
  lblStates_->setWordWrap(true);
  auto* frame = new QGroupBox(TrText(u"含日期的備份資料夾"));
  auto* layout = new QVBoxLayout(frame);
  layout->addLayout(
      MakeRow({MakeLabel(TrText(u"與前一個備份共用檔案(&T)："), cboLinkStates_), cboLinkStates_}));
  layout->addWidget(chkUnfinished_);
  layout->addWidget(lblStates_);
  return frame;
}

void JobSafetyPage::ShowForecast(const QString& text) {
  lblStates_->setText(text.isEmpty() ? TrText(u"只適用於目標含日期標籤、不壓縮的排程。") : text);
}

void JobSafetyPage::Show(const ExtraSettings& extras) {
  const QSignalBlocker quiet(this);
  chkGuard_->setChecked(extras.GuardMirror);
  numGuardPercent_->setEnabled(extras.GuardMirror);
  numGuardFewest_->setEnabled(extras.GuardMirror);
  numGuardPercent_->setValue(extras.GuardPercent);
  numGuardFewest_->setValue(extras.GuardFewest);
  chkChanges_->setChecked(extras.GuardChanges);
  chkSpace_->setChecked(extras.CheckSpace);
  numKeep_->setValue(std::max(extras.KeepNewest, 1));
  const auto* const ready =
      std::find_if(std::begin(kReadyPlans), std::end(kReadyPlans),
                   [&](const ReadyPlan& one) { return one.Plan == extras.KeepPlan; });
  txtKeepPlan_->setText(ToQString(extras.KeepPlan));
  const bool planned = !extras.KeepPlan.empty();
  cboKeep_->setCurrentIndex(planned ? kFirstPlan + static_cast<int>(ready - kReadyPlans)
                            : extras.KeepNewest > 0 ? kKeepCount
                                                    : kKeepAll);
  chkDeleteOld_->setChecked(extras.DeletesOld);
  ShowKeeping();
  chkVerify_->setChecked(extras.VerifyAfterRun);
  chkSums_->setChecked(extras.KeepSums);
  chkScrub_->setChecked(extras.Scrub);
  chkDrill_->setChecked(extras.Drill);
  chkLinks_->setChecked(extras.KeepHardLinks);
  cboLinkStates_->setCurrentIndex(static_cast<int>(extras.StateLinks));
  chkUnfinished_->setChecked(extras.UnfinishedName);
}

void JobSafetyPage::Read(JobForm& form) const {
  ExtraSettings& extras = form.Extras;
  extras.GuardMirror = chkGuard_->isChecked();
  extras.GuardPercent = numGuardPercent_->value();
  extras.GuardFewest = numGuardFewest_->value();
  extras.GuardChanges = chkChanges_->isChecked();
  extras.CheckSpace = chkSpace_->isChecked();
  const int keep = cboKeep_->currentIndex();
  extras.KeepNewest = keep == kKeepCount ? numKeep_->value() : 0;
  extras.KeepPlan = keep >= kFirstPlan ? PlanText(FromQString(txtKeepPlan_->text())) : u"";
  extras.DeletesOld = chkDeleteOld_->isChecked();
  extras.VerifyAfterRun = chkVerify_->isChecked();
  extras.KeepSums = chkSums_->isChecked();
  extras.Scrub = chkScrub_->isChecked();
  extras.Drill = chkDrill_->isChecked();
  extras.KeepHardLinks = chkLinks_->isChecked();
  extras.StateLinks = static_cast<LinkStates>(cboLinkStates_->currentIndex());
  extras.UnfinishedName = chkUnfinished_->isChecked();
}

}  // namespace kavrel
