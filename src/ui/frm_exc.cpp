#include "ui/frm_exc.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStackedLayout>

#include "app/program.h"
#include "ui/layout_help.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"
#include "ui/rule_panel.h"
#include "ui/window_size.h"

namespace kavrel {

namespace {

constexpr int kBrowseMs = 50;
constexpr int kEntriesAtOnce = 16;

}  // namespace

frmExc::frmExc(Program& program, QWidget* parent, Network network)
    : QDialog(parent), program_(program), network_(std::move(network)) {
  setObjectName(QStringLiteral("frmExc"));
  setWindowTitle(TrText(u"資料夾 / 檔案排除設定"));
  if (!network_) network_ = [this] { return BrowseNetwork(program_.Files); };
  pages_ = new QStackedLayout(this);
  pages_->addWidget(MakeListPage());
  panel_ = new RulePanel;
  pages_->addWidget(panel_);
  connect(panel_, &RulePanel::Ok, this, &frmExc::btnOK_Click);
  connect(panel_, &RulePanel::Cancelled, this, [this] { ShowPanel(false); });
  browse_timer_.setInterval(kBrowseMs);
  connect(&browse_timer_, &QTimer::timeout, this, &frmExc::BrowseOn);
  SetDirtys(false);
  btnRescan_Click();
  ShowPanel(false);
  RememberSize(*this, &program_.WindowSizes, objectName(), 830, 520);
}

QWidget* frmExc::MakeListPage() {
  QWidget* list = MakeList(lstExc_, "lstExc", windowTitle());
  lstExc_.SetCheckBoxes(true);
  lstExc_.ColumnAdd(-1, 170, ToQString(TrIn("rule", u"排程名稱")));
  lstExc_.ColumnAdd(-1, 40, TrText(u"狀態"));
  lstExc_.ColumnAdd(-1, 70, TrText(u"排除檔案"));
  lstExc_.ColumnAdd(-1, 150, TrText(u"排除目錄"));
  lstExc_.ColumnAdd(-1, 65, TrText(u"指定磁碟"), clsLictView::AlignCentre);
  auto* lblExc = Make<QLabel>("lblExc", TrText(u"執行備份時要排除的「資料夾」/「檔案」清單："));
  auto* btnNew = Make<QPushButton>("btnNew", TrText(u"建立新的排除項目(&N)"));
  btnEdit_ = Make<QPushButton>("btnEdit", TrText(u"編輯指定排除項目(&E)"));
  btnDel_ = Make<QPushButton>("btnDel", TrText(u"刪除指定排除項目(&D)"));
  auto* btnRescan = Make<QPushButton>("btnRescan", TrText(u"重新載入排除清單(&L)"));
  auto* btnRestore = Make<QPushButton>("btnRestore", TrText(u"還原軟體預設設定(&R)"));
  btnDone_ = Make<QPushButton>("btnDone");
  auto* btnCancel = Make<QPushButton>("btnCancel", TrText(u"返回主畫面(&X)"));

  auto* buttons = new QVBoxLayout;
  for (QPushButton* button : {btnNew, btnEdit_, btnDel_}) buttons->addWidget(button);
  buttons->addSpacing(12);
  buttons->addWidget(btnRescan);
  buttons->addWidget(btnRestore);
  buttons->addStretch();
  buttons->addWidget(btnDone_);
  buttons->addWidget(btnCancel);
  auto* page = new QWidget;
  auto* grid = new QGridLayout(page);
  grid->addWidget(lblExc, 0, 0);
  grid->addWidget(list, 1, 0);
  grid->addLayout(buttons, 1, 1);
  grid->addWidget(MakeNetworkLine(), 2, 0, 1, 2);
  grid->setColumnStretch(0, 1);

  connect(btnNew, &QPushButton::clicked, this, &frmExc::btnNew_Click);
  connect(btnEdit_, &QPushButton::clicked, this, &frmExc::btnEdit_Click);
  connect(btnDel_, &QPushButton::clicked, this, &frmExc::btnDel_Click);
  connect(btnRescan, &QPushButton::clicked, this, &frmExc::btnRescan_Click);
  connect(btnRestore, &QPushButton::clicked, this, &frmExc::btnRestore_Click);
  connect(btnDone_, &QPushButton::clicked, this, &frmExc::btnDone_Click);
  connect(btnCancel, &QPushButton::clicked, this, &QDialog::accept);
  connect(&lstExc_, &clsLictView::DbClick, this, &frmExc::btnEdit_Click);
  connect(&lstExc_, &clsLictView::NotifyKeyDown, this, &frmExc::lstExc_NotifyKeyDown);
  connect(&lstExc_, &clsLictView::ItemSelect, this, [this](int row) {
    btnEdit_->setEnabled(row >= 0);
    btnDel_->setEnabled(row >= 0);
  });
  connect(&lstExc_, &clsLictView::ItemCheck, this, [this](int row, bool checked) {
    rules_[static_cast<std::size_t>(row)].Enabled = checked;
    ShowRow(row);
    SetDirtys(true);
  });
  return page;
}

QWidget* frmExc::MakeNetworkLine() {
  lblState_ = Make<QLabel>("lblState");
  lblState_->setTextFormat(Qt::PlainText);
  lblState_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  btnStop_ = Make<QPushButton>("btnStop", TrText(u"停止搜尋(&S)"));
  auto* line = new QWidget;
  auto* layout = new QHBoxLayout(line);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(lblState_, 1);
  layout->addWidget(btnStop_);
  // The line stays when there is nothing to stop.
  line->setMinimumHeight(btnStop_->sizeHint().height());
  connect(btnStop_, &QPushButton::clicked, this, &frmExc::StopBrowsing);
  return line;
}

void frmExc::FillList() {
  rules_ = program_.Exclusions.Rules();
  lstExc_.ItemClear();
  for (std::size_t row = 0; row < rules_.size(); ++row) {
    lstExc_.ItemAdd(-1, {});
    ShowRow(static_cast<int>(row));
  }
  lstExc_.SetSelectedItem(rules_.empty() ? -1 : 0);
  btnEdit_->setEnabled(!rules_.empty());
  btnDel_->setEnabled(!rules_.empty());
}

void frmExc::ShowRow(int row) {
  const ExclusionRule& rule = rules_[static_cast<std::size_t>(row)];
  lstExc_.SetItemText(row, 0, NameText(rule.Desc));
  lstExc_.SetItemText(row, 1, ShownText(OnOffText(rule.Enabled)));
  lstExc_.SetItemText(row, 2, ShownText(PatternText(rule.File)));
  lstExc_.SetItemText(row, 3, ShownText(PatternText(rule.Folder)));
  lstExc_.SetItemText(row, 4, ShownText(PatternText(rule.Drive)));
  lstExc_.SetChecked(row, rule.Enabled);
}

void frmExc::FindDrives() {
  QStringList drives;
  program_.Mounts.Load();
  for (const std::u16string& drive : LocalDrives(program_.Files, program_.Mounts)) {
    drives += ToQString(drive);
  }
  panel_->SetDrives(drives);
  search_ = network_();
  btnStop_->setVisible(true);
  browse_timer_.start();
}

void frmExc::StopBrowsing() {
  browse_timer_.stop();
  search_.reset();
  lblState_->clear();
  btnStop_->setVisible(false);
}

void frmExc::BrowseOn() {
  // A question must not come between the user and what is being typed.
  if (editing_) return;
  for (int i = 0; i < kEntriesAtOnce && search_; ++i) {
    NetEntry entry;
    switch (search_->Next(entry)) {
      case NetEnum::Step::Found:
        NetEnumCallBack(entry);
        break;
      case NetEnum::Step::Waiting:
        return;
      case NetEnum::Step::Done:
        StopBrowsing();
        return;
    }
  }
}

void frmExc::NetEnumCallBack(const NetEntry& entry) {
  const QString name = ToQString(entry.Name);
  if (!entry.Failure.empty() && entry.Name.starts_with(u"\\\\")) {
    browse_timer_.stop();
    const Choice choice =
        Ask(*this,
            QStringLiteral("%1\n\nError accessing computer %2\n\nWould you like to continue "
                           "searching network\nfor other network shares?")
                .arg(ToQString(entry.Failure), name),
            QMessageBox::Warning);
    if (choice != Choice::Yes) {
      StopBrowsing();
      return;
    }
    if (search_) browse_timer_.start();
  }
  if (entry.Share) panel_->AddDrive(name);
  lblState_->setText(name + QStringLiteral(" ..."));
}

void frmExc::SetDirtys(bool dirtys) {
  dirtys_ = dirtys;
  btnDone_->setText(dirtys ? TrText(u"儲存排除清單設定(&A)") : TrText(u"完成排除清單設定(&A)"));
}

void frmExc::ShowPanel(bool show) {
  editing_ = show;
  pages_->setCurrentIndex(show ? 1 : 0);
  (show ? &panel_->OkButton() : btnDone_)->setDefault(true);
  if (!show) lstExc_.SetFocus();
}

void frmExc::lstExc_NotifyKeyDown(int key, bool& handled) {
  handled = key == Qt::Key_Return || key == Qt::Key_Delete;
  if (key == Qt::Key_Return) btnEdit_Click();
  if (key == Qt::Key_Delete) btnDel_Click();
}

void frmExc::btnNew_Click() {
  adding_ = true;
  RuleForm form;
  form.Desc = TrLaterIn("name", u"新的排除方案");
  form.Enabled = true;
  ShowPanel(true);
  panel_->Show(form);
}

void frmExc::btnEdit_Click() {
  const int row = lstExc_.SelectedIndex();
  if (row < 0) return;
  adding_ = false;
  ShowPanel(true);
  panel_->Show(FormOf(rules_[static_cast<std::size_t>(row)]));
}

void frmExc::btnOK_Click() {
  int row = adding_ ? lstExc_.ItemCount() : lstExc_.SelectedIndex();
  ExclusionRule rule = adding_ ? ExclusionRule() : rules_[static_cast<std::size_t>(row)];
  const RuleResult result = ApplyForm(panel_->Read(), rule);
  if (result.Check != RuleCheck::Ok) {
    const QString message = ShownText(result.Message);
    if (result.Check == RuleCheck::Drive) {
      Inform(*this, message);
    } else {
      Warn(*this, message);
    }
    panel_->FocusField(result.Check);
    return;
  }
  if (adding_) {
    rules_.push_back(rule);
    row = lstExc_.ItemAdd(-1, {});
  }
  rules_[static_cast<std::size_t>(row)] = rule;
  ShowRow(row);
  lstExc_.SetSelectedItem(row);
  SetDirtys(true);
  ShowPanel(false);
}

void frmExc::btnDel_Click() {
  const int row = lstExc_.SelectedIndex();
  if (row < 0 || !Confirm(*this, TrText(u"您確定要刪除指定的排除項目嗎？"))) return;
  rules_.erase(rules_.begin() + row);
  lstExc_.ItemRemove(row);
  lstExc_.SetSelectedItem(std::min(row, lstExc_.ItemCount() - 1));
  btnEdit_->setEnabled(!rules_.empty());
  btnDel_->setEnabled(!rules_.empty());
  SetDirtys(true);
}

void frmExc::btnDone_Click() {
  if (dirtys_ && !program_.Exclusions.SaveExclusions(rules_)) {
    // What was entered stays, with the button as it is, for another try.
    Attract(*this);
    lblState_->setText(TrText(u"排除清單無法寫入：Exc.txt"));
    return;
  }
  SetDirtys(false);
  accept();
}

void frmExc::btnRescan_Click() {
  if (dirtys_ && !Confirm(*this, TrText(u"尚未儲存的變更將會遺失，您確定要重新載入嗎？"))) {
    return;
  }
  StopBrowsing();
  FillList();
  SetDirtys(false);
  FindDrives();
}

void frmExc::btnRestore_Click() {
  if (!Confirm(*this, TrText(u"您確定要還原先前的設定嗎，一旦還原，您將會失去原先所設定的排除"
                             "方案。"))) {
    return;
  }
  if (!program_.Exclusions.RestoreDefaults()) {
    Attract(*this);
    lblState_->setText(TrText(u"排除清單無法寫入：Exc.txt"));
    return;
  }
  FillList();
  SetDirtys(false);
}

void frmExc::reject() {
  if (editing_) {
    ShowPanel(false);
    return;
  }
  const Choice choice =
      dirtys_ ? Ask(*this, TrText(u"排除清單已經變更，您要儲存嗎？")) : Choice::No;
  if (choice == Choice::Yes) btnDone_Click();
  if (choice == Choice::No) QDialog::reject();
}

}  // namespace kavrel
