#include "ui/job_list_page.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <algorithm>

#include "ui/layout_help.h"
#include "ui/qt_text.h"

namespace kavrel {

JobListPage::JobListPage() {
  QWidget* list = MakeList(lstJobs_, "lstJobs", TrText(u"備份清單"));
  lstJobs_.ColumnAdd(-1, 460, TrText(u"排程名稱"));
  auto* btnNew = Make<QPushButton>("btnNew", TrText(u"新增排程(&N)"));
  btnEdit_ = Make<QPushButton>("btnEdit", TrText(u"編輯排程(&E)"));
  btnDuplicate_ = Make<QPushButton>("btnDuplicate", TrText(u"複製排程(&Y)"));
  btnDel_ = Make<QPushButton>("btnDel", TrText(u"移除排程(&R)"));
  auto* buttons = new QVBoxLayout;
  for (QPushButton* button : {btnNew, btnEdit_, btnDuplicate_, btnDel_}) buttons->addWidget(button);
  buttons->addStretch();
  auto* layout = new QHBoxLayout(this);
  layout->addWidget(list, 1);
  layout->addLayout(buttons);

  connect(btnNew, &QPushButton::clicked, this, &JobListPage::NewJob);
  connect(btnEdit_, &QPushButton::clicked, this, &JobListPage::EditJob);
  connect(btnDuplicate_, &QPushButton::clicked, this, &JobListPage::Duplicate);
  connect(btnDel_, &QPushButton::clicked, this, &JobListPage::RemoveJob);
  connect(&lstJobs_, &clsLictView::ItemSelect, this, [this] {
    EnableButtons();
    Q_EMIT SelectionChanged();
  });
  connect(&lstJobs_, &clsLictView::DbClick, this, [this](int row) {
    if (row >= 0) Q_EMIT EditJob();
  });
  connect(&lstJobs_, &clsLictView::NotifyKeyDown, this, &JobListPage::lstJobs_NotifyKeyDown);
  EnableButtons();
}

void JobListPage::Fill(const std::vector<BackupJob>& jobs) {
  lstJobs_.ItemClear();
  indexes_.clear();
  for (const BackupJob& job : jobs) {
    if (!job.Deleted) SetJob(job.JobIndex, job.Name);
  }
  EnableButtons();
}

int JobListPage::SetJob(std::int32_t job_index, const std::u16string& name) {
  const auto found = std::find(indexes_.begin(), indexes_.end(), job_index);
  if (found == indexes_.end()) {
    indexes_.push_back(job_index);
    return lstJobs_.ItemAdd(-1, NameText(name));
  }
  const int row = static_cast<int>(found - indexes_.begin());
  lstJobs_.SetItemText(row, 0, NameText(name));
  return row;
}

void JobListPage::RemoveSelected() {
  const int row = lstJobs_.SelectedIndex();
  if (row < 0) return;
  indexes_.erase(indexes_.begin() + row);
  lstJobs_.ItemRemove(row);
  lstJobs_.SetSelectedItem(std::min(row, lstJobs_.ItemCount() - 1));
  EnableButtons();
}

void JobListPage::Select(std::int32_t job_index) {
  const auto found = std::find(indexes_.begin(), indexes_.end(), job_index);
  lstJobs_.SetSelectedItem(found == indexes_.end() ? -1
                                                   : static_cast<int>(found - indexes_.begin()));
  EnableButtons();
}

std::int32_t JobListPage::Selected() const {
  const int row = lstJobs_.SelectedIndex();
  return row < 0 ? -1 : indexes_[static_cast<std::size_t>(row)];
}

void JobListPage::EnableButtons() {
  const bool selected = lstJobs_.SelectedIndex() >= 0;
  for (QPushButton* button : {btnEdit_, btnDuplicate_, btnDel_}) button->setEnabled(selected);
}

void JobListPage::lstJobs_NotifyKeyDown(int key, bool& handled) {
  if (lstJobs_.SelectedIndex() < 0) return;
  handled = key == Qt::Key_Return || key == Qt::Key_Delete;
  if (key == Qt::Key_Return) Q_EMIT EditJob();
  if (key == Qt::Key_Delete) Q_EMIT RemoveJob();
}

}  // namespace kavrel
