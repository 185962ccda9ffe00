#include "ui/result_bar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>

#include "ui/caption_strip.h"
#include "ui/frm_failures.h"
#include "ui/health_icon.h"
#include "ui/language.h"
#include "ui/layout_help.h"
#include "ui/qt_text.h"

namespace kavrel {

ResultBar::ResultBar(Program& program) : program_(program) {
  setObjectName(QStringLiteral("picResult"));
  sign_ = Make<QLabel>("lblResultSign");
  text_ = Make<CaptionStrip>("picResultText");
  log_ = Speaking(Make<QPushButton>("cmdResultLog"), TrLater(u"檢視日誌(&V)"));
  failures_ = Speaking(Make<QPushButton>("cmdResultFailures"), TrLater(u"有問題的檔案(&W)"));
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(6, 3, 6, 3);
  layout->addWidget(sign_);
  layout->addWidget(text_, 1);
  layout->addWidget(failures_);
  layout->addWidget(log_);
  connect(log_, &QPushButton::clicked, this, [this] {
    Q_EMIT LogWanted(ends_.size() == 1 ? ends_.front().LogPath : std::u16string());
  });
  connect(failures_, &QPushButton::clicked, this, &ResultBar::ShowFailures);
  hide();
  OnLanguage(this, [this] {
    if (isVisible()) Show();
  });
}

void ResultBar::Begin() {
  if (over_) added_ = false;
  hide();
}

void ResultBar::Add(const RunEnd& end) {
  if (end.Text.empty()) return;
  if (std::exchange(over_, false)) ends_.clear();
  ends_.push_back(end);
  added_ = true;
}

void ResultBar::End() {
  over_ = true;
  Show();
}

void ResultBar::ShowLast(const std::vector<LogRow>& rows) {
  for (auto row = rows.rbegin(); row != rows.rend() && ends_.empty(); ++row) {
    if (RunEnd end = EndOfRow(*row); !end.Text.empty()) ends_.push_back(std::move(end));
  }
  Show();
}

QStringList ResultBar::Undone() const {
  QStringList lines;
  if (!added_) return lines;
  for (const RunEnd& end : ends_) {
    if (end.Why.empty()) continue;
    lines += TrText(u"「%1」：").arg(NameText(end.Job)) + ShownText(end.Why);
  }
  return lines;
}

QString ResultBar::Text() const {
  return ShownText(EndText(ends_));
}

std::vector<RunEnd> ResultBar::BadEnds() const {
  std::vector<RunEnd> ends;
  for (const RunEnd& end : ends_) {
    if (end.Bad && !end.LogPath.empty()) ends.push_back(end);
  }
  return ends;
}

void ResultBar::Show() {
  setVisible(!ends_.empty());
  if (ends_.empty()) return;
  bool bad = false;
  for (const RunEnd& end : ends_) bad = bad || end.Bad;
  const int size = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
  sign_->setPixmap(HealthSign(bad ? Health::Failed : Health::Good).pixmap(size));
  text_->SetText(Text());
  text_->setToolTip(Text().toHtmlEscaped());
  text_->setAccessibleName(Text());
  log_->setEnabled(ends_.size() > 1 || !ends_.front().LogPath.empty());
  failures_->setVisible(!BadEnds().empty());
}

void ResultBar::ShowFailures() {
  FrmFailures(program_, BadEnds(), window()).exec();
}

}  // namespace kavrel
