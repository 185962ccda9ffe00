#include "ui/log_bar.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QSignalBlocker>

#include "ui/language.h"
#include "ui/layout_help.h"
#include "ui/qt_text.h"

namespace kavrel {

LogBar::LogBar() {
  setObjectName(QStringLiteral("picLogBar"));
  cboLogJob_ = Make<QComboBox>("cboLogJob");
  cboLogJob_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  cboLogJob_->setMinimumContentsLength(18);
  cboLogJob_->addItem(QString());
  chkLogFailed_ = Speaking(Make<QCheckBox>("chkLogFailed"), TrLater(u"只顯示有問題的紀錄(&B)"));
  txtLogFind_ = Make<QLineEdit>("txtLogFind");
  txtLogFind_->setClearButtonEnabled(true);
  OnLanguage(this, [this] {
    const QSignalBlocker quiet(cboLogJob_);
    cboLogJob_->setItemText(0, TrText(u"所有排程"));
    for (int i = 1; i < cboLogJob_->count(); ++i) {
      cboLogJob_->setItemText(i, NameText(FromQString(cboLogJob_->itemData(i).toString())));
    }
    txtLogFind_->setPlaceholderText(TrText(u"名稱、狀態或日期"));
  });
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(6, 4, 6, 4);
  layout->addWidget(SpeakingLabel(TrLater(u"排程(&J)："), cboLogJob_));
  layout->addWidget(cboLogJob_);
  layout->addSpacing(8);
  layout->addWidget(chkLogFailed_);
  layout->addSpacing(8);
  layout->addWidget(SpeakingLabel(TrLater(u"搜尋(&F)："), txtLogFind_));
  layout->addWidget(txtLogFind_, 1);
  connect(cboLogJob_, &QComboBox::currentIndexChanged, this, &LogBar::Changed);
  connect(chkLogFailed_, &QCheckBox::toggled, this, &LogBar::Changed);
  connect(txtLogFind_, &QLineEdit::textChanged, this, &LogBar::Changed);
}

void LogBar::OfferJobs(const std::vector<LogRow>& rows) {
  QStringList names;
  for (const LogRow& row : rows) {
    const QString name = ToQString(row.Job);
    if (!name.isEmpty() && !names.contains(name, Qt::CaseInsensitive)) names += name;
  }
  names.sort();
  QStringList offered;
  for (int i = 1; i < cboLogJob_->count(); ++i) offered += cboLogJob_->itemData(i).toString();
  if (names == offered) return;
  const QString chosen = cboLogJob_->currentData().toString();
  const QSignalBlocker quiet(cboLogJob_);
  while (cboLogJob_->count() > 1) cboLogJob_->removeItem(1);
  for (const QString& name : names) cboLogJob_->addItem(NameText(FromQString(name)), name);
  cboLogJob_->setCurrentIndex(chosen.isEmpty() ? 0 : qMax(0, cboLogJob_->findData(chosen)));
}

LogFilter LogBar::Filter() const {
  LogFilter filter;
  filter.Job = FromQString(cboLogJob_->currentData().toString());
  filter.Failed = chkLogFailed_->isChecked();
  filter.Text = FromQString(txtLogFind_->text().trimmed());
  return filter;
}

}  // namespace kavrel
