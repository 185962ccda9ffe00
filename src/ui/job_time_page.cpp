#include "ui/job_time_page.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QStackedLayout>
#include <algorithm>

#include "ui/layout_help.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {

struct CountList {
  const char *Name, *LabelName;
  const char16_t* Unit;
};

/// By IntervalKind.
constexpr CountList kCountLists[] = {
    {"cboMins", "Lb1", TrLater(u"分鐘內備份一次")},
    {"cboHours", "Lb2", TrLater(u"小時內備份一次")},
    {"cboDays", "Lb3", TrLater(u"天內備份一次")},
    {"cboWeeks", "Lb4", TrLater(u"週內備份一次")},
    {"cboMonths", "Lb5", TrLater(u"個月內備份一次")},
};

/// What most people want of a kind, offered where nothing of it was chosen yet.
constexpr int kUsualCounts[] = {10, 1, 1, 1, 1};

/// Whether the page cannot show the interval whole: it has several units, or more of one than a
/// list offers.
bool HasOwnInterval(const BackupJob& job) {
  BackupJob shown;
  const IntervalKind kind = JobIntervalKind(job);
  SetInterval(shown, kind, std::min(IntervalCount(job, kind), MaxIntervalCount(kind)));
  return IntervalText(shown) != IntervalText(job);
}

QWidget* MakePicker(ClsDate& picker, const char* name, ClsDate::PickerStyle style) {
  auto* area = Make<QWidget>(name);
  picker.SetPictureBox(area);
  picker.SetStyle(style);
  picker.Create();
  IgnoreWheel(picker.hwnd());
  area->setFocusProxy(picker.hwnd());
  return area;
}

}  // namespace

JobTimePage::JobTimePage() {
  ComTime_ = Make<QComboBox>("ComTime");
  for (int kind = 0; kind < 5; ++kind) {
    ComTime_->addItem(ShownText(IntervalCaption(static_cast<IntervalKind>(kind))));
  }
  IgnoreWheel(ComTime_);
  QWidget* counts = MakeCounts();
  QWidget* date = MakePicker(picDate_, "picDate", ClsDate::LongDate);
  QWidget* time = MakePicker(picTime_, "picTime", ClsDate::Time);

  auto* grid = new QGridLayout(this);
  grid->addWidget(MakeLabel(TrText(u"排程類型(&T)"), ComTime_), 0, 0);
  grid->addWidget(ComTime_, 0, 1);
  grid->addWidget(counts, 1, 1);
  lblInterval_ = Make<QLabel>("lblInterval");
  grid->addWidget(lblInterval_, 1, 2);
  grid->addWidget(MakeLabel(TrText(u"開始備份日期(&D)："), picDate_.hwnd()), 2, 0);
  grid->addWidget(date, 2, 1);
  grid->addWidget(MakeLabel(TrText(u"開始備份時間(&M)："), picTime_.hwnd()), 3, 0);
  grid->addWidget(time, 3, 1);
  grid->addWidget(MakeWeekdays(), 4, 0, 1, 3);
  grid->setColumnStretch(2, 1);
  grid->setRowStretch(5, 1);

  connect(ComTime_, &QComboBox::activated, this, &JobTimePage::ComTime_Click);
  for (ClsDate* picker : {&picDate_, &picTime_}) {
    connect(picker, &ClsDate::Change, this, &JobTimePage::Changed);
  }
}

QWidget* JobTimePage::MakeCounts() {
  auto* area = new QWidget;
  counts_ = new QStackedLayout(area);
  for (std::size_t kind = 0; kind < count_lists_.size(); ++kind) {
    const CountList& names = kCountLists[kind];
    QComboBox* list = Make<QComboBox>(names.Name);
    for (int count = 0; count <= MaxIntervalCount(static_cast<IntervalKind>(kind)); ++count) {
      list->addItem(QString::number(count), count);
    }
    IgnoreWheel(list);
    connect(list, &QComboBox::activated, this, &JobTimePage::IntervalChanged);
    count_lists_[kind] = list;

    QLabel* before = MakeLabel(TrText(u"我要在每(&N)"), list);
    auto* after = Make<QLabel>(names.LabelName, TrText(names.Unit));
    list->setAccessibleName(TrText(u"我要在每幾") + after->text());
    auto* page = new QWidget;
    auto* row = new QHBoxLayout(page);
    row->setContentsMargins(0, 0, 0, 0);
    for (QWidget* part : {static_cast<QWidget*>(before), static_cast<QWidget*>(list),
                          static_cast<QWidget*>(after)}) {
      row->addWidget(part);
    }
    row->addStretch();
    counts_->addWidget(page);
  }
  return area;
}

