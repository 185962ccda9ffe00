#include "ui/job_item_page.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFocusEvent>
#include <QGridLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QSpinBox>

#include "app/program.h"
#include "app/reach.h"
#include "base/number.h"
#include "base/text.h"
#include "core/job_presets.h"
#include "files/path.h"
#include "ui/frm_ff_edit.h"
#include "ui/frm_help.h"
#include "ui/layout_help.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {

/// Selects its whole text whenever it gains the focus, also by a click.
class NameBox final : public QLineEdit {
 protected:
  void focusInEvent(QFocusEvent* event) override {
    QLineEdit::focusInEvent(event);
    selectAll();
    // The click goes on to place the cursor. After a key nothing may wait: the next one is text.
    if (event->reason() == Qt::MouseFocusReason) {
      QMetaObject::invokeMethod(this, &QLineEdit::selectAll, Qt::QueuedConnection);
    }
  }
};

/// What 32 bits surely hold.
const QRegularExpression kFileSize(QStringLiteral("[0-9]{0,9}|1[0-9]{9}|20[0-9]{8}"));

QCheckBox* MakeCheck(const char* name, const char16_t* caption) {
  return Make<QCheckBox>(name, TrText(caption));
}

}  // namespace

JobItemPage::JobItemPage(Program& program) : program_(program) {
  auto* grid = new QGridLayout(this);
  MakeFields(*grid);
  MakeOptions(*grid);
  grid->setColumnStretch(1, 1);
  grid->setRowStretch(grid->rowCount(), 1);
  FillFilters();
  ConnectFields();
}

void JobItemPage::MakeFields(QGridLayout& grid) {
  ComJobType_ = Make<QComboBox>("ComJobType");
  for (const JobPreset& preset : JobPresets()) ComJobType_->addItem(ShownText(preset.Caption));
  ComJobType_->setPlaceholderText(TrText(u"選擇常用的備份項目 ..."));
  txtDesc_ = Make<NameBox>("txtDesc");
  txtSrc_ = Make<QLineEdit>("txtSrc");
  txtDest_ = Make<QLineEdit>("txtDest");
  btnBrowseSrc_ = Make<QPushButton>("btnBrowseSrc", QStringLiteral("..."));
  btnBrowseSrc_->setAccessibleName(TrText(u"瀏覽來源資料夾"));
  btnBrowseDest_ = Make<QPushButton>("btnBrowseDest", QStringLiteral("..."));
  btnBrowseDest_->setAccessibleName(TrText(u"瀏覽目標資料夾"));
  for (QPushButton* browse : {btnBrowseSrc_, btnBrowseDest_}) {
    browse->setToolTip(browse->accessibleName());
    browse->setMaximumWidth(browse->fontMetrics().horizontalAdvance(u'M') * 4);
  }
  btnTags_ = Make<QPushButton>("btnTags", TrText(u"設定日期格式(&F)"));
  cboBackupType_ = Make<QComboBox>("cboBackupType");
  for (int type = 0; type < 4; ++type) {
    cboBackupType_->addItem(ShownText(BackupTypeCaption(static_cast<BackupType>(type))));
  }
  cboFF_ = Make<QComboBox>("cboFF");
  cboFF_->setEditable(true);
  cboFF_->setInsertPolicy(QComboBox::NoInsert);
  cboFF_->setCompleter(nullptr);
  cmdLoadFFs_ = Make<QPushButton>("cmdLoadFFs", TrText(u"新增 / 編輯副檔名排程(&L)"));
  // A list's longest entry must not make the whole window wider than the screen.
  for (QComboBox* box : {ComJobType_, cboBackupType_, cboFF_}) {
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    box->setMinimumContentsLength(16);
    IgnoreWheel(box);
  }

  grid.addWidget(MakeLabel(TrText(u"排 程 類 型(&P) ："), ComJobType_), 0, 0);
  grid.addWidget(ComJobType_, 0, 1, 1, 3);
  grid.addWidget(MakeLabel(TrText(u"排 程 名 稱(&N) ："), txtDesc_), 1, 0);
  grid.addWidget(txtDesc_, 1, 1, 1, 3);
  grid.addWidget(MakeLabel(TrText(u"來源資料夾(&S)："), txtSrc_), 2, 0);
  grid.addWidget(txtSrc_, 2, 1, 1, 2);
  grid.addWidget(btnBrowseSrc_, 2, 3);
  grid.addWidget(MakeLabel(TrText(u"目標資料夾(&D)："), txtDest_), 3, 0);
  grid.addWidget(txtDest_, 3, 1);
  grid.addWidget(btnTags_, 3, 2);
  grid.addWidget(btnBrowseDest_, 3, 3);
  grid.addWidget(MakeLabel(TrText(u"備份模式(&M)："), cboBackupType_), 4, 0);
  grid.addWidget(cboBackupType_, 4, 1, 1, 3);
  grid.addWidget(MakeLabel(TrText(u"檔 案 類 型(&T) ："), cboFF_), 5, 0);
  grid.addWidget(cboFF_, 5, 1);
  grid.addWidget(cmdLoadFFs_, 5, 2, 1, 2);
}

