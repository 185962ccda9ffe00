#include "ui/rule_panel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>

#include "ui/layout_help.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {

QRadioButton* MakeOption(const char* name, int index, const char16_t* caption) {
  auto* option = new QRadioButton(TrText(caption));
  option->setObjectName(QLatin1String(name) + QString::number(index));
  return option;
}

QLineEdit* MakeBox(const char* name, int index, const QRadioButton& option) {
  auto* box = new QLineEdit;
  box->setObjectName(QLatin1String(name) + QString::number(index));
  box->setAccessibleName(PlainLabel(option.text()));
  return box;
}

template <std::size_t Size>
std::size_t Chosen(const std::array<QRadioButton*, Size>& options) {
  for (std::size_t i = 0; i < Size; ++i) {
    if (options[i]->isChecked()) return i;
  }
  return 0;
}

// The order of the options on the panel.
using FolderChoice = RuleForm::FolderChoice;
using FileChoice = RuleForm::FileChoice;

}  // namespace

RulePanel::RulePanel() {
  txtDesc_ = Make<QLineEdit>("txtDesc");
  QLabel* lblDesc = MakeLabel(TrText(u"排除名稱(&N)：( 例如：資源回收筒資料夾 )"), txtDesc_);
  lblDesc->setObjectName(QStringLiteral("lblDesc"));
  chkEnabled_ = Make<QCheckBox>("chkEnabled", TrText(u"完成後啟動檔案 / 資料夾排除功能(&E)"));
  btnOK_ = Make<QPushButton>("btnOK", TrText(u"確 定(&O)"));
  btnCancels_ = Make<QPushButton>("btnCancels", TrText(u"取 消(&C)"));
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(btnOK_);
  buttons->addWidget(btnCancels_);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(lblDesc);
  layout->addWidget(txtDesc_);
  layout->addWidget(chkEnabled_);
  layout->addWidget(MakeDrives());
  layout->addWidget(MakeFolders());
  layout->addWidget(MakeFiles());
  layout->addStretch();
  layout->addLayout(buttons);

  connect(btnOK_, &QPushButton::clicked, this, &RulePanel::Ok);
  connect(btnCancels_, &QPushButton::clicked, this, &RulePanel::Cancelled);
}

QGroupBox* RulePanel::MakeDrives() {
  optDrive_ = {MakeOption("optDrive", 0, TrLater(u"排除本機上所有的磁碟機(&A)")),
               MakeOption("optDrive", 1, TrLater(u"僅排除下面所指定的磁碟機(&D)"))};
  cboDrive_ = Make<QComboBox>("cboDrive");
  cboDrive_->setEditable(true);
  cboDrive_->setInsertPolicy(QComboBox::NoInsert);
  cboDrive_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  cboDrive_->setMinimumContentsLength(12);
  cboDrive_->setAccessibleName(PlainLabel(optDrive_[1]->text()));
  IgnoreWheel(cboDrive_);
  auto* group = new QGroupBox(TrText(u"磁碟機"));
  auto* grid = new QGridLayout(group);
  grid->addWidget(optDrive_[0], 0, 0, 1, 2);
  grid->addWidget(optDrive_[1], 1, 0);
  grid->addWidget(cboDrive_, 1, 1);
  grid->setColumnStretch(1, 1);
  connect(optDrive_[1], &QRadioButton::toggled, this, &RulePanel::EnableFields);
  return group;
}

QGroupBox* RulePanel::MakeFolders() {
  optFolder_ = {MakeOption("optFolder", 0, TrLater(u"排除所有已存在的資料夾(&F)")),
                MakeOption("optFolder", 1, TrLater(u"排除下面所指定的資料夾(&1)")),
                MakeOption("optFolder", 2, TrLater(u"排除下面所指定吻合的資料夾路徑(&2)")),
                MakeOption("optFolder", 3, TrLater(u"僅排除根目錄上已經發現到的資料夾(&R)"))};
  auto* group = new QGroupBox(TrText(u"資料夾"));
  auto* grid = new QGridLayout(group);
  grid->addWidget(optFolder_[0], 0, 0, 1, 2);
  for (int i = 1; i <= 2; ++i) {
    const auto at = static_cast<std::size_t>(i);
    txtFolder_[at] = MakeBox("txtFolder", i, *optFolder_[at]);
    grid->addWidget(optFolder_[at], i, 0);
    grid->addWidget(txtFolder_[at], i, 1);
    connect(optFolder_[at], &QRadioButton::toggled, this, &RulePanel::EnableFields);
  }
  grid->addWidget(optFolder_[3], 3, 0, 1, 2);
  grid->setColumnStretch(1, 1);
  return group;
}

