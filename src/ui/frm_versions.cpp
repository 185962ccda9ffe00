#include "ui/frm_versions.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include <QVBoxLayout>
#include <algorithm>

#include "base/screen_format.h"
#include "files/path.h"
#include "files/size_text.h"
#include "ui/layout_help.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"
#include "ui/state_opener.h"
#include "ui/state_strip.h"
#include "ui/window_size.h"

namespace kavrel {

namespace {

QString TimeText(FileTime written) {
  return ToQString(ScreenDateTime(LocalTime(written)));
}

QString SizeText(std::uint64_t size) {
  return ShownText(FormatSize(size, SizeMode::Scaled));
}

bool IsPresent(const FileVersion& version, const Result<FileStatus>& present) {
  return present && present->Kind != FileKind::Folder && present->Size == version.Size &&
         IsSameTime(present->Written, version.Written);
}

}  // namespace

FrmVersions::FrmVersions(Program& program, std::vector<FileOfJob> files, StateOpener& opener,
                         QWidget* parent)
    : ReadingDialog(parent), program_(program), files_(std::move(files)), opener_(opener) {
  setObjectName(QStringLiteral("FrmVersions"));
  cboJob_ = Make<QComboBox>("cboJob");
  for (const FileOfJob& file : files_) {
    const BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(file.Job)];
    cboJob_->addItem(NameText(job.Name));
  }
  setWindowTitle(TrText(u"「%1」的較早版本").arg(ToQString(RelativeName(File().Path))));
  lblFile_ = Make<QLabel>("lblFile");
  lblNow_ = Make<QLabel>("lblNow");
  lblNote_ = Make<QLabel>("lblNote");
  for (QLabel* label : {lblFile_, lblNow_, lblNote_}) {
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  }
  lblNote_->setWordWrap(true);

  auto* jobs = new QHBoxLayout;
  QLabel* lblJob = MakeLabel(TrText(u"排程(&J)："), cboJob_);
  jobs->addWidget(lblJob);
  jobs->addWidget(cboJob_, 1);
  lblJob->setVisible(files_.size() > 1);
  cboJob_->setVisible(files_.size() > 1);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(lblFile_);
  layout->addWidget(lblNow_);
  layout->addLayout(jobs);
  layout->addWidget(MakeVersions(), 1);
  layout->addWidget(lblNote_);
  layout->addLayout(MakeButtons());
  connect(cboJob_, &QComboBox::activated, this, &FrmVersions::ReadAnew);
  lblNote_->setText(TrText(u"正在讀取備份…"));
  ShowSelected();
  RememberSize(*this, &program_.WindowSizes, objectName(), 790, 420);
}

QWidget* FrmVersions::MakeVersions() {
  QWidget* list = MakeList(lstVersions_, "lstVersions", windowTitle());
  lstVersions_.ColumnAdd(-1, 165, TrText(u"檔案日期"));
  lstVersions_.ColumnAdd(-1, 85, TrText(u"大小"), clsLictView::AlignRight);
  lstVersions_.ColumnAdd(-1, 390, TrText(u"備份"));
  lstVersions_.ColumnAdd(-1, 105, TrText(u"現在的檔案"));
  lstVersions_.SetHeaderSort(true);
  connect(&lstVersions_, &clsLictView::ItemSelect, this, &FrmVersions::ShowSelected);
  connect(&lstVersions_, &clsLictView::DbClick, this, &FrmVersions::OpenSelected);
  return list;
}

QLayout* FrmVersions::MakeButtons() {
  btnOpen_ = Make<QPushButton>("btnOpen", TrText(u"開啟(&O)"));
  btnOpen_->setToolTip(TrText(u"開啟唯讀的副本，備份不會被變更。"));
  btnOpen_->setDefault(true);
  btnRestore_ = Make<QPushButton>("btnRestore", TrText(u"還原(&R)"));
  btnRestore_->setToolTip(TrText(u"以這個版本取代現在的檔案。"));
  btnBeside_ = Make<QPushButton>("btnBeside", TrText(u"放在旁邊(&B)"));
  btnBeside_->setToolTip(TrText(u"以附日期的名稱放在現在的檔案旁邊，不取代任何檔案。"));
  auto* cmdClose = Make<QPushButton>("cmdClose", TrText(u"關閉(&C)"));
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  for (QPushButton* button : {btnOpen_, btnRestore_, btnBeside_, cmdClose}) {
    buttons->addWidget(button);
  }
  connect(btnOpen_, &QPushButton::clicked, this, &FrmVersions::OpenSelected);
  connect(btnRestore_, &QPushButton::clicked, this, &FrmVersions::RestoreSelected);
  connect(btnBeside_, &QPushButton::clicked, this, &FrmVersions::PutBeside);
  connect(cmdClose, &QPushButton::clicked, this, &FrmVersions::reject);
  return buttons;
}

const FileOfJob& FrmVersions::File() const {
  return files_[static_cast<std::size_t>(std::max(cboJob_->currentIndex(), 0))];
}

const BackupJob& FrmVersions::Job() const {
  return program_.Store.Jobs[static_cast<std::size_t>(File().Job)];
}