void JobItemPage::MakeOptions(QGridLayout& grid) {
  chkExc_ = MakeCheck("chkExc", TrLater(u"不備份指定的檔案類型(&X)"));
  chkSubDirs_ = MakeCheck("chkSubDirs", TrLater(u"備份子目錄所有檔案與目錄(&U)"));
  chkSrcFolder_ = MakeCheck("chkSrcFolder", TrLater(u"備份時自動建立來源目錄名稱(&O)"));
  chkEnabled_ = MakeCheck("chkEnabled", TrLater(u"儲存後啟動備份排程(&E)"));
  chkRecycle_ =
      MakeCheck("chkRecycle", TrLater(u"同步備份時將刪除的檔案或資料夾移到資源回收筒內(&R)"));
  chkFileSize_ = MakeCheck("chkFileSize", TrLater(u"備份指定大小(&Z)"));
  chkZipPassWord_ = MakeCheck("chkZipPassWord", TrLater(u"壓縮加密(&W)"));
  txtFileSize_ = Make<QLineEdit>("txtFileSize");
  txtFileSize_->setValidator(new QRegularExpressionValidator(kFileSize, txtFileSize_));
  txtFileSize_->setAlignment(Qt::AlignRight);
  txtFileSize_->setAccessibleName(TrText(u"備份檔案大小上限，KB"));
  Label2_ = Make<QLabel>("Label2", QStringLiteral("KB"));
  txtZipPassWord_ = Make<QLineEdit>("txtZipPassWord");
  txtZipPassWord_->setEchoMode(QLineEdit::PasswordEchoOnEdit);
  chkShowPassWord_ = MakeCheck("chkShowPassWord", TrLater(u"顯示(&V)"));
  chkShowPassWord_->setAccessibleName(TrText(u"顯示密碼"));
  connect(chkShowPassWord_, &QCheckBox::toggled, txtZipPassWord_, [this](bool shown) {
    txtZipPassWord_->setEchoMode(shown ? QLineEdit::Normal : QLineEdit::PasswordEchoOnEdit);
  });
  Label7_ = MakeLabel(TrText(u"密碼(&K)："), txtZipPassWord_);
  Label7_->setObjectName(QStringLiteral("Label7"));

  auto* size = new QHBoxLayout;
  size->addWidget(chkFileSize_);
  size->addWidget(txtFileSize_);
  size->addWidget(Label2_);
  size->setSpacing(6);
  auto* password = new QHBoxLayout;
  password->addWidget(chkZipPassWord_);
  password->addWidget(Label7_);
  password->addWidget(txtZipPassWord_);
  password->addWidget(chkShowPassWord_);
  password->setSpacing(6);
  auto* options = new QGridLayout;
  options->addWidget(chkExc_, 0, 0);
  options->addWidget(chkSubDirs_, 0, 1);
  options->addWidget(chkSrcFolder_, 1, 0);
  options->addWidget(chkEnabled_, 1, 1);
  options->addWidget(chkRecycle_, 2, 0, 1, 2);
  options->addLayout(size, 3, 0);
  options->addLayout(password, 3, 1);
  options->addLayout(MakeRecovery(), 4, 0, 1, 2);
  options->setHorizontalSpacing(24);
  grid.addLayout(options, 6, 0, 1, 4);
}

QHBoxLayout* JobItemPage::MakeRecovery() {
  chkRecovery_ = MakeCheck("chkRecovery", TrLater(u"壓縮檔附修復資料，容量佔(&G)"));
  chkRecovery_->setToolTip(
      TrText(u"每個壓縮檔旁邊存放 par2 修復資料，壓縮檔有一部分損壞時，驗證可以修復它。需要 par2 "
             "程式，也要保存校驗碼。"));
  numRecovery_ = Make<QSpinBox>("numRecovery");
  numRecovery_->setRange(1, kMaxRecoveryPercent);
  numRecovery_->setSuffix(QStringLiteral(" %"));
  numRecovery_->setAccessibleName(TrText(u"修復資料佔壓縮檔的百分比"));
  IgnoreWheel(numRecovery_);
  auto* row = new QHBoxLayout;
  row->addWidget(chkRecovery_);
  row->addWidget(numRecovery_);
  row->addStretch();
  row->setSpacing(6);
  return row;
}

