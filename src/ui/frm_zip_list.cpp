#include "ui/frm_zip_list.h"

#include <QHBoxLayout>
#include <QPushButton>

#include "base/date_time.h"
#include "files/size_text.h"
#include "platform/clock.h"
#include "ui/layout_help.h"
#include "ui/qt_text.h"
#include "ui/window_size.h"

namespace kavrel {

frmZipList::frmZipList(QWidget* parent, SettingsStore* sizes) : QDialog(parent) {
  setObjectName(QStringLiteral("frmZipList"));
  setWindowTitle(TrText(u"請選擇已存在的壓縮備份檔"));
  QWidget* list = MakeList(lstDiscs_, "lstDiscs", windowTitle());
  lstDiscs_.ColumnAdd(-1, 220, TrText(u"壓縮檔名稱"));
  lstDiscs_.ColumnAdd(-1, 190, TrText(u"日期"));
  lstDiscs_.ColumnAdd(-1, 100, TrText(u"大小"), clsLictView::AlignRight);
  lstDiscs_.SetHeaderSort(true);
  cmdOK_ = Make<QPushButton>("cmdOK", TrText(u"確定(&O)"));
  auto* cmdCancel = Make<QPushButton>("cmdCancel", TrText(u"取消(&C)"));
  cmdOK_->setDefault(true);
  cmdOK_->setEnabled(false);

  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(cmdOK_);
  buttons->addWidget(cmdCancel);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(list, 1);
  layout->addLayout(buttons);

  connect(&lstDiscs_, &clsLictView::ItemSelect, this,
          [this](int row) { cmdOK_->setEnabled(row >= 0); });
  connect(&lstDiscs_, &clsLictView::DbClick, this, [this](int row) {
    if (row >= 0) accept();
  });
  connect(cmdOK_, &QPushButton::clicked, this, &QDialog::accept);
  connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
  RememberSize(*this, sizes, objectName(), 560, 320);
}

void frmZipList::AddDisc(const ArchiveFile& archive) {
  const int row = lstDiscs_.ItemAdd(-1, ToQString(archive.Name));
  lstDiscs_.ItemAddSub(row, 1, ShownText(DateTimeText(LocalTime(archive.Written))));
  lstDiscs_.SetItemSortKey(row, 1, archive.Written.Seconds);
  lstDiscs_.ItemAddSub(row, 2, ShownText(FormatSize(archive.Size, SizeMode::Scaled)));
  lstDiscs_.SetItemSortKey(row, 2, static_cast<qint64>(archive.Size));
}

std::optional<std::u16string> frmZipList::Pick(const std::vector<ArchiveFile>& archives,
                                               QWidget* parent, SettingsStore* sizes) {
  frmZipList dialog(parent, sizes);
  for (const ArchiveFile& archive : archives) dialog.AddDisc(archive);
  dialog.lstDiscs_.SetSelectedItem(archives.empty() ? -1 : 0);
  dialog.lstDiscs_.SetFocus();
  const bool accepted = dialog.exec() == QDialog::Accepted;
  const int chosen = dialog.SelectedDisc();
  if (!accepted || chosen < 0) return std::nullopt;
  return archives[static_cast<std::size_t>(chosen)].Name;
}

}  // namespace kavrel