Result<FileStatus> FrmVersions::Present() const {
  return program_.Files.Status(FileBelow(Job().Source.Path, File().Path));
}

void FrmVersions::Read() {
  const std::u16string& path = File().Path;
  lblFile_->setText(ToQString(FileBelow(Job().Source.Path, path)));
  found_ = {};
  lstVersions_.ItemClear();
  ShowSelected();
  lblNote_->setText(TrText(u"正在讀取備份…"));
  lblNote_->show();
  states_ = ListStates(program_.Context, Job());
  FileVersions found = VersionsOf(program_.Files, program_.Archiver, states_, path, &Monitor());
  if (!Monitor().Stopped()) found_ = std::move(found);
}

void FrmVersions::ShowRead() {
  const Result<FileStatus> present = Present();
  const bool there = present && present->Kind != FileKind::Folder;
  lblNow_->setText(
      there ? TrText(u"現在的檔案：%1，%2").arg(TimeText(present->Written), SizeText(present->Size))
            : TrText(u"現在沒有這個檔案。"));
  for (const FileVersion& version : found_.Versions) AddVersion(version, present);
  ShowUnread();
  lstVersions_.SetSelectedItem(found_.Versions.empty() ? -1 : 0);
  lstVersions_.SetFocus();
  ShowSelected();
}

void FrmVersions::AddVersion(const FileVersion& version, const Result<FileStatus>& present) {
  const int row = lstVersions_.ItemAdd(-1, TimeText(version.Written));
  lstVersions_.SetItemSortKey(row, 0, version.Written.Seconds);
  lstVersions_.ItemAddSub(row, 1, SizeText(version.Size));
  lstVersions_.SetItemSortKey(row, 1, static_cast<qint64>(version.Size));
  lstVersions_.ItemAddSub(row, 2, StatesText(version));
  lstVersions_.SetItemSortKey(row, 2, -static_cast<qint64>(version.States.front()));
  if (IsPresent(version, present)) lstVersions_.ItemAddSub(row, 3, TrText(u"相同"));
}

QString FrmVersions::StatesText(const FileVersion& version) const {
  const QString newest = StateName(states_[version.States.front()]);
  if (version.States.size() == 1) return newest;
  return TrText(u"%1 到 %2（%3）")
      .arg(StateName(states_[version.States.back()]), newest,
           ToQString(TrCount(u"%1 個備份", version.States.size())));
}

void FrmVersions::ShowUnread() {
  QStringList note;
  if (found_.Versions.empty()) note += TrText(u"沒有備份有這個檔案。");
  if (!found_.Unread.empty()) {
    note += TrText(u"無法讀取備份「%1」。").arg(ToQString(states_[found_.Unread.front()].Unit));
  }
  if (found_.Unread.size() > 1) {
    note += TrText(u"無法讀取的備份共 %1 個。").arg(found_.Unread.size());
  }
  lblNote_->setText(note.join(u'\n'));
  lblNote_->setVisible(!note.isEmpty());
}

const FileVersion* FrmVersions::Selected() const {
  const int row = lstVersions_.SelectedIndex();
  const bool known = row >= 0 && row < std::ssize(found_.Versions);
  return known ? &found_.Versions[static_cast<std::size_t>(row)] : nullptr;
}

void FrmVersions::ShowSelected() {
  const bool on = Selected() != nullptr;
  for (QPushButton* button : {btnOpen_, btnRestore_, btnBeside_}) button->setEnabled(on);
}

const JobState& FrmVersions::StateOf(const FileVersion& version) const {
  const auto whole = std::find_if(
      version.States.begin(), version.States.end(),
      [this](std::size_t state) { return states_[state].Health == StateHealth::Whole; });
  return states_[whole == version.States.end() ? version.States.front() : *whole];
}

void FrmVersions::OpenSelected() {
  const FileVersion* version = Selected();
  if (version) opener_.Open(*this, Job(), StateOf(*version), File().Path);
}

void FrmVersions::RestoreSelected() {
  const FileVersion* version = Selected();
  if (!version) return;
  const Result<FileStatus> present = Present();
  if (present && !IsPresent(*version, present) &&
      !ConfirmLoss(
          *this,
          TrText(u"您確定要以 %1 的版本取代現在的檔案「%2」嗎？")
              .arg(TimeText(version->Written), ToQString(RelativeName(File().Path))),
          TrText(u"現在的檔案是 %1 的，內容不會另外保留。").arg(TimeText(present->Written)))) {
    return;
  }
  Take(*version, false);
}

void FrmVersions::PutBeside() {
  if (const FileVersion* version = Selected()) Take(*version, true);
}

void FrmVersions::Take(const FileVersion& version, bool beside) {
  const JobState& state = StateOf(version);
  RestoreWish& wish = wish_.emplace();
  wish.Job = File().Job;
  wish.Unit = state.Unit;
  wish.Pick.Paths.Add(File().Path);
  wish.Pick.ReplaceNewer = true;
  if (beside) wish.Beside = state.Date == kZeroDate ? LocalTime(version.Written) : state.Date;
  accept();
}

}  // namespace kavrel
