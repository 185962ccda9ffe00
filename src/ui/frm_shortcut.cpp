#include "ui/frm_shortcut.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include "app/program.h"
#include "core/command_line.h"
#include "files/path.h"
#include "platform/folders.h"
#include "platform/launcher.h"
#include "platform/user_folders.h"
#include "ui/layout_help.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"
#include "ui/window_size.h"

namespace kavrel {

namespace {

/// What a started program's command line must stay below, target and all.
constexpr std::size_t kCommandLineLimit = 261;
/// What the launcher is called, which is a file's name.
constexpr std::u16string_view kDescription = TrLater(u"資料備份排程捷徑");

std::u16string Target() {
  return ExecutableFile(u"kavrel");
}

std::size_t CommandLineLength(const std::vector<std::u16string>& names) {
  return Target().size() + 1 + JoinArguments(names).size();
}

/// The names as the program takes them when the desktop starts it.
std::vector<std::u16string> LaunchArguments(const Program& program,
                                            const std::vector<std::u16string>& names) {
  std::vector<std::u16string> arguments = FolderArguments(program.Files.ProgramFolder());
  for (const std::u16string& name : names) {
    if (!name.starts_with(u'-')) continue;
    arguments.push_back(u"--");
    break;
  }
  arguments.insert(arguments.end(), names.begin(), names.end());
  return arguments;
}

}  // namespace

frmShortcut::frmShortcut(Program& program, QWidget* parent) : QDialog(parent), program_(program) {
  setObjectName(QStringLiteral("frmShortcut"));
  setWindowTitle(TrText(u"建立備份排程捷徑"));
  QWidget* list = MakeList(lstJobs_, "lstJobs", TrText(u"備份排程清單"));
  lstJobs_.SetCheckBoxes(true);
  lstJobs_.ColumnAdd(-1, 260, TrText(u"排程名稱"));
  lblJobs_ = MakeLabel(TrText(u"備份排程清單(&J)："), lstJobs_.hwnd());
  lblJobs_->setObjectName(QStringLiteral("lblJobs"));
  lblState_ = Make<QLabel>("lblState");
  lblState_->setTextFormat(Qt::PlainText);
  lblState_->setWordWrap(true);
  lblState_->setMinimumHeight(lblState_->fontMetrics().lineSpacing() * 3);
  btnSave_ = Make<QPushButton>("btnSave", TrText(u"建立捷徑(&S)"));
  auto* btnClose = Make<QPushButton>("btnClose", TrText(u"取 消(&C)"));
  btnSave_->setDefault(true);
  btnSave_->setEnabled(false);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(btnSave_);
  buttons->addWidget(btnClose);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(lblJobs_);
  layout->addWidget(list, 1);
  layout->addWidget(lblState_);
  layout->addLayout(buttons);

  connect(&lstJobs_, &clsLictView::ItemCheck, this, &frmShortcut::lstJobs_ItemCheck);
  connect(btnSave_, &QPushButton::clicked, this, &frmShortcut::btnSave_Click);
  connect(btnClose, &QPushButton::clicked, this, &QDialog::reject);

  if (program_.Store.LoadJobs()) {
    for (const BackupJob& job : program_.Store.Jobs) {
      if (job.Deleted) continue;
      lstJobs_.ItemAdd(-1, NameText(job.Name));
      indexes_.push_back(job.JobIndex);
    }
  }
  lstJobs_.SetSelectedItem(indexes_.empty() ? -1 : 0);
  lstJobs_.SetFocus();
  lstJobs_ItemCheck();
  RememberSize(*this, &program_.WindowSizes, objectName(), 420, 420);
}

std::vector<std::u16string> frmShortcut::CheckedNames() const {
  std::vector<std::u16string> names;
  for (std::size_t line = 0; line < indexes_.size(); ++line) {
    if (!lstJobs_.Checked(static_cast<int>(line))) continue;
    names.push_back(program_.Store.Jobs[static_cast<std::size_t>(indexes_[line])].Name);
  }
  return names;
}

void frmShortcut::Enable(bool on) {
  for (QWidget* control : {static_cast<QWidget*>(lblJobs_), lstJobs_.TargetPictureBox(),
                           static_cast<QWidget*>(btnSave_)}) {
    control->setEnabled(on);
  }
}

void frmShortcut::lstJobs_ItemCheck() {
  const std::vector<std::u16string> names = CheckedNames();
  btnSave_->setEnabled(!names.empty());
  const bool too_long = !names.empty() && CommandLineLength(names) >= kCommandLineLimit;
  lblState_->setText(too_long ? TrText(u"勾選的排程名稱太長，無法放入一個捷徑。") : QString());
}

void frmShortcut::btnSave_Click() {
  Enable(false);
  SaveShortcut();
  Enable(true);
  lstJobs_.SetFocus();
}

void frmShortcut::SaveShortcut() {
  const std::vector<std::u16string> names = CheckedNames();
  if (CommandLineLength(names) >= kCommandLineLimit) return;
  const QString ending = ToQString(LauncherEnding());
  const QString proposed =
      ToQString(FindUserFolder(UserFolder::Desktop)) + TrText(kDescription) + ending;
  QString path = picker_->PickSaveFile(*this, windowTitle(), proposed,
                                       TrText(u"備份排程捷徑 (*%1)").arg(ending), ending.mid(1));
  if (path.isEmpty()) return;
  if (!path.endsWith(ending, Qt::CaseInsensitive)) path += ending;
  const QFileInfo file(path);
  if (file.exists() && !Confirm(*this, TrText(u"檔案已存在，您要覆蓋它嗎？"))) return;

  const Launcher launcher{Target(), LaunchArguments(program_, names),
                          program_.Files.ProgramFolder(), FromQString(file.completeBaseName()),
                          std::u16string(kDescription)};
  const bool written = CreateShellLink(FromQString(path), launcher);
  lblState_->setText((written ? TrText(u"捷徑已建立：") : TrText(u"捷徑無法寫入：")) + path);
}

}  // namespace kavrel