void JobItemPage::ConnectFields() {
  for (QLineEdit* box : {txtDesc_, txtSrc_, txtDest_, txtFileSize_, txtZipPassWord_}) {
    connect(box, &QLineEdit::textEdited, this, &JobItemPage::Changed);
  }
  for (QCheckBox* box : {chkExc_, chkSubDirs_, chkSrcFolder_, chkEnabled_, chkRecycle_,
                         chkFileSize_, chkZipPassWord_, chkRecovery_}) {
    connect(box, &QCheckBox::clicked, this, [this] {
      EnableOptions();
      Q_EMIT Changed();
    });
  }
  connect(numRecovery_, &QSpinBox::valueChanged, this, &JobItemPage::Changed);
  connect(cboFF_->lineEdit(), &QLineEdit::textEdited, this, &JobItemPage::Changed);
  for (QComboBox* box : {cboFF_, cboBackupType_}) {
    connect(box, &QComboBox::activated, this, [this] {
      EnableOptions();
      Q_EMIT Changed();
    });
  }
  connect(ComJobType_, &QComboBox::activated, this, &JobItemPage::ComJobType_Click);
  connect(btnBrowseSrc_, &QPushButton::clicked, this,
          [this] { Browse(*txtSrc_, TrText(u"來源資料夾")); });
  connect(btnBrowseDest_, &QPushButton::clicked, this,
          [this] { Browse(*txtDest_, TrText(u"目的資料夾")); });
  connect(btnTags_, &QPushButton::clicked, this, &JobItemPage::btnTags_Click);
  connect(cmdLoadFFs_, &QPushButton::clicked, this, &JobItemPage::cmdLoadFFs_Click);
}

void JobItemPage::Show(const JobForm& form) {
  ComJobType_->setCurrentIndex(-1);
  kept_name_ = form.Name;
  txtDesc_->setText(NameText(kept_name_));
  txtSrc_->setText(ToQString(form.Source));
  txtDest_->setText(ToQString(form.Destination));
  cboBackupType_->setCurrentIndex(static_cast<int>(form.Type));
  ShowFileTypes(form.FileTypes);
  chkExc_->setChecked(form.ExcludeFileTypes);
  chkSubDirs_->setChecked(form.IncludeSubfolders);
  chkSrcFolder_->setChecked(form.AddSourceFolder);
  chkEnabled_->setChecked(form.Enabled);
  chkRecycle_->setChecked(form.UseRecycleBin);
  chkFileSize_->setChecked(form.LimitFileSize);
  txtFileSize_->setText(ToQString(Decimal(form.MaxFileSizeKB)));
  chkZipPassWord_->setChecked(form.UsePassword);
  txtZipPassWord_->setText(ToQString(form.Password));
  chkShowPassWord_->setChecked(false);
  const std::int32_t recovery = form.Extras.RecoveryPercent;
  chkRecovery_->setChecked(recovery > 0);
  {
    const QSignalBlocker quiet(numRecovery_);
    numRecovery_->setValue(recovery > 0 ? recovery : kReadyRecoveryPercent);
  }
  given_name_ = form.Source.empty() ? txtDesc_->text() : QString();
  given_source_.clear();
  EnableOptions();
  txtDesc_->setFocus();
}

void JobItemPage::Read(JobForm& form) const {
  form.Name = TypedName(txtDesc_->text(), kept_name_);
  form.Source = FromQString(txtSrc_->text());
  form.Destination = FromQString(txtDest_->text());
  form.Type = static_cast<BackupType>(cboBackupType_->currentIndex());
  form.FileTypes = FileTypes();
  form.ExcludeFileTypes = chkExc_->isChecked();
  form.IncludeSubfolders = chkSubDirs_->isChecked();
  form.AddSourceFolder = chkSrcFolder_->isChecked();
  form.Enabled = chkEnabled_->isChecked();
  form.UseRecycleBin = chkRecycle_->isChecked();
  form.LimitFileSize = chkFileSize_->isChecked();
  form.MaxFileSizeKB = ParseInt(FromQString(txtFileSize_->text())).value_or(0);
  form.UsePassword = chkZipPassWord_->isChecked();
  form.Password = FromQString(txtZipPassWord_->text());
  form.Extras.RecoveryPercent = chkRecovery_->isChecked() ? numRecovery_->value() : 0;
}

void JobItemPage::FocusField(FormCheck check) {
  QLineEdit* box = check == FormCheck::SourceMissing   ? txtSrc_
                   : check == FormCheck::NoDestination ? txtDest_
                                                       : txtDesc_;
  box->setFocus();
  box->selectAll();
}

