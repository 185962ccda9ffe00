#include "ui/frm_drives.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include "app/program.h"
#include "files/error_text.h"
#include "platform/drives.h"
#include "ui/layout_help.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"
#include "ui/window_size.h"

namespace kavrel {

namespace {

constexpr int kFolderColumn = 1;

}  // namespace

frmDrives::frmDrives(Program& program, QWidget* parent, const std::vector<std::u16string>& volumes)
    : QDialog(parent), program_(program) {
  setObjectName(QStringLiteral("frmDrives"));
  setWindowTitle(TrText(u"Windows 磁碟機對應"));
  auto* lblDrives = Make<QLabel>(
      "lblDrives",
      TrText(u"這些排程使用 Windows 的磁碟機或網路資料夾。請選擇它們在這部電腦上的資料夾；"
             "沒有對應的磁碟機視為不存在，使用它的排程不會備份任何檔案。"));
  lblDrives->setWordWrap(true);
  QWidget* list = MakeList(lstDrives_, "lstDrives", windowTitle());
  lstDrives_.ColumnAdd(-1, 120, TrText(u"磁碟機"));
  lstDrives_.ColumnAdd(-1, 240, TrText(u"對應的資料夾"));
  lstDrives_.ColumnAdd(-1, 200, TrText(u"使用的排程"));
  btnFolder_ = Make<QPushButton>("btnFolder", TrText(u"選擇資料夾(&F)..."));
  btnClear_ = Make<QPushButton>("btnClear", TrText(u"不對應(&N)"));
  auto* btnOK = Make<QPushButton>("btnOK", TrText(u"確定(&O)"));
  auto* btnClose = Make<QPushButton>("btnClose", TrText(u"稍後再說(&C)"));
  btnOK->setDefault(true);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(btnFolder_);
  buttons->addWidget(btnClear_);
  buttons->addStretch();
  buttons->addWidget(btnOK);
  buttons->addWidget(btnClose);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(lblDrives);
  layout->addWidget(list, 1);
  layout->addLayout(buttons);

  connect(&lstDrives_, &clsLictView::ItemSelect, this, &frmDrives::SelectionChanged);
  connect(&lstDrives_, &clsLictView::DbClick, this, &frmDrives::ChooseFolder);
  connect(btnFolder_, &QPushButton::clicked, this, &frmDrives::ChooseFolder);
  connect(btnClear_, &QPushButton::clicked, this, &frmDrives::ClearFolder);
  connect(btnOK, &QPushButton::clicked, this, [this] {
    if (Apply()) accept();
  });
  connect(btnClose, &QPushButton::clicked, this, &QDialog::reject);

  for (DriveUse& use : UsedDrives(program_)) {
    std::u16string folder = use.Folder;
    if (folder.empty()) folder = SuggestDriveFolder(program_, use.Drive, volumes);
    rows_.push_back({std::move(use), std::move(folder)});
    ShowRow(lstDrives_.ItemAdd(-1, ToQString(rows_.back().Use.Drive)));
  }
  lstDrives_.SetSelectedItem(rows_.empty() ? -1 : 0);
  SelectionChanged();
  lstDrives_.SetFocus();
  RememberSize(*this, &program_.WindowSizes, objectName(), 620, 340);
}

void frmDrives::ShowRow(int row) {
  const Row& shown = rows_[static_cast<std::size_t>(row)];
  QStringList jobs;
  for (const std::u16string& name : shown.Use.Jobs) jobs += NameText(name);
  lstDrives_.SetItemText(row, kFolderColumn,
                         shown.Folder.empty() ? TrText(u"（沒有對應）") : ToQString(shown.Folder));
  lstDrives_.SetItemText(row, kFolderColumn + 1, jobs.join(TrText(u"、")));
}

void frmDrives::SelectionChanged() {
  const int row = lstDrives_.SelectedIndex();
  btnFolder_->setEnabled(row >= 0);
  btnClear_->setEnabled(row >= 0 && !rows_[static_cast<std::size_t>(row)].Folder.empty());
}

void frmDrives::ChooseFolder() {
  const int row = lstDrives_.SelectedIndex();
  if (row < 0) return;
  Row& chosen = rows_[static_cast<std::size_t>(row)];
  QString start = ToQString(chosen.Folder);
  if (start.isEmpty()) start = QStringLiteral("/media");
  const QString folder =
      picker_->PickFolder(*this, TrText(u"「%1」的資料夾").arg(ToQString(chosen.Use.Drive)), start);
  if (folder.isEmpty()) return;
  const std::u16string path = FromQString(folder);
  const std::u16string_view refusal = CheckDriveFolder(program_, path);
  if (!refusal.empty()) return Warn(*this, ShownText(refusal));
  chosen.Folder = path;
  ShowRow(row);
  SelectionChanged();
}

void frmDrives::ClearFolder() {
  const int row = lstDrives_.SelectedIndex();
  if (row < 0) return;
  rows_[static_cast<std::size_t>(row)].Folder.clear();
  ShowRow(row);
  SelectionChanged();
}

bool frmDrives::Apply() {
  for (Row& row : rows_) {
    DriveUse& use = row.Use;
    if (row.Folder == use.Folder) continue;
    const ErrorCode error = row.Folder.empty() ? UnmapDrive(program_.Files, use.Drive)
                                               : MapDrive(program_.Files, use.Drive, row.Folder);
    if (error != 0) {
      TellFailure(*this, TrText(u"無法設定「%1」的對應，%2")
                             .arg(ToQString(use.Drive), ShownText(ApiErrorText(error))));
      return false;
    }
    use.Folder = row.Folder;
  }
  return true;
}

void frmDrives::done(int result) {
  std::vector<DriveUse> uses;
  for (const Row& row : rows_) {
    if (!row.Use.Jobs.empty()) uses.push_back(row.Use);
  }
  LeaveDrives(program_, uses);
  QDialog::done(result);
}

}  // namespace kavrel