QGroupBox* JobTimePage::MakeWeekdays() {
  auto* frame = new QGroupBox(TrText(u"排除備份日期"));
  auto* grid = new QGridLayout(frame);
  for (int day = 1; day <= 7; ++day) {
    const QString caption = QStringLiteral("%1(&%2)").arg(ShownText(WeekdayName(day))).arg(day);
    auto* box = new QCheckBox(caption);
    box->setObjectName(QStringLiteral("chkDOW%1").arg(day));
    connect(box, &QCheckBox::clicked, this, &JobTimePage::Changed);
    grid->addWidget(box, (day - 1) / 4, (day - 1) % 4);
    chkDOW_[static_cast<std::size_t>(day)] = box;
  }
  return frame;
}

void JobTimePage::Show(const BackupJob& job) {
  for (std::size_t kind = 0; kind < count_lists_.size(); ++kind) {
    const int index =
        count_lists_[kind]->findData(IntervalCount(job, static_cast<IntervalKind>(kind)));
    count_lists_[kind]->setCurrentIndex(index < 0 ? 0 : index);
  }
  keep_interval_ = true;
  lblInterval_->setText(
      TrText(u"目前是%1，選擇其他間隔才會改變").arg(ShownText(IntervalText(job))));
  lblInterval_->setVisible(HasOwnInterval(job));
  ComTime_->setCurrentIndex(static_cast<int>(JobIntervalKind(job)));
  counts_->setCurrentIndex(ComTime_->currentIndex());
  picDate_.SetValue(job.NextRun);
  picTime_.SetValue(job.NextRun);
  for (int day = 1; day <= 7; ++day) {
    chkDOW_[static_cast<std::size_t>(day)]->setChecked(IsRefused(job.RefusedDays, day));
  }
}

void JobTimePage::Read(JobForm& form) const {
  using std::chrono::days;
  form.KeepInterval = keep_interval_;
  form.Interval = static_cast<IntervalKind>(ComTime_->currentIndex());
  form.Count =
      count_lists_[static_cast<std::size_t>(ComTime_->currentIndex())]->currentData().toInt();
  const DateTime time = picTime_.Value();
  form.Start = std::chrono::floor<days>(picDate_.Value()) + (time - std::chrono::floor<days>(time));
  form.RefusedDays = 0;
  for (int day = 1; day <= 7; ++day) {
    if (chkDOW_[static_cast<std::size_t>(day)]->isChecked()) form.RefusedDays |= 1 << day;
  }
}

void JobTimePage::FocusField(FormCheck check) {
  if (check == FormCheck::NoInterval) {
    count_lists_[static_cast<std::size_t>(ComTime_->currentIndex())]->setFocus();
  } else if (check == FormCheck::WeekdayRefused) {
    picDate_.hwnd()->setFocus();
  } else {
    chkDOW_[1]->setFocus();
  }
}

void JobTimePage::ComTime_Click() {
  const auto kind = static_cast<std::size_t>(ComTime_->currentIndex());
  counts_->setCurrentIndex(ComTime_->currentIndex());
  if (count_lists_[kind]->currentData().toInt() == 0) {
    count_lists_[kind]->setCurrentIndex(count_lists_[kind]->findData(kUsualCounts[kind]));
  }
  IntervalChanged();
}

void JobTimePage::IntervalChanged() {
  keep_interval_ = false;
  lblInterval_->hide();
  Q_EMIT Changed();
}

}  // namespace kavrel
