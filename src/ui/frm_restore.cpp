#include "ui/frm_restore.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <QTreeView>
#include <QVBoxLayout>

#include "base/number.h"
#include "ui/backup_model.h"
#include "ui/controls/lict_delegate.h"
#include "ui/file_picker.h"
#include "ui/layout_help.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"
#include "ui/state_list.h"
#include "ui/window_size.h"

namespace kavrel {

namespace {

// A search works in slices, so that typing goes on.
constexpr int kTypingMs = 250, kSearchMs = 30;
constexpr int kNameWidth = 280, kFolderWidth = 180, kSizeWidth = 90;

}  // namespace

FrmRestore::FrmRestore(const Backup& backup, FilePicker& picker, QWidget* parent,
                       SettingsStore* sizes, RestoreStates states)
    : QDialog(parent), states_(std::move(states)), browser_(&backup.Browser), picker_(picker) {
  setObjectName(QStringLiteral("FrmRestore"));
  setWindowTitle(TrText(u"還原「%1」的檔案").arg(NameText(backup.Job)));
  cmdOK_ = Make<QPushButton>("cmdOK", TrText(u"還原(&R)"));
  auto* cmdCancel = Make<QPushButton>("cmdCancel", TrText(u"取消(&C)"));
  lblPicked_ = Make<QLabel>("lblPicked");
  lblPicked_->setTextFormat(Qt::PlainText);
  cmdOK_->setDefault(true);

  auto* buttons = new QHBoxLayout;
  buttons->addWidget(lblPicked_, 1);
  buttons->addWidget(cmdOK_);
  buttons->addWidget(cmdCancel);
  auto* layout = new QVBoxLayout(this);
  if (!states_.List.empty()) {
    state_list_ = new StateList(states_.List, states_.Notes, states_.Growth);
    state_list_->Select(states_.Chosen);
    layout->addWidget(state_list_);
    connect(state_list_, &StateList::Selected, this, &FrmRestore::ChooseState);
    connect(state_list_, &StateList::OpenWanted, this, [this](int row) {
      if (row >= 0) states_.OpenFolder(states_.List[static_cast<std::size_t>(row)]);
    });
    connect(state_list_, &StateList::PinWanted, this, &FrmRestore::PinState);
    connect(state_list_, &StateList::CompareWanted, this,
            [this](int older, int newer) { states_.Compare(*this, older, newer); });
  }
  layout->addLayout(MakeSearch());
  layout->addWidget(MakeTree(), 1);
  layout->addWidget(MakeTarget(ToQString(backup.Source)));
  layout->addLayout(buttons);

  connect(cmdOK_, &QPushButton::clicked, this, &FrmRestore::TakePick);
  connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
  ShowState();
  ShowCurrent();
  tvwFiles_->setFocus();
  RememberSize(*this, sizes, objectName(), state_list_ ? 880 : 760, state_list_ ? 720 : 560);
}

QLayout* FrmRestore::MakeSearch() {
  txtFind_ = Make<QLineEdit>("txtFind");
  txtFind_->setClearButtonEnabled(true);
  txtFind_->setPlaceholderText(TrText(u"檔案或資料夾名稱的一部分"));
  btnVersions_ = Make<QPushButton>("btnVersions", TrText(u"較早的版本(&V)..."));
  btnVersions_->setAutoDefault(false);
  btnVersions_->setVisible(static_cast<bool>(states_.Versions));
  auto* find = new QHBoxLayout;
  find->addWidget(MakeLabel(TrText(u"搜尋(&F)："), txtFind_));
  find->addWidget(txtFind_, 1);
  find->addWidget(btnVersions_);
  search_timer_.setSingleShot(true);
  connect(&search_timer_, &QTimer::timeout, this, &FrmRestore::SearchOn);
  connect(txtFind_, &QLineEdit::textChanged, this, &FrmRestore::StartSearch);
  connect(btnVersions_, &QPushButton::clicked, this, &FrmRestore::ShowVersions);
  return find;
}

void FrmRestore::MakeModel() {
  const BackupModel* former = model_;
  const QItemSelectionModel* selection = tvwFiles_->selectionModel();
  picked_.Clear();
  model_ = new BackupModel(*browser_, picked_, this);
  connect(model_, &BackupModel::PicksChanged, this, &FrmRestore::ShowState);
  tvwFiles_->setModel(model_);
  tvwFiles_->setRootIsDecorated(true);
  tvwFiles_->hideColumn(BackupModel::kFolder);
  connect(tvwFiles_->selectionModel(), &QItemSelectionModel::currentChanged, this,
          &FrmRestore::ShowCurrent);
  connect(model_, &BackupModel::modelReset, this, &FrmRestore::ShowCurrent);
  tvwFiles_->setCurrentIndex(model_->index(0, 0, {}));
  delete selection;
  delete former;
}

void FrmRestore::ChooseState(int row) {
  if (row < 0 || row == states_.Chosen) return;
  const JobState& state = states_.List[static_cast<std::size_t>(row)];
  std::unique_ptr<BackupBrowser> browser = states_.Browse(state);
  if (!browser) {
    Warn(*this, TrText(u"無法讀取備份「%1」。").arg(ToQString(state.Unit)));
    return state_list_->Select(states_.Chosen);
  }
  states_.Chosen = row;
  search_.reset();
  // What shows the former one goes before it.
  browser_ = browser.get();
  MakeModel();
  of_state_ = std::move(browser);
  ShowState();
  if (!txtFind_->text().trimmed().isEmpty()) StartSearch();
}

void FrmRestore::PinState(int row, bool pinned) {
  if (row < 0) return;
  JobState& state = states_.List[static_cast<std::size_t>(row)];
  const std::optional<QString> note = states_.Pin(state, pinned);
  if (note) state.Pinned = pinned;
  const QString& shown = note ? *note : states_.Notes[static_cast<std::size_t>(row)].Text;
  state_list_->ShowPinned(row, state.Pinned, shown);
}

void FrmRestore::ShowCurrent() {
  btnVersions_->setEnabled(!model_->FileAt(tvwFiles_->currentIndex()).empty());
}

void FrmRestore::ShowTreeMenu(const QPoint& at) {
  const QModelIndex index = tvwFiles_->indexAt(at);
  if (!states_.Versions || model_->FileAt(index).empty()) return;
  tvwFiles_->setCurrentIndex(index);
  QMenu menu(this);
  menu.setObjectName(QStringLiteral("mnuFile"));
  QAction* versions = menu.addAction(btnVersions_->text());
  versions->setObjectName(QStringLiteral("mnuVersions"));
  connect(versions, &QAction::triggered, this, &FrmRestore::ShowVersions, Qt::QueuedConnection);
  menu.exec(tvwFiles_->viewport()->mapToGlobal(at));
}

void FrmRestore::ShowVersions() {
  const std::u16string path = model_->FileAt(tvwFiles_->currentIndex());
  if (path.empty()) return;
  version_ = states_.Versions(*this, path);
  if (version_) accept();
}

QWidget* FrmRestore::MakeTree() {
  tvwFiles_ = Make<QTreeView>("tvwFiles");
  tvwFiles_->setContextMenuPolicy(Qt::CustomContextMenu);
  connect(tvwFiles_, &QTreeView::customContextMenuRequested, this, &FrmRestore::ShowTreeMenu);
  MakeModel();
  tvwFiles_->setItemDelegate(new LictDelegate(tvwFiles_));
  tvwFiles_->setUniformRowHeights(true);
  tvwFiles_->setAlternatingRowColors(true);
  tvwFiles_->setAccessibleName(windowTitle());
  tvwFiles_->header()->resizeSection(BackupModel::kName, kNameWidth);
  tvwFiles_->header()->resizeSection(BackupModel::kFolder, kFolderWidth);
  tvwFiles_->header()->resizeSection(BackupModel::kSize, kSizeWidth);
  return tvwFiles_;
}

QWidget* FrmRestore::MakeTarget(const QString& source) {
  optPlace_ = Make<QRadioButton>("optPlace", TrText(u"還原到原來的位置(&P)："));
  optOther_ = Make<QRadioButton>("optOther", TrText(u"還原到其他資料夾(&D)："));
  optPlace_->setChecked(true);
  auto* lblSource = Make<QLabel>("lblSource", source);
  lblSource->setTextFormat(Qt::PlainText);
  lblSource->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  txtTarget_ = Make<QLineEdit>("txtTarget");
  txtTarget_->setAccessibleName(PlainLabel(optOther_->text()));
  btnTarget_ = Make<QPushButton>("btnTarget", QStringLiteral("..."));
  btnTarget_->setFixedWidth(btnTarget_->fontMetrics().horizontalAdvance(u'.') * 3 + 24);
  btnTarget_->setAccessibleName(TrText(u"選擇資料夾"));
  chkNewer_ = Make<QCheckBox>("chkNewer", TrText(u"也覆寫比備份新的檔案(&N)"));
  auto* box = new QWidget;
  auto* grid = new QGridLayout(box);
  grid->setContentsMargins(0, 0, 0, 0);
  grid->addWidget(optPlace_, 0, 0);
  grid->addWidget(lblSource, 0, 1, 1, 2);
  grid->addWidget(optOther_, 1, 0);
  grid->addWidget(txtTarget_, 1, 1);
  grid->addWidget(btnTarget_, 1, 2);
  grid->addWidget(chkNewer_, 2, 0, 1, 3);
  connect(optOther_, &QRadioButton::toggled, this, &FrmRestore::ShowState);
  connect(txtTarget_, &QLineEdit::textChanged, this, &FrmRestore::ShowState);
  connect(btnTarget_, &QPushButton::clicked, this, &FrmRestore::BrowseTarget);
  return box;
}

void FrmRestore::ShowState() {
  const bool other = optOther_->isChecked();
  txtTarget_->setEnabled(other);
  btnTarget_->setEnabled(other);
  const std::size_t count = picked_.Paths().size();
  lblPicked_->setText(count == 0 ? TrText(u"請勾選要還原的檔案或資料夾。")
                                 : ToQString(TrCount(u"已選取 %1 個項目。", count)));
  cmdOK_->setEnabled(count > 0 && (!other || !txtTarget_->text().trimmed().isEmpty()));
}

void FrmRestore::StartSearch() {
  search_.reset();
  if (!txtFind_->text().trimmed().isEmpty()) return search_timer_.start(kTypingMs);
  search_timer_.stop();
  if (model_->IsTree()) return;
  model_->ShowTree();
  tvwFiles_->setRootIsDecorated(true);
  tvwFiles_->hideColumn(BackupModel::kFolder);
}

void FrmRestore::SearchOn() {
  if (!search_) {
    search_ = std::make_unique<BackupSearch>(*browser_, FromQString(txtFind_->text().trimmed()));
    model_->ShowHits({});
    tvwFiles_->setRootIsDecorated(false);
    tvwFiles_->showColumn(BackupModel::kFolder);
  }
  const bool more = search_->Advance(kSearchMs);
  model_->ShowHits(search_->Hits());
  if (more) search_timer_.start(0);
}

void FrmRestore::BrowseTarget() {
  const QString folder =
      picker_.PickFolder(*this, TrText(u"還原到其他資料夾"), txtTarget_->text().trimmed());
  if (!folder.isEmpty()) txtTarget_->setText(folder);
}

void FrmRestore::TakePick() {
  const QString target = txtTarget_->text().trimmed();
  if (optOther_->isChecked() && !target.startsWith(u'/') &&
      !target.startsWith(QStringLiteral("\\\\")) && target.mid(1, 2) != QStringLiteral(":\\")) {
    Warn(*this, TrText(u"「%1」不是完整的路徑。").arg(target));
    txtTarget_->setFocus();
    return;
  }
  accept();
}

RestoreWish FrmRestore::Wish() const {
  if (version_) return *version_;
  RestoreWish wish;
  wish.Pick.Paths = picked_;
  if (optOther_->isChecked()) wish.Pick.Target = FromQString(txtTarget_->text().trimmed());
  wish.Pick.ReplaceNewer = chkNewer_->isChecked();
  if (states_.Chosen >= 0) wish.Unit = states_.List[static_cast<std::size_t>(states_.Chosen)].Unit;
  return wish;
}

}  // namespace kavrel