void JobItemPage::FillFilters() {
  cboFF_->clear();
  for (std::size_t i = 0; i < program_.Filters.Entries.size(); ++i) {
    cboFF_->addItem(NameText(program_.Filters.Entries[i].Name), static_cast<int>(i));
  }
}

void JobItemPage::ShowFileTypes(const std::u16string& patterns) {
  const std::vector<FileFilter>& filters = program_.Filters.Entries;
  for (std::size_t i = 0; i < filters.size(); ++i) {
    if (!EqualNoCase(filters[i].Patterns, patterns)) continue;
    cboFF_->setCurrentIndex(static_cast<int>(i));
    return;
  }
  cboFF_->setCurrentIndex(-1);
  cboFF_->setEditText(ToQString(patterns));
}

/// A list's name stands for its patterns, anything else is patterns itself.
std::u16string JobItemPage::FileTypes() const {
  const QString text = cboFF_->currentText();
  int index = cboFF_->currentIndex();
  if (index < 0 || cboFF_->itemText(index) != text) {
    index = cboFF_->findText(text, Qt::MatchFixedString | Qt::MatchCaseSensitive);
  }
  if (index < 0) return FromQString(text);
  return program_.Filters.Entries[static_cast<std::size_t>(index)].Patterns;
}

void JobItemPage::EnableOptions() {
  chkRecycle_->setEnabled(cboBackupType_->currentIndex() ==
                          static_cast<int>(BackupType::Synchronise));
  txtFileSize_->setEnabled(chkFileSize_->isChecked());
  Label2_->setEnabled(chkFileSize_->isChecked());
  txtZipPassWord_->setEnabled(chkZipPassWord_->isChecked());
  Label7_->setEnabled(chkZipPassWord_->isChecked());
  chkShowPassWord_->setEnabled(chkZipPassWord_->isChecked());
  const bool packs = cboBackupType_->currentIndex() == static_cast<int>(BackupType::Compressed);
  chkRecovery_->setEnabled(packs);
  numRecovery_->setEnabled(packs && chkRecovery_->isChecked());
}

bool JobItemPage::HasOwnEntries() const {
  return txtSrc_->text() != given_source_ || txtDesc_->text() != given_name_;
}

void JobItemPage::ComJobType_Click(int index) {
  const JobPreset& preset = JobPresets()[static_cast<std::size_t>(index)];
  if (HasOwnEntries() &&
      !Confirm(*this, TrText(u"「%1」會取代目前的排程名稱、來源與目標資料夾，您確定嗎？")
                          .arg(ShownText(preset.Caption)))) {
    ComJobType_->setCurrentIndex(-1);
    return;
  }
  const std::u16string source = FindUserFolder(preset.Source);
  kept_name_ = preset.Name;
  txtDesc_->setText(NameText(kept_name_));
  txtSrc_->setText(ToQString(source));
  given_name_ = txtDesc_->text();
  given_source_ = txtSrc_->text();
  const bool found = program_.Files.FolderExists(source);
  if (found) {
    txtDest_->setText(ToQString(program_.PresetDestination()));
    ShowFileTypes(std::u16string(kAllFiles));
  }
  Q_EMIT Changed();
  if (!found) {
    Inform(*this, TrText(u"來源資料夾無法偵測到它的存在，請重新指定！"));
  }
}

void JobItemPage::Browse(QLineEdit& box, const QString& title) {
  // What was typed so far, as far as it exists.
  const std::u16string typed = FromQString(box.text().trimmed());
  std::u16string_view start = typed;
  Reach reach(program_, Reach::kWindow);
  while (!start.empty() && !(reach.Answers(start) && program_.Files.FolderExists(start))) {
    start = PathFolder(start);
  }
  const std::optional<std::string> host = program_.Files.HostPath(start);
  const QString chosen =
      picker_->PickFolder(*this, title, QString::fromStdString(host.value_or("")));
  if (chosen.isEmpty()) {
    Attract(*this);
    return;
  }
  box.setText(chosen);
  box.setFocus();
  Q_EMIT Changed();
}

void JobItemPage::btnTags_Click() {
  frmHelp(this, &program_.Context.Time, &program_.WindowSizes).exec();
}

void JobItemPage::cmdLoadFFs_Click() {
  const std::u16string patterns = FileTypes();
  const QString text = cboFF_->currentText();
  frmFFEdit(program_, this).exec();
  program_.Filters.LoadFilters();
  FillFilters();
  // A list that was chosen stays chosen, with the patterns that it has now.
  const int index = cboFF_->findText(text, Qt::MatchFixedString | Qt::MatchCaseSensitive);
  if (index >= 0) {
    cboFF_->setCurrentIndex(index);
  } else {
    ShowFileTypes(patterns);
  }
  if (FileTypes() != patterns) Q_EMIT Changed();
}

}  // namespace kavrel
