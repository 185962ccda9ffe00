#include "ui/frm_ff_edit.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>

#include "app/program.h"
#include "base/text.h"
#include "rules/rule_check.h"
#include "ui/layout_help.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"
#include "ui/window_size.h"

namespace kavrel {

namespace {

/// The list's row of a filter: the built-in one is not shown.
int RowOf(int filter) {
  return filter - 1;
}
int FilterOf(int row) {
  return row + 1;
}

constexpr int kNewFilter = 0, kNoFilter = -1;

}  // namespace

frmFFEdit::frmFFEdit(Program& program, QWidget* parent) : QDialog(parent), program_(program) {
  setObjectName(QStringLiteral("frmFFEdit"));
  setWindowTitle(TrText(u"副檔名編輯設定"));
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(MakeLists(), 1);
  MakeFrame();
  layout->addWidget(fraFF_);
  auto* btnRestore = Make<QPushButton>("btnRestore", TrText(u"還原預設設定"));
  btnRestore->setEnabled(false);
  btnDone_ = Make<QPushButton>("btnDone", TrText(u"儲 存(&S)"));
  auto* btnCancel = Make<QPushButton>("btnCancel", TrText(u"返回主畫面(&X)"));
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(btnRestore);
  buttons->addStretch();
  buttons->addWidget(btnDone_);
  buttons->addWidget(btnCancel);
  layout->addLayout(buttons);
  connect(btnDone_, &QPushButton::clicked, this, &frmFFEdit::btnDone_Click);
  connect(btnCancel, &QPushButton::clicked, this, &QDialog::accept);

  EndEdit();
  FillFilters(program_.Filters.Entries.size() > 1 ? 1 : kNoFilter);
  LvFFs_.SetFocus();
  RememberSize(*this, &program_.WindowSizes, objectName(), 600, 560);
}

QWidget* frmFFEdit::MakeLists() {
  QWidget* filters = MakeList(LvFFs_, "LvFFs", TrText(u"副檔名備份清單"));
  LvFFs_.ColumnAdd(-1, 220, TrText(u"副檔名備份清單"));
  QWidget* patterns = MakeList(LvExts_, "LvExts", TrText(u"副檔名清單"));
  LvExts_.ColumnAdd(-1, 160, TrText(u"副檔名清單"));
  auto* btnNewFF = Make<QPushButton>("btnNewFF", TrText(u"新 增(&N)"));
  btnEditFF_ = Make<QPushButton>("btnEditFF", TrText(u"編 輯(&E)"));
  btnDelFF_ = Make<QPushButton>("btnDelFF", TrText(u"刪 除(&D)"));
  auto* buttons = new QHBoxLayout;
  for (QPushButton* button : {btnNewFF, btnEditFF_, btnDelFF_}) buttons->addWidget(button);
  buttons->addStretch();
  auto* area = new QWidget;
  auto* grid = new QGridLayout(area);
  grid->setContentsMargins(0, 0, 0, 0);
  grid->addWidget(filters, 0, 0);
  grid->addLayout(buttons, 1, 0);
  grid->addWidget(patterns, 0, 1, 2, 1);
  grid->setColumnStretch(0, 3);
  grid->setColumnStretch(1, 2);

  connect(btnNewFF, &QPushButton::clicked, this, &frmFFEdit::btnNewFF_Click);
  connect(btnEditFF_, &QPushButton::clicked, this, &frmFFEdit::btnEditFF_Click);
  connect(btnDelFF_, &QPushButton::clicked, this, &frmFFEdit::btnDelFF_Click);
  connect(&LvFFs_, &clsLictView::ItemSelect, this, &frmFFEdit::LvFFs_Select);
  connect(&LvFFs_, &clsLictView::DbClick, this, [this](int row) {
    if (row >= 0) btnEditFF_Click();
  });
  connect(&LvFFs_, &clsLictView::NotifyKeyDown, this, [this](int key, bool& handled) {
    handled = key == Qt::Key_Return || key == Qt::Key_Delete;
    if (key == Qt::Key_Return) btnEditFF_Click();
    if (key == Qt::Key_Delete) btnDelFF_Click();
  });
  connect(&LvExts_, &clsLictView::ItemSelect, this, [this] { EnableButtons(); });
  connect(&LvExts_, &clsLictView::NotifyKeyDown, this, [this](int key, bool& handled) {
    handled = key == Qt::Key_Return || key == Qt::Key_Delete;
    if (key == Qt::Key_Delete) btnExtDel_Click();
  });
  return area;
}

void frmFFEdit::MakeFrame() {
  txtDesc_ = Make<QLineEdit>("txtDesc");
  txtExt_ = Make<QLineEdit>("txtExt");
  QLabel* lblDesc = MakeLabel(TrText(u"指定名稱(&M)："), txtDesc_);
  QLabel* lblExt = MakeLabel(TrText(u"欲加入的檔名(&F)"), txtExt_);
  lblDesc->setObjectName(QStringLiteral("lblDesc"));
  lblExt->setObjectName(QStringLiteral("lblExt"));
  txtExt_->setPlaceholderText(QStringLiteral("*.doc;*.xls"));
  btnExtAdd_ = Make<QPushButton>("btnExtAdd", TrText(u"加 入(&A)"));
  btnExtDel_ = Make<QPushButton>("btnExtDel", TrText(u"移 除(&R)"));
  btnFFSave_ = Make<QPushButton>("btnFFSave", TrText(u"儲 存(&V)"));
  auto* btnFFCancel = Make<QPushButton>("btnFFCancel", TrText(u"取 消(&C)"));
  fraFF_ = Make<QGroupBox>("fraFF");
  auto* grid = new QGridLayout(fraFF_);
  grid->addWidget(lblDesc, 0, 0);
  grid->addWidget(txtDesc_, 0, 1);
  grid->addWidget(lblExt, 1, 0);
  grid->addWidget(txtExt_, 1, 1);
  grid->addWidget(btnExtAdd_, 1, 2);
  grid->addWidget(btnExtDel_, 1, 3);
  grid->addWidget(btnFFSave_, 2, 2);
  grid->addWidget(btnFFCancel, 2, 3);
  grid->setColumnStretch(1, 1);
  connect(txtDesc_, &QLineEdit::textEdited, this, [this] { changed_ = true; });
  // Enter adds what was typed; the window's own default comes back with the next field.
  connect(txtExt_, &QLineEdit::textChanged, this, [this](const QString& text) {
    (text.isEmpty() ? btnFFSave_ : btnExtAdd_)->setDefault(true);
  });
  connect(btnExtAdd_, &QPushButton::clicked, this, &frmFFEdit::btnExtAdd_Click);
  connect(btnExtDel_, &QPushButton::clicked, this, &frmFFEdit::btnExtDel_Click);
  connect(btnFFSave_, &QPushButton::clicked, this, &frmFFEdit::btnFFSave_Click);
  connect(btnFFCancel, &QPushButton::clicked, this, &frmFFEdit::btnFFCancel_Click);
}

void frmFFEdit::FillFilters(int select) {
  LvFFs_.ItemClear();
  const std::vector<FileFilter>& filters = program_.Filters.Entries;
  for (std::size_t i = 1; i < filters.size(); ++i) LvFFs_.ItemAdd(-1, NameText(filters[i].Name));
  LvFFs_.SetSelectedItem(select < 1 ? -1 : std::min(RowOf(select), LvFFs_.ItemCount() - 1));
  ShowFilter();
}

void frmFFEdit::ShowFilter() {
  LvExts_.ItemClear();
  const int row = LvFFs_.SelectedIndex();
  if (row >= 0) {
    const FileFilter& filter = program_.Filters.Entries[static_cast<std::size_t>(FilterOf(row))];
    for (const std::u16string_view pattern : SplitPatterns(filter.Patterns)) {
      if (!pattern.empty()) LvExts_.ItemAdd(-1, ToQString(pattern));
    }
    txtDesc_->setText(NameText(filter.Name));
  } else {
    txtDesc_->clear();
  }
  EnableButtons();
}

void frmFFEdit::EnableButtons() {
  const bool selected = LvFFs_.SelectedIndex() >= 0;
  btnEditFF_->setEnabled(selected);
  btnDelFF_->setEnabled(selected);
  btnExtDel_->setEnabled(edited_ != kNoFilter && LvExts_.SelectedIndex() >= 0);
}

void frmFFEdit::BeginEdit(int filter) {
  edited_ = filter;
  changed_ = false;
  fraFF_->setEnabled(true);
  btnFFSave_->setDefault(true);
  EnableButtons();
  txtDesc_->setFocus();
  txtDesc_->selectAll();
}

void frmFFEdit::EndEdit() {
  edited_ = kNoFilter;
  changed_ = false;
  txtExt_->clear();
  fraFF_->setEnabled(false);
  btnDone_->setDefault(true);
}

QStringList frmFFEdit::Patterns() const {
  QStringList patterns;
  for (int row = 0; row < LvExts_.ItemCount(); ++row) {
    const QString pattern = LvExts_.ItemText(row, 0);
    if (!pattern.isEmpty()) patterns += pattern;
  }
  return patterns;
}

/// Puts what the frame holds into the table. False, with the window flashing, when it cannot be.
bool frmFFEdit::Store() {
  std::vector<FileFilter>& filters = program_.Filters.Entries;
  const std::u16string before =
      edited_ == kNewFilter ? std::u16string() : filters[static_cast<std::size_t>(edited_)].Name;
  FileFilter filter{TypedName(txtDesc_->text(), before), FromQString(Patterns().join(u';'))};
  if (Trim(filter.Name).empty() || !CheckRuleName(filter.Name).empty()) {
    Attract(*this);
    txtDesc_->setFocus();
    return false;
  }
  int place = edited_;
  if (place == kNewFilter) {
    place = static_cast<int>(filters.size());
    filters.emplace_back();
  }
  filters[static_cast<std::size_t>(place)] = std::move(filter);
  dirty_ = true;
  EndEdit();
  FillFilters(place);
  return true;
}

/// True when the user goes on: with what the frame holds stored, or dropped.
bool frmFFEdit::AskToStore(bool with_text) {
  if (!changed_) return true;
  const QString question =
      TrText(u"您確定要儲存已經變更過的「%1」副檔名清單嗎？").arg(txtDesc_->text());
  const bool store =
      with_text ? Confirm(*this, question) : Confirm(*this, {}, QMessageBox::NoIcon, question);
  if (store) return Store();
  EndEdit();
  return true;
}

void frmFFEdit::LvFFs_Select() {
  const int row = LvFFs_.SelectedIndex();
  if (edited_ != kNoFilter && row != RowOf(edited_)) {
    const int back = edited_;
    if (!AskToStore(true)) {
      LvFFs_.SetSelectedItem(back == kNewFilter ? -1 : RowOf(back));
      return;
    }
    if (edited_ != kNoFilter) EndEdit();
    LvFFs_.SetSelectedItem(row);
  }
  if (edited_ == kNoFilter) ShowFilter();
}

void frmFFEdit::btnNewFF_Click() {
  if (!AskToStore(true)) return;
  EndEdit();
  LvFFs_.SetSelectedItem(-1);
  LvExts_.ItemClear();
  txtDesc_->setText(TrText(u"請輸入新的名稱"));
  BeginEdit(kNewFilter);
}

void frmFFEdit::btnEditFF_Click() {
  const int row = LvFFs_.SelectedIndex();
  if (row >= 0 && edited_ != FilterOf(row)) BeginEdit(FilterOf(row));
}

void frmFFEdit::btnDelFF_Click() {
  const int row = LvFFs_.SelectedIndex();
  if (row < 0) return;
  EndEdit();
  std::vector<FileFilter>& filters = program_.Filters.Entries;
  filters.erase(filters.begin() + FilterOf(row));
  dirty_ = true;
  FillFilters(filters.size() > 1 ? FilterOf(row) : kNoFilter);
}

void frmFFEdit::AddPattern(const QString& pattern) {
  changed_ = true;
  for (int row = 0; row < LvExts_.ItemCount(); ++row) {
    if (LvExts_.ItemText(row, 0).trimmed().compare(pattern, Qt::CaseInsensitive) != 0) continue;
    LvExts_.SetItemText(row, 0, pattern);
    return;
  }
  LvExts_.ItemAdd(-1, pattern);
}

void frmFFEdit::btnExtAdd_Click() {
  QStringList patterns;
  for (const QString& part : txtExt_->text().split(u';')) {
    if (!part.trimmed().isEmpty()) patterns += part.trimmed();
  }
  bool good = !patterns.isEmpty();
  for (const QString& pattern : patterns) {
    good = good && CheckInvalidChars(FromQString(pattern), kForbiddenInFilePattern).empty();
  }
  txtExt_->setFocus();
  if (!good) {
    Attract(*this);
    return;
  }
  for (const QString& pattern : patterns) AddPattern(pattern);
  txtExt_->clear();
}

void frmFFEdit::btnExtDel_Click() {
  const int row = LvExts_.SelectedIndex();
  if (edited_ == kNoFilter || row < 0) return;
  LvExts_.ItemRemove(row);
  LvExts_.SetSelectedItem(std::min(row, LvExts_.ItemCount() - 1));
  changed_ = true;
  EnableButtons();
}

void frmFFEdit::btnFFSave_Click() {
  if (Store()) LvFFs_.SetFocus();
}

void frmFFEdit::btnFFCancel_Click() {
  EndEdit();
  if (LvFFs_.SelectedIndex() < 0 && LvFFs_.ItemCount() > 0) LvFFs_.SetSelectedItem(0);
  ShowFilter();
  LvFFs_.SetFocus();
}

void frmFFEdit::btnDone_Click() {
  if (!AskToStore(false)) return;
  const int error = program_.Filters.SaveFilters();
  if (error != 0) {
    TellFailure(*this,
                TrText(u"副檔名清單無法儲存\r\n錯誤代碼：") + ToQString(SystemErrorText(error)));
    return;
  }
  accept();
}

void frmFFEdit::reject() {
  if (edited_ != kNoFilter) {
    if (!AskToStore(true)) return;
    btnFFCancel_Click();
    return;
  }
  const Choice choice =
      dirty_ ? Ask(*this, TrText(u"副檔名清單已經變更，您要儲存嗎？")) : Choice::No;
  if (choice == Choice::Yes) btnDone_Click();
  if (choice == Choice::No) QDialog::reject();
}

}  // namespace kavrel
