#include "ui/job_preview_box.h"

#include <QEvent>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <algorithm>

#include "ui/layout_help.h"
#include "ui/qt_text.h"
#include "ui/row_colours.h"

namespace kavrel {

JobPreviewBox::JobPreviewBox() : QGroupBox(TrText(u"預覽")) {
  txtNext_ = Make<QLineEdit>("txtNext");
  txtNext_->setReadOnly(true);
  txtNext_->setFrame(false);
  txtNext_->setFocusPolicy(Qt::ClickFocus);
  lblDue_ = Make<QLabel>("lblDue");
  lblWarnings_ = Make<QLabel>("lblWarnings");
  for (QLabel* label : {lblDue_, lblWarnings_}) {
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
  }

  auto* grid = new QGridLayout(this);
  grid->addWidget(MakeLabel(TrText(u"下次寫入："), txtNext_), 0, 0);
  grid->addWidget(txtNext_, 0, 1);
  grid->addWidget(new QLabel(TrText(u"接下來三次：")), 1, 0, Qt::AlignTop);
  grid->addWidget(lblDue_, 1, 1);
  grid->addWidget(lblWarnings_, 2, 0, 1, 2);
  grid->setColumnStretch(1, 1);
  ApplyColour();
  MakeRoom();
}

/// With what it is about: a screen reader reads a label's name, and its text only where it has
/// none.
void JobPreviewBox::Tell(QLabel& label, const QString& name, const QString& text) {
  label.setText(text);
  label.setAccessibleName(text.isEmpty() ? name : name + u'：' + text);
}

void JobPreviewBox::Show(const JobPreview& preview, bool enabled) {
  const QString destination = ToQString(preview.Destination);
  if (txtNext_->text() != destination) {
    txtNext_->setText(destination);
    txtNext_->setCursorPosition(0);
    txtNext_->setToolTip(destination);
  }
  QStringList due, warnings;
  for (const DateTime time : preview.Due) due += ShownText(DateTimeText(time));
  for (const std::u16string& warning : preview.Warnings) {
    warnings += QStringLiteral("⚠ ") + ShownText(warning);
  }
  Tell(
      *lblDue_, TrText(u"接下來三次"),
      due.join(TrText(u"、")) + (enabled || due.isEmpty() ? QString() : TrText(u"（排程未啟動）")));
  Tell(*lblWarnings_, TrText(u"注意"), warnings.join(u'\n'));
  MakeRoom();
}

void JobPreviewBox::MakeRoom() {
  const int usual = lblWarnings_->fontMetrics().lineSpacing() * 2;
  lblWarnings_->setMinimumHeight(
      std::max(usual, lblWarnings_->heightForWidth(lblWarnings_->width())));
  lblDue_->setMinimumHeight(lblDue_->heightForWidth(lblDue_->width()));
}

void JobPreviewBox::resizeEvent(QResizeEvent* event) {
  QGroupBox::resizeEvent(event);
  MakeRoom();
}

void JobPreviewBox::changeEvent(QEvent* event) {
  QGroupBox::changeEvent(event);
  // A label's own palette change must not lead here again.
  if (event->type() == QEvent::PaletteChange) ApplyColour();
}

void JobPreviewBox::ApplyColour() {
  QPalette colours = palette();
  colours.setColor(QPalette::WindowText, FailureTextColour(palette()));
  lblWarnings_->setPalette(colours);
  QPalette flat = palette();
  flat.setColor(QPalette::Base, palette().color(QPalette::Window));
  txtNext_->setPalette(flat);
}

}  // namespace kavrel