QGroupBox* RulePanel::MakeFiles() {
  optFile_ = {MakeOption("optFile", 0, TrLater(u"排除所有已存在的檔案(&L)")),
              MakeOption("optFile", 1, TrLater(u"排除下面所指定的檔案(&3)")),
              MakeOption("optFile", 2, TrLater(u"排除與下面所指定相同的檔案名稱(&4)"))};
  auto* group = new QGroupBox(TrText(u"檔案"));
  auto* grid = new QGridLayout(group);
  grid->addWidget(optFile_[0], 0, 0, 1, 2);
  for (int i = 1; i <= 2; ++i) {
    const auto at = static_cast<std::size_t>(i);
    txtFile_[at] = MakeBox("txtFile", i, *optFile_[at]);
    grid->addWidget(optFile_[at], i, 0);
    grid->addWidget(txtFile_[at], i, 1);
    connect(optFile_[at], &QRadioButton::toggled, this, &RulePanel::EnableFields);
  }
  grid->setColumnStretch(1, 1);
  return group;
}

void RulePanel::SetDrives(const QStringList& drives) {
  const QString text = cboDrive_->currentText();
  cboDrive_->clear();
  cboDrive_->addItems(drives);
  cboDrive_->setEditText(text.isEmpty() ? cboDrive_->itemText(0) : text);
}

void RulePanel::AddDrive(const QString& drive) {
  if (cboDrive_->findText(drive, Qt::MatchFixedString) < 0) cboDrive_->addItem(drive);
}

void RulePanel::Show(const RuleForm& form) {
  kept_name_ = form.Desc;
  txtDesc_->setText(NameText(kept_name_));
  chkEnabled_->setChecked(form.Enabled);
  optDrive_[form.AllDrives ? 0 : 1]->setChecked(true);
  const QString drive = ToQString(form.Drive);
  if (!drive.isEmpty()) AddDrive(drive);
  cboDrive_->setCurrentIndex(drive.isEmpty() ? 0
                                             : cboDrive_->findText(drive, Qt::MatchFixedString));
  optFolder_[static_cast<std::size_t>(form.Folders)]->setChecked(true);
  txtFolder_[1]->setText(ToQString(form.FolderName));
  txtFolder_[2]->setText(ToQString(form.FolderPath));
  optFile_[static_cast<std::size_t>(form.Files)]->setChecked(true);
  txtFile_[1]->setText(ToQString(form.FileName));
  txtFile_[2]->setText(ToQString(form.FilePattern));
  EnableFields();
  txtDesc_->setFocus();
  txtDesc_->selectAll();
}

RuleForm RulePanel::Read() const {
  RuleForm form;
  form.Desc = TypedName(txtDesc_->text(), kept_name_);
  form.Enabled = chkEnabled_->isChecked();
  form.AllDrives = optDrive_[0]->isChecked();
  form.Drive = FromQString(cboDrive_->currentText());
  static_assert(static_cast<int>(FolderChoice::Root) == 3);
  form.Folders = static_cast<FolderChoice>(Chosen(optFolder_));
  form.FolderName = FromQString(txtFolder_[1]->text());
  form.FolderPath = FromQString(txtFolder_[2]->text());
  static_assert(static_cast<int>(FileChoice::Matching) == 2);
  form.Files = static_cast<FileChoice>(Chosen(optFile_));
  form.FileName = FromQString(txtFile_[1]->text());
  form.FilePattern = FromQString(txtFile_[2]->text());
  return form;
}

void RulePanel::FocusField(RuleCheck check) {
  QWidget* field = txtDesc_;
  if (check == RuleCheck::File) field = txtFile_[Chosen(optFile_)];
  if (check == RuleCheck::Folder) field = txtFolder_[Chosen(optFolder_)];
  if (check == RuleCheck::Drive) field = optDrive_[Chosen(optDrive_)];
  field->setFocus();
  if (auto* box = qobject_cast<QLineEdit*>(field)) box->selectAll();
}

void RulePanel::EnableFields() {
  cboDrive_->setEnabled(optDrive_[1]->isChecked());
  for (std::size_t i = 1; i <= 2; ++i) {
    txtFolder_[i]->setEnabled(optFolder_[i]->isChecked());
    txtFile_[i]->setEnabled(optFile_[i]->isChecked());
  }
}

}  // namespace kavrel
